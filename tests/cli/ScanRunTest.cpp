#include "cli/ScanRun.h"
#include "platform/Json.h"
#include "tests/scan/ScanFixture.h"

#include <QDir>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class OneScan : public ScanFixture
{
protected:
    OneScan()
    {
        standardInterface();
        addHost("192.168.1.20", "00:1b:a9:4e:00:14").name = "printer.lan";
    }
    CommandResult run(const ScanOptions &options, int columns = 0)
    {
        ScanRun scan(ports(), options);
        int ends = 0;
        scan.start([&] { ++ends; });
        dispatch.advance(1min);
        EXPECT_EQ(ends, 1);
        return scan.result(columns);
    }
};

TEST_F(OneScan, WithoutSavingNoStoredKeyChanges)
{
    set("latestLocalSnapshot", QVariantMap{{"ssid", "kept"}});
    set("currentWiFiName", "kept");
    run({});
    EXPECT_EQ(settings.keys(), QStringList({"currentWiFiName", "latestLocalSnapshot"}));
    EXPECT_EQ(stored("currentWiFiName"), "kept");
    EXPECT_EQ(stored("latestLocalSnapshot").toMap().value("ssid"), "kept");
}

TEST_F(OneScan, SavingStoresTheSnapshotThatIsPrinted)
{
    const CommandResult result = run({ScanOptions::Format::json, true, true});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, QString::fromUtf8(compactJson(stored("latestLocalSnapshot"))) + '\n');
    EXPECT_TRUE(stored("latestSnapshotMacSig").isValid());
}

TEST_F(OneScan, JsonIsTheSnapshotAloneOnOneLine)
{
    const QString output = run({ScanOptions::Format::json, false, true}).output;
    EXPECT_EQ(output.count('\n'), 1);
    const QVariantMap snapshot = parseJson(output.toUtf8()).value_or(QVariant()).toMap();
    EXPECT_EQ(snapshot.keys(), QStringList({"date", "dateEpoch", "devices", "macSig", "source", "ssid", "subnet"}));
    EXPECT_TRUE(snapshot["devices"].toString().startsWith("\"printer.lan\"|*|"));
}

TEST_F(OneScan, WithoutDevicesJsonIsAnEmptySnapshotAndTheStoredOneStays)
{
    lan.hosts.clear();
    set("latestLocalSnapshot", QVariantMap{{"ssid", "kept"}});
    const QVariantMap snapshot = parseJson(run({ScanOptions::Format::json, true, true}).output.toUtf8()).value_or(QVariant()).toMap();
    EXPECT_EQ(snapshot["devices"], "");
    EXPECT_EQ(stored("latestLocalSnapshot").toMap().value("ssid"), "kept");
}

TEST_F(OneScan, TheTableNamesTheDeviceAndTheNetwork)
{
    const QString table = run({}, 80).output;
    EXPECT_TRUE(table.simplified().contains("192.168.1.20 00:1B:A9:4E:00:14 printer.lan - - yes")) << qPrintable(table);
    EXPECT_TRUE(table.contains("Subnet 192.168.1.x"));
}

TEST_F(OneScan, WithoutSweepingNothingIsSent)
{
    lan.neighbours = "? (192.168.1.30) at 02:00:00:00:00:30 on eth0\n";
    const QString csv = run({ScanOptions::Format::csv, false, false}).output;
    EXPECT_TRUE(csv.contains("\n192.168.1.30,02:00:00:00:00:30,"));
    EXPECT_TRUE(lan.seen.isEmpty());
}

TEST_F(OneScan, TheCopyOfTheSettingsGoesWithTheRunOrWhenToldTo)
{
    const QTemporaryDir temporary;
    const QByteArray before = qgetenv("TMPDIR");
    qputenv("TMPDIR", temporary.path().toLocal8Bit());
    const auto left = [&] { return QDir(temporary.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size(); };
    {
        ScanRun kept(ports(), {ScanOptions::Format::table, true, true});
        EXPECT_EQ(left(), 0); // nothing is copied
        ScanRun run(ports(), {});
        EXPECT_EQ(left(), 1);
        run.removeCopy();
        EXPECT_EQ(left(), 0);
        const ScanRun other(ports(), {});
    }
    EXPECT_EQ(left(), 0);
    qputenv("TMPDIR", before);
}

} // namespace
