#include "scan/NetworkSnapshot.h"

#include <QLocale>

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

using namespace lanterna;

namespace
{

RGFCoreScanDevice device(const QString &ip, const QString &mac, const QString &name = QStringLiteral("host"))
{
    RGFCoreScanDevice made;
    made.ipAddress = ip;
    made.macAddress = mac;
    made.deviceName = name;
    return made;
}

const QDateTime moment(QDate(2026, 3, 1), QTime(7, 5, 9, 250), Qt::UTC);

TEST(DeviceLines, HoldTwelveFieldsInTheirOrder)
{
    RGFCoreScanDevice printer = device("192.168.1.20", "00:1B:A9:4E:00:14", "Hall Printer");
    printer.deviceType = "Printer";
    printer.dnsEntry = "printer.local.";
    printer.vendorInfo = "Acme";
    printer.isPingable = true;
    printer.services = "_ipp._tcp.,_http._tcp.";
    EXPECT_EQ(printer.formattedDeviceString("03-01-2026, 07:05"),
        "\"Hall Printer\"|*|Printer|*|192.168.1.20|*|00:1B:A9:4E:00:14|*|UNKNOWN|*|printer.local.|*|\"Acme\"|*|03-01-2026, 07:05|*|ping: 1|*||*|"
        "_ipp._tcp.,_http._tcp.|*|No notes found");
}

TEST(DeviceLines, OfAnEmptyDeviceShowItsHostNameAndNoPing)
{
    EXPECT_EQ(RGFCoreScanDevice().formattedDeviceString("now"),
        "\"UNKNOWN\"|*|UNKNOWN|*||*|UNKNOWN|*|UNKNOWN|*|UNKNOWN|*|\"UNKNOWN\"|*|now|*|ping: 0|*||*||*|No notes found");
}

TEST(DeviceLists, EndEachLineAndSeparateTwo)
{
    const QString one = device("10.0.0.2", "UNKNOWN").formattedDeviceString("now");
    const QString two = device("10.0.0.1", "UNKNOWN").formattedDeviceString("now");
    EXPECT_EQ(deviceListText({}, "now"), "");
    EXPECT_FALSE(deviceListText({}, "now").isNull());
    EXPECT_EQ(deviceListText({device("10.0.0.2", "UNKNOWN"), device("10.0.0.1", "UNKNOWN")}, "now"), one + "\n***" + two + "\n");
}

TEST(Signatures, AreTheFNV1aHashOfPublishedVectors)
{
    EXPECT_EQ(fnv1a(""), 0xcbf29ce484222325U);
    EXPECT_EQ(fnv1a("a"), 0xaf63dc4c8601ec8cU);
    EXPECT_EQ(fnv1a("foobar"), 0x85944171f73967e8U);
    EXPECT_EQ(fnv1a(QByteArray::fromHex("ff000001")), 0x6961196491cc682dU); // bytes count as unsigned
}

TEST(Signatures, OfKnownTablesAreThoseOfAnotherTool)
{
    EXPECT_EQ(macTableSignature({}), "cbf29ce484222325");
    // Worked out with Python from "192.168.1.1=00:0D:B9:4E:00:01;192.168.1.20=00:1B:A9:4E:00:14".
    EXPECT_EQ(macTableSignature({device("192.168.1.20", "00:1b:a9:4e:00:14"), device("192.168.1.1", "00:0D:B9:4E:00:01")}), "729d1a56872c5503");
    // Text order, not numeric: "192.168.1.10=...;192.168.1.9=...".
    EXPECT_EQ(macTableSignature({device("192.168.1.9", "02:00:00:00:00:09"), device("192.168.1.10", "02:00:00:00:00:0A")}), "3c591a28acf9d320");
    // Its first digit is a zero, which is not written.
    EXPECT_EQ(macTableSignature({device("10.0.0.7", "02:00:00:00:00:01")}), "4607690966296cd");
}

TEST(Signatures, DoNotDependOnOrderNamesTypesAndPings)
{
    QList<RGFCoreScanDevice> devices = {device("10.0.0.1", "02:00:00:00:00:01"), device("10.0.0.2", "02:00:00:00:00:02")};
    const QString signature = macTableSignature(devices);
    std::reverse(devices.begin(), devices.end());
    devices[0].deviceName = "other";
    devices[1].deviceType = "Printer";
    devices[1].isPingable = true;
    EXPECT_EQ(macTableSignature(devices), signature);
    devices[1].macAddress = "02:00:00:00:00:03";
    EXPECT_NE(macTableSignature(devices), signature);
}

TEST(Signatures, LeaveOutAddressesThatAreNone)
{
    const QString signature = macTableSignature({device("10.0.0.1", "02:00:00:00:00:01")});
    for (const char *mac : {"", "UNKNOWN", "unknown mac", "00:00:00:00:00:00", "02:00:00:00:00:00", "ff:ff:ff:ff:ff:ff"})
        EXPECT_EQ(macTableSignature({device("10.0.0.1", "02:00:00:00:00:01"), device("10.0.0.2", QLatin1String(mac))}), signature) << mac;
    EXPECT_EQ(macTableSignature({device("10.0.0.1", "02:00:00:00:00:01"), device("", "02:00:00:00:00:07")}), signature);
}

TEST(Snapshots, HoldSevenEntries)
{
    const QVariantMap snapshot = networkSnapshot({device("192.168.1.20", "02:00:00:00:00:00")}, "Lighthouse", "192.168.1", moment);
    EXPECT_EQ(snapshot.keys(), QStringList({"date", "dateEpoch", "devices", "macSig", "source", "ssid", "subnet"}));
    EXPECT_EQ(snapshot["ssid"], "Lighthouse");
    EXPECT_EQ(snapshot["subnet"], "192.168.1");
    EXPECT_EQ(snapshot["source"], "Lanterna");
    EXPECT_EQ(snapshot["dateEpoch"].typeId(), QMetaType::Double);
    EXPECT_EQ(snapshot["dateEpoch"].toDouble(), 1772348709.25);
    EXPECT_EQ(snapshot["date"], snapshotDate(moment));
}

TEST(Snapshots, ListAPlaceholderAddressButDoNotSignIt)
{
    const QVariantMap snapshot = networkSnapshot({device("192.168.1.20", "02:00:00:00:00:00")}, "Lighthouse", "192.168.1", moment);
    EXPECT_TRUE(snapshot["devices"].toString().contains("|*|02:00:00:00:00:00|*|"));
    EXPECT_EQ(snapshot["macSig"], "cbf29ce484222325");
}

TEST(Snapshots, WithoutNameAndNetworkHoldEmptyTexts)
{
    const QVariantMap snapshot = networkSnapshot({}, QString(), QString(), moment);
    for (const char *key : {"ssid", "subnet", "devices"}) {
        EXPECT_EQ(snapshot[key], "") << key;
        EXPECT_FALSE(snapshot[key].toString().isNull()) << key;
    }
}

TEST(Snapshots, WriteDatesInLocalTime)
{
    const QByteArray before = qgetenv("TZ");
    qputenv("TZ", "Asia/Kolkata"); // half an hour off every whole one
    tzset();
    const QString date = snapshotDate(moment);
    before.isNull() ? qunsetenv("TZ") : qputenv("TZ", before);
    tzset();
    EXPECT_EQ(date, "03-01-2026, 12:35");
}

TEST(Snapshots, WriteDatesInASCIIDigitsWhateverTheLocale)
{
    const QLocale before;
    QLocale::setDefault(QLocale(QLocale::Arabic, QLocale::Egypt));
    const QString date = snapshotDate(moment);
    QLocale::setDefault(before);
    EXPECT_TRUE(std::all_of(date.begin(), date.end(), [](QChar character) { return character.unicode() < 128; })) << qPrintable(date);
    EXPECT_EQ(date.size(), 17);
}

} // namespace
