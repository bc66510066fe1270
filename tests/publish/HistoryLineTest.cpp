#include "publish/HistoryLine.h"
#include "platform/Json.h"
#include "scan/NetworkSnapshot.h"

#include <gtest/gtest.h>

#include <limits>

using namespace lanterna;

namespace
{

constexpr double someMoment = 1'772'368'205.25; // 1 March 2026, 12:30:05.25 UTC
constexpr double now = 1'772'370'000.5;

QString text(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

RGFCoreScanDevice printer()
{
    RGFCoreScanDevice device;
    device.isPingable = true;
    device.ipAddress = text("192.168.1.10");
    device.macAddress = text("3C:D9:2B:00:77:1E");
    device.deviceName = text("Office Printer");
    device.deviceType = text("Printer");
    device.dnsEntry = text("office-printer.local.");
    device.services = text("_ipp._tcp.,_printer._tcp.");
    return device;
}

QVariantMap snapshot(const QList<RGFCoreScanDevice> &devices = {printer()})
{
    QVariantMap made = networkSnapshot(devices, text("Harbour"), text("192.168.1"), QDateTime(QDate(2026, 3, 1), QTime(12, 30, 5, 250), Qt::UTC));
    return made;
}

QVariantMap snapshotWith(const char *key, const QVariant &value)
{
    QVariantMap changed = snapshot();
    changed.insert(text(key), value);
    return changed;
}

QVariantMap snapshotWithout(const char *key)
{
    QVariantMap changed = snapshot();
    changed.remove(text(key));
    return changed;
}

/// The line as a reader sees it.
QVariantMap lineOf(const QVariantMap &snapshot)
{
    const std::optional<HistoryLine> line = historyLine(snapshot, now);
    return line ? parseJson(line->json).value_or(QVariant()).toMap() : QVariantMap();
}

/// The devices that a device list comes to.
QVariantList historyDevices(const QString &deviceList)
{
    return lineOf({{text("devices"), deviceList}}).value(text("devices")).toList();
}

/// The one device of a list.
QVariantMap device(const char *deviceList)
{
    const QVariantList devices = historyDevices(text(deviceList));
    EXPECT_EQ(devices.size(), 1) << deviceList;
    return devices.value(0).toMap();
}

QString nameFrom(const char *field)
{
    return device(QByteArray(field).append("|*|T|*|10.0.0.5").constData()).value(text("name")).toString();
}

qlonglong pingFrom(const char *field)
{
    return device(QByteArray("N|*|T|*|10.0.0.5|*||*||*||*||*||*|").append(field).constData()).value(text("ping")).toLongLong();
}

TEST(HistoryLine, ASnapshotBecomesSevenMembers)
{
    const QVariantMap expected = {
        {text("v"), qlonglong(1)},
        {text("ts"), someMoment},
        {text("src"), text("LTN")},
        {text("ssid"), text("Harbour")},
        {text("subnet"), text("192.168.1")},
        {text("macSig"), macTableSignature({printer()})},
        {text("devices"),
            QVariantList{QVariantMap{
                {text("mac"), text("3C:D9:2B:00:77:1E")},
                {text("ip"), text("192.168.1.10")},
                {text("name"), text("Office Printer")},
                {text("dns"), text("office-printer.local.")},
                {text("type"), text("Printer")},
                {text("ping"), qlonglong(1)},
                {text("svc"), text("_ipp._tcp.,_printer._tcp.")},
            }}},
    };
    EXPECT_EQ(lineOf(snapshot()), expected);
}

TEST(HistoryLine, TheExampleOfTheFormatPageIsWhatIsWritten)
{
    const QVariantMap example = {
        {text("date"), text("03-01-2026, 13:30")},
        {text("dateEpoch"), someMoment},
        {text("devices"),
            text(
                "\"Router\"|*|Router|*|192.168.1.1|*|E4:8D:8C:11:22:33|*|UNKNOWN|*|router.lan|*|\"UNKNOWN\"|*|03-01-2026, 13:30|*|ping: 1|*||*||*|No "
                "notes found\n***\"Office Printer\"|*|Printer|*|192.168.1.10|*|3C:D9:2B:00:77:1E|*|UNKNOWN|*|office-printer.local|*|\"UNKNOWN\"|*|"
                "03-01-2026, 13:30|*|ping: 0|*||*|_ipp._tcp.,_printer._tcp.|*|No notes found\n")},
        {text("macSig"), text("2d41ce5891dbb219")},
        {text("source"), text("Lanterna")},
        {text("ssid"), text("Harbour")},
        {text("subnet"), text("192.168.1")},
    };
    EXPECT_EQ(historyLine(example, now)->json,
        R"({"v":1,"ts":1772368205.25,"src":"LTN","ssid":"Harbour","subnet":"192.168.1","macSig":"2d41ce5891dbb219","devices":[)"
        R"({"mac":"E4:8D:8C:11:22:33","ip":"192.168.1.1","name":"Router","dns":"router.lan","type":"Router","ping":1,"svc":""},)"
        R"({"mac":"3C:D9:2B:00:77:1E","ip":"192.168.1.10","name":"Office Printer","dns":"office-printer.local","type":"Printer","ping":0,)"
        R"("svc":"_ipp._tcp.,_printer._tcp."}]})");
}

TEST(HistoryLine, TheLineIsCompactAndHoldsNoLineEnd)
{
    const std::optional<HistoryLine> line = historyLine(snapshot({}), now);
    ASSERT_TRUE(line);
    EXPECT_EQ(line->json, R"({"v":1,"ts":1772368205.25,"src":"LTN","ssid":"Harbour","subnet":"192.168.1","macSig":"cbf29ce484222325","devices":[]})");
    EXPECT_EQ(line->signature, u"cbf29ce484222325");
    EXPECT_EQ(line->seconds, someMoment);

    const std::optional<HistoryLine> odd = historyLine(snapshotWith("ssid", text("a\nb\r\"c\\\xe2\x80\xa8")), now);
    ASSERT_TRUE(odd);
    EXPECT_FALSE(odd->json.contains('\n'));
    EXPECT_EQ(parseJson(odd->json)->toMap().value(text("ssid")), text("a\nb\r\"c\\\xe2\x80\xa8"));
}

TEST(HistoryLine, ASnapshotWithoutDevicesWritesAnEmptyArray)
{
    EXPECT_EQ(lineOf(snapshotWithout("devices")).value(text("devices")), QVariant(QVariantList()));
    EXPECT_TRUE(historyLine(snapshotWithout("devices"), now)->json.contains("\"devices\":[]"));
}

TEST(HistoryLine, MissingTextsAreEmpty)
{
    for (const char *key : {"ssid", "subnet", "macSig"})
        EXPECT_EQ(lineOf(snapshotWithout(key)).value(text(key)), QVariant(QStringLiteral(""))) << key;
    EXPECT_TRUE(historyLine(snapshotWithout("macSig"), now)->signature.isEmpty());
}

TEST(HistoryLine, MembersOfAnotherTypeCountAsMissing)
{
    const QVariantList others = {
        QVariant(), true, 7, 7.5, QVariantList{1}, QVariantMap{{text("a"), 1}}, QByteArray("bytes"), QDateTime::currentDateTimeUtc()};
    for (const QVariant &other : others) {
        for (const char *key : {"ssid", "subnet", "macSig"})
            EXPECT_EQ(lineOf(snapshotWith(key, other)).value(text(key)), QVariant(QStringLiteral(""))) << key << other.typeName();
        EXPECT_EQ(lineOf(snapshotWith("devices", other)).value(text("devices")), QVariant(QVariantList())) << other.typeName();
    }
    for (const QVariant &other : {QVariant(), QVariant(true), QVariant(text("1772368205")), QVariant(QVariantList{1})})
        EXPECT_EQ(lineOf(snapshotWith("dateEpoch", other)).value(text("ts")), QVariant(now)) << other.typeName();
}

TEST(HistoryLine, AnEmptyDictionaryIsALine)
{
    EXPECT_EQ(historyLine({}, now)->json, R"({"v":1,"ts":1772370000.5,"src":"LTN","ssid":"","subnet":"","macSig":"","devices":[]})");
}

TEST(HistoryLine, TheMomentIsKeptToTheLastBit)
{
    for (const double seconds : {someMoment, 0.1, 1'772'368'205.123457, -1.5, 1e300, 5e-324, std::numeric_limits<double>::max()})
        EXPECT_EQ(lineOf(snapshotWith("dateEpoch", seconds)).value(text("ts")), QVariant(seconds));
}

TEST(HistoryLine, AnyKindOfNumberIsAMoment)
{
    for (const QVariant &number :
        {QVariant(1'772'368'205), QVariant(1'772'368'205U), QVariant(qlonglong(1'772'368'205)), QVariant(qulonglong(1'772'368'205))})
        EXPECT_EQ(historyLine(snapshotWith("dateEpoch", number), now)->seconds, 1'772'368'205.0) << number.typeName();
    EXPECT_EQ(historyLine(snapshotWith("dateEpoch", 0.5F), now)->seconds, 0.5);
}

TEST(HistoryLine, AMomentThatJsonCannotTellIsNoLine)
{
    using Limits = std::numeric_limits<double>;
    for (const double seconds : {Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity()})
        EXPECT_FALSE(historyLine(snapshotWith("dateEpoch", seconds), now)) << seconds;
}

TEST(HistoryDevices, EachDeviceOfAScanBecomesOne)
{
    QList<RGFCoreScanDevice> scanned;
    for (int host = 1; host <= 254; ++host) {
        RGFCoreScanDevice next = printer();
        next.ipAddress = QStringLiteral("192.168.1.%1").arg(host);
        scanned.append(next);
    }
    const QVariantList devices = historyDevices(deviceListText(scanned, text("03-01-2026, 12:30")));
    ASSERT_EQ(devices.size(), 254);
    for (int host = 1; host <= 254; ++host)
        EXPECT_EQ(devices[host - 1].toMap().value(text("ip")).toString(), QStringLiteral("192.168.1.%1").arg(host));
}

TEST(HistoryDevices, AQuotedUnknownNameIsEmpty)
{
    EXPECT_EQ(nameFrom("\"UNKNOWN\""), u"");
    EXPECT_EQ(nameFrom("UNKNOWN"), u"");
    EXPECT_EQ(nameFrom("\" UNKNOWN \""), u"");
    EXPECT_EQ(nameFrom("\"UNKNOWN host\""), u"UNKNOWN host");
    EXPECT_EQ(nameFrom("\"unknown\""), u"unknown");
}

TEST(HistoryDevices, QuotesAndBlanksAroundAFieldGo)
{
    EXPECT_EQ(nameFrom("\"Router\""), u"Router");
    EXPECT_EQ(nameFrom(" \t\"  Router \"\n"), u"Router");
    EXPECT_EQ(nameFrom("\xc2\xa0Router\xe2\x80\xa8"), u"Router"); // no-break space, line separator
    EXPECT_EQ(nameFrom("\"\"Router\"\""), u"\"Router\""); // one pair only
    EXPECT_EQ(nameFrom("\"Router"), u"\"Router");
    EXPECT_EQ(nameFrom("\""), u"\"");
    EXPECT_EQ(nameFrom("\"\""), u"");
}

TEST(HistoryDevices, PingIsOneWhenTheLineSaysSo)
{
    for (const char *field : {"ping: 1", "ping:1", "\"ping: 1\"", "x ping: \t7 ", "ping: -1", "ping: +2", "ping: 007", "ping: 99999999999999999999"})
        EXPECT_EQ(pingFrom(field), 1) << field;
    for (const char *field : {"ping: 0", "", "ping: ", "ping:", "ping: 00", "ping: -0", "ping: yes", "ping: 1x", "ping: 1.0", "ping: 0x1", "ping: -",
             "ping 1", "Ping: 1", "ping: 1 1", "ping: \xd9\xa1"})
        EXPECT_EQ(pingFrom(field), 0) << field;
}

TEST(HistoryDevices, MissingFieldsAreEmptyAndPingIsZero)
{
    const QVariantMap expected = {{text("mac"), text("")}, {text("ip"), text("10.0.0.5")}, {text("name"), text("")}, {text("dns"), text("")},
        {text("type"), text("")}, {text("ping"), qlonglong(0)}};
    EXPECT_EQ(device("|*||*|10.0.0.5"), expected);
}

TEST(HistoryDevices, ServicesStandAsTheyAreFromElevenFieldsOn)
{
    const QByteArray tenFields = "N|*|T|*|10.0.0.5|*|M|*||*||*||*||*|ping: 1|*|";
    EXPECT_FALSE(device(tenFields.constData()).contains(text("svc")));
    EXPECT_EQ(device((tenFields + "|*|").constData()).value(text("svc")), QVariant(text("")));
    EXPECT_EQ(device((tenFields + "|*| \"_http._tcp.\" |*|notes").constData()).value(text("svc")), QVariant(text(" \"_http._tcp.\" ")));
    EXPECT_EQ(device((tenFields + "|*|UNKNOWN|*|notes|*|more|*|fields").constData()).value(text("svc")), QVariant(text("UNKNOWN")));
}

TEST(HistoryDevices, TheHardwareAddressIsInUpperCase)
{
    EXPECT_EQ(device("N|*|T|*|10.0.0.5|*| 3c:d9:2b:00:77:1e ").value(text("mac")), QVariant(text("3C:D9:2B:00:77:1E")));
    EXPECT_EQ(device("N|*|T|*|10.0.0.5|*|UNKNOWN").value(text("mac")), QVariant(text("")));
}

TEST(HistoryDevices, LinesWithoutAnAddressAreLeftOut)
{
    EXPECT_TRUE(historyDevices({}).isEmpty());
    EXPECT_TRUE(historyDevices(text("***")).isEmpty());
    EXPECT_TRUE(historyDevices(text(" \n***\t***no separators at all")).isEmpty());
    EXPECT_TRUE(historyDevices(text("N|*|T|*||*|M***N|*|T|*|UNKNOWN|*|M***N|*|T|*|\" \"|*|M***N|*|T")).isEmpty());
    EXPECT_EQ(historyDevices(text("N|*|T|*| |*|M\n***N|*|T|*|10.0.0.5\n***")).size(), 1);
}

TEST(HistoryDevices, ANameThatHoldsASeparatorComesApart)
{
    EXPECT_EQ(device("\"a|*|b\"|*|T|*|10.0.0.5").value(text("ip")), QVariant(text("T")));
    EXPECT_EQ(device("\"a***b\"|*|T|*|10.0.0.5").value(text("name")), QVariant(text("b\"")));
}

} // namespace
