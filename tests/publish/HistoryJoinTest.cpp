#include "publish/HistoryFormat.h"
#include "publish/HistoryLine.h"
#include "publish/HistoryReader.h"
#include "tests/publish/HistoryFixture.h"

#include <QBuffer>

#include <cmath>

using namespace lanterna;

namespace
{

// What the writer writes, the reader reads back.

const QDate firstOfMarch(2026, 3, 1);
constexpr qint64 halfPastTwelve = 1'772'368'205'250; // 1 March 2026, 12:30:05.25 UTC

RGFCoreScanDevice device(const char *name, const char *mac = "3C:D9:2B:00:77:1E", const char *ip = "192.168.1.10")
{
    RGFCoreScanDevice made;
    made.deviceName = QString::fromUtf8(name);
    made.macAddress = QString::fromUtf8(mac);
    made.ipAddress = QString::fromUtf8(ip);
    made.deviceType = QStringLiteral("Printer");
    return made;
}

QVariantMap snapshotOf(const QList<RGFCoreScanDevice> &devices, const QString &ssid = QStringLiteral("Harbour"))
{
    return networkSnapshot(devices, ssid, QStringLiteral("192.168.1"), QDateTime::fromMSecsSinceEpoch(halfPastTwelve, Qt::UTC));
}

QByteArray written(const QVariantMap &snapshot)
{
    const std::optional<HistoryLine> line = historyLine(snapshot, 0);
    return line ? line->json + historyLineEnd : QByteArray();
}

HistoryDay readBack(const QByteArray &text)
{
    QBuffer buffer;
    buffer.setData(text);
    buffer.open(QIODevice::ReadOnly);
    return readHistoryDay(firstOfMarch, buffer);
}

TEST(HistoryJoin, MomentNetworkAndDevicesComeBack)
{
    RGFCoreScanDevice nameless = device("192.168.1.11", "UNKNOWN", "192.168.1.11");
    nameless.dnsEntry = QStringLiteral("old.lan");
    nameless.deviceType = QStringLiteral("UNKNOWN");
    const HistoryDay day = readBack(written(snapshotOf({device("Office Printer"), nameless})));
    ASSERT_EQ(day.observations.size(), 1U);
    EXPECT_EQ(day.observations[0].time, halfPastTwelve);
    EXPECT_EQ(day.networks, (std::vector<HistoryNetwork>{{"Harbour", "192.168.1"}}));
    EXPECT_EQ(day.sightings,
        (std::vector<HistorySighting>{{"3C:D9:2B:00:77:1E", "192.168.1.10", "Office Printer", "Printer"}, {"", "192.168.1.11", "old.lan", ""}}));
    EXPECT_EQ(day.tables, (std::vector<std::vector<quint32>>{{0, 1}}));
    EXPECT_EQ(day.brokenLines + day.otherVersions + day.sightingsLeftOut, 0U);
}

TEST(HistoryJoin, AnyNameComesBack)
{
    for (const char *name :
        {"Anna's \"Phone\"", "a\\b/c", "tab\there", "\x01\x1f\x7f!", "Café", "電話", "\U0001f4f1", "x\u2028x", "}{],[:", "null", "1e5"}) {
        const HistoryDay day = readBack(written(snapshotOf({device(name)}, QString::fromUtf8(name))));
        ASSERT_EQ(day.sightings.size(), 1U) << name;
        EXPECT_EQ(day.sightings[0].name, name);
        EXPECT_EQ(day.networks.at(0).ssid, name);
        EXPECT_EQ(day.brokenLines, 0U) << name;
    }
}

TEST(HistoryJoin, NoDevicesAndManyComeBack)
{
    EXPECT_EQ(readBack(written(snapshotOf({}))).tables, (std::vector<std::vector<quint32>>{{}}));
    QList<RGFCoreScanDevice> many;
    for (int number = 1; number < 255; ++number)
        many.append(device("x", "UNKNOWN", qPrintable(QStringLiteral("192.168.1.%1").arg(number))));
    EXPECT_EQ(readBack(written(snapshotOf(many))).tables.at(0).size(), 254U);
}

TEST(HistoryJoin, AnyMomentOfTheDayComesBackToTheMillisecond)
{
    const double midnight = double(firstOfMarch.startOfDay(Qt::UTC).toSecsSinceEpoch());
    for (const double second : {0.0, 0.001, 0.1, 1800.0, 43200.123, 86399.999}) {
        QVariantMap snapshot = snapshotOf({});
        snapshot.insert(QStringLiteral("dateEpoch"), midnight + second);
        const HistoryDay day = readBack(written(snapshot));
        ASSERT_EQ(day.observations.size(), 1U) << second;
        EXPECT_EQ(day.observations[0].time, std::llround((midnight + second) * 1000));
    }
}

class HistoryOnDisk : public HistoryFixture
{
protected:
    HistoryDay today() const
    {
        HistoryDay read;
        readHistory(historyFiles(folder(), firstOfMarch, firstOfMarch), 0, [&](const HistoryDay &day) { read = day; });
        return read;
    }
    QString todaysPath() const { return path(fileOf("2026-03-01")); }
};

TEST_F(HistoryOnDisk, LinesOfTheWriterAreReadFromItsFolder)
{
    record(snapshot("a"));
    record(snapshot("b"));
    const HistoryDay day = today();
    EXPECT_EQ(day.observations.size(), 2U);
    EXPECT_EQ(day.error, QString());
    EXPECT_EQ(day.brokenLines, 0U);
    EXPECT_EQ(day.observations[0].time, dispatch.now().toMSecsSinceEpoch());
}

TEST_F(HistoryOnDisk, ALineWhoseWriterWasKilledBeforeItsLineEndCountsBeforeAndAfterTheNextAppend)
{
    record(snapshot("a"));
    QFile file(todaysPath());
    ASSERT_TRUE(file.resize(file.size() - 1));
    EXPECT_EQ(today().observations.size(), 1U);
    relaunch();
    record(snapshot("b"));
    EXPECT_EQ(today().observations.size(), 2U);
    EXPECT_EQ(today().brokenLines, 0U);
}

TEST_F(HistoryOnDisk, ALineThatWasTornIsBrokenBeforeAndAfterTheNextAppend)
{
    record(snapshot("a"));
    record(snapshot("b"));
    QFile file(todaysPath());
    ASSERT_TRUE(file.resize(file.size() - 20));
    EXPECT_EQ(today().observations.size(), 1U);
    EXPECT_EQ(today().brokenLines, 1U);
    relaunch();
    record(snapshot("c"));
    EXPECT_EQ(today().observations.size(), 2U);
    EXPECT_EQ(today().brokenLines, 1U);
}

} // namespace
