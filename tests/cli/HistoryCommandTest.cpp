#include "cli/HistoryCommand.h"
#include "tests/cli/HistoryFixture.h"
#include "tests/publish/HistoryTexts.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace lanterna;

namespace
{

using Format = HistoryOptions::Format;

HistoryOptions read(const QStringList &arguments)
{
    const ParsedHistoryOptions parsed = parseHistoryOptions(arguments);
    EXPECT_EQ(parsed.error, QString());
    return parsed.options;
}

std::string errorOf(const QStringList &arguments)
{
    return parseHistoryOptions(arguments).error.toStdString();
}

TEST(HistoryOptions, NinetyDaysOfAllNetworksAsATableByItself)
{
    EXPECT_EQ(read({}), (HistoryOptions{Format::table, 90, {}, {}}));
}

TEST(HistoryOptions, EachOptionDoesItsOwnThing)
{
    EXPECT_EQ(read({"--json"}), (HistoryOptions{Format::json, 90, {}, {}}));
    EXPECT_EQ(read({"--format", "csv", "--days", "7"}), (HistoryOptions{Format::csv, 7, {}, {}}));
    EXPECT_EQ(read({"--network", "--json", "--plot", "a.svg", "--days", "3650"}), (HistoryOptions{Format::table, 3650, "--json", "a.svg"}));
    EXPECT_EQ(read({"--days", "1", "--days", "2"}).days, 2);
}

TEST(HistoryOptions, WhatIsWrongIsToldInOneLine)
{
    EXPECT_EQ(errorOf({"--weeks"}), "history: unknown argument '--weeks'");
    EXPECT_EQ(errorOf({"7"}), "history: unknown argument '7'");
    for (const char *days : {"0", "-1", "3651", "x", "1.5", "", "99999999999"})
        EXPECT_EQ(errorOf({"--days", days}), "history: --days takes a whole number from 1 to 3650, not '" + std::string(days) + "'");
    EXPECT_EQ(errorOf({"--days"}), "history: --days takes a whole number from 1 to 3650, not ''");
    EXPECT_EQ(errorOf({"--network"}), "history: --network needs a network's name or subnet");
    EXPECT_EQ(errorOf({"--plot", ""}), "history: --plot needs a file");
    EXPECT_EQ(errorOf({"--format"}), "history: --format needs a format: csv");
    EXPECT_EQ(errorOf({"--format", "xml"}), "history: unknown format 'xml'; there is csv");
    EXPECT_EQ(errorOf({"--json", "--format", "csv"}), "history: --json and --format csv exclude each other");
}

/// A history of the test day, looked at in its evening.
class HistoryCommand : public testing::Test
{
protected:
    QTemporaryDir m_folder;
    HistoryPlace m_place{m_folder.path(), QDateTime::fromMSecsSinceEpoch(at(20, 0), Qt::UTC), 0, 2};

    void write(QDate day, const QByteArray &text)
    {
        QFile file(m_folder.filePath(day.toString("'snap-'yyyy-MM-dd'.jsonl'")));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    }

    CommandResult run(const QStringList &arguments) { return historyCommand(read(arguments), m_place); }
    QString plotFile() { return m_folder.filePath("plot.svg"); }
};

const QByteArray phone = deviceText("AA:00:00:00:00:01", "192.168.1.20", "Phone");

TEST_F(HistoryCommand, WithoutAHistoryItFailsWithOneLine)
{
    const CommandResult result = run({});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.error, "there is no history in " + m_folder.path());
    m_place.folder = m_folder.filePath("missing");
    EXPECT_EQ(run({}).error, "there is no history in " + m_folder.filePath("missing"));
    m_place.folder.clear();
    EXPECT_EQ(run({}).error, "there is no history: no home folder is known");
}

TEST_F(HistoryCommand, ARangeOrNetworkWithoutLinesFailsWithOneLine)
{
    write(testDay.addDays(-3), lineText(testMidnight(testDay.addDays(-3)), {phone}));
    EXPECT_EQ(run({"--days", "1"}).error, "nothing was recorded in the last day");
    EXPECT_EQ(run({"--days", "2"}).error, "nothing was recorded in the last 2 days");
    EXPECT_EQ(run({"--network", "Office", "--days", "1"}).error, "nothing was recorded of 'Office' in the last day");
    EXPECT_EQ(run({"--days", "4"}).exitCode, 0);
    write(testDay, "torn\n");
    EXPECT_EQ(run({"--days", "1"}).error, "nothing was recorded in the last day (1 line could not be read)");
}

TEST_F(HistoryCommand, ADeviceWhoseNameShowsNothingGoesByItsAddress)
{
    write(testDay, lineText(at(10, 0), {}) + lineText(at(10, 5), {deviceText("AA:00:00:00:00:01", "192.168.1.20", "\u200b\u2060\u3000")}));
    EXPECT_TRUE(run({}).output.contains("joined  192.168.1.20\n")) << run({}).output.toStdString();
    EXPECT_TRUE(run({"--json"}).output.contains("\"name\":\"\""));
}

TEST_F(HistoryCommand, ANetworkMayBeAskedForByItsPrintedTitle)
{
    write(testDay, lineText(at(10, 0), {phone}) + lineText(at(11, 0), {phone}, "Office", "10.0.0"));
    const CommandResult result = run({"--network", "Harbour (192.168.1.x)"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(result.output.startsWith("Harbour (192.168.1.x): 1 device")) << result.output.toStdString();
    EXPECT_FALSE(result.output.contains("Office"));
}

TEST_F(HistoryCommand, WhoAsksForAnUnknownNetworkIsToldWhichThereAre)
{
    write(testDay, lineText(at(10, 0), {phone}) + lineText(at(11, 0), {phone}, "Office", "10.0.0") + "torn\n");
    EXPECT_EQ(run({"--network", "Harbor"}).error,
        "nothing was recorded of 'Harbor' in the last 90 days (1 line could not be read); there are: Office (10.0.0.x), Harbour (192.168.1.x)");
    QByteArray many;
    for (int number = 0; number < 20; ++number)
        many += lineText(at(10, number), {}, QByteArray(200, 'x') + QByteArray::number(number), "10.0.0");
    write(testDay, many);
    const CommandResult result = run({"--network", "Harbor"});
    EXPECT_EQ(result.exitCode, 1);
    const QString title = QString(39, 'x') + QString::fromUtf8("…");
    EXPECT_EQ(result.error, "nothing was recorded of 'Harbor' in the last 90 days; there are: " + QStringList(8, title).join(", ") + " and 12 more");
}

TEST_F(HistoryCommand, TheRangeEndsNow)
{
    write(testDay, lineText(at(10, 0), {phone}) + lineText(at(20, 1), {}));
    write(testDay.addDays(1), lineText(at(24 + 3, 0), {}));
    const CommandResult result = run({});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(result.output.contains("1 device, observed 20 min of 90 d\n"));
    EXPECT_TRUE(result.output.contains("2 lines lie in the future\n"));
}

TEST_F(HistoryCommand, LinesOfAClockThatWasAheadAreCountedHoweverFarItWas)
{
    write(testDay, lineText(at(10, 0), {phone}));
    for (const QDate &day : {testDay.addDays(2), testDay.addDays(400), QDate(2099, 1, 1), QDate(9999, 12, 31)})
        write(day, lineText(testMidnight(day), {phone}));
    EXPECT_TRUE(run({}).output.contains("4 lines lie in the future\n")) << run({}).output.toStdString();
    EXPECT_TRUE(run({"--days", "1", "--json"}).output.contains("\"futureLines\":4,"));
    QFile::remove(m_folder.filePath("snap-2026-11-15.jsonl"));
    EXPECT_EQ(run({}).error, "nothing was recorded in the last 90 days (4 lines lie in the future)");
}

TEST_F(HistoryCommand, AnUnbrokenHistoryWasObservedForTheWholeRange)
{
    m_place.now = QDateTime::fromMSecsSinceEpoch(at(24, 5), Qt::UTC);
    QByteArray text;
    for (int minute = 10; minute < 24 * 60; minute += 15)
        text += lineText(at(0, minute), {phone});
    write(testDay.addDays(-1), lineText(at(0, -5), {phone}));
    write(testDay, text);
    EXPECT_TRUE(run({"--days", "1"}).output.contains("1 device, observed 1 d of 1 d\n")) << run({"--days", "1"}).output.toStdString();
}

TEST_F(HistoryCommand, AFileThatCannotBeReadIsToldBesideTheRest)
{
    write(testDay, lineText(at(10, 0), {phone}));
    // Permissions do not bind the user whom tests may run as, but a link is no file of the history.
    ASSERT_TRUE(QFile::link("/dev/zero", m_folder.filePath("snap-2026-11-14.jsonl")));
    const CommandResult result = run({});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(result.error.startsWith("cannot read " + m_folder.filePath("snap-2026-11-14.jsonl") + ": ")) << result.error.toStdString();
    EXPECT_TRUE(result.output.contains("Phone"));
    QFile::remove(m_folder.filePath("snap-2026-11-15.jsonl"));
    EXPECT_EQ(run({}).exitCode, 1);
    EXPECT_TRUE(run({}).error.startsWith("cannot read ")) << run({}).error.toStdString();
}

TEST_F(HistoryCommand, APipeInAFilesPlaceIsTold)
{
    const QString pipe = m_folder.filePath("snap-2026-11-14.jsonl");
    ASSERT_EQ(::mkfifo(pipe.toUtf8().constData(), 0600), 0);
    EXPECT_EQ(run({}).error, "cannot read " + pipe + ": Not a regular file");
    EXPECT_EQ(run({}).exitCode, 1);
    write(testDay, lineText(at(10, 0), {phone}));
    const CommandResult result = run({});
    EXPECT_EQ(result.error, "cannot read " + pipe + ": Not a regular file");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(result.output.contains("Phone"));
}

TEST_F(HistoryCommand, AnUnknownNetworkIsToldBesideAFileThatCannotBeRead)
{
    for (const char *day : {"12", "13", "14"})
        ASSERT_TRUE(QFile::link("/dev/zero", m_folder.filePath(QString("snap-2026-11-%1.jsonl").arg(day))));
    const QString unreadable = "cannot read " + m_folder.filePath("snap-2026-11-12.jsonl") + ": Not a regular file (and 2 other files)";
    const QString unknown = "nothing was recorded of 'Office' in the last 90 days; ";
    EXPECT_EQ(run({"--network", "Office"}).error, unknown + unreadable);
    write(testDay, lineText(at(10, 0), {phone}));
    EXPECT_EQ(run({"--network", "Office"}).error, unknown + "there are: Harbour (192.168.1.x); " + unreadable);
    EXPECT_EQ(run({"--network", "Office"}).exitCode, 1);
    EXPECT_EQ(run({"--network", "Harbour"}).error, unreadable);
    EXPECT_EQ(run({"--network", "Harbour"}).exitCode, 0);
}

TEST_F(HistoryCommand, EachFormatAndTheChart)
{
    write(testDay, lineText(at(10, 0), {phone}));
    EXPECT_TRUE(run({"--json"}).output.startsWith("{\"from\":"));
    EXPECT_TRUE(run({"--format", "csv"}).output.startsWith("network,"));
    const CommandResult result = run({"--plot", plotFile()});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(result.output.startsWith("Harbour"));
    QFile plot(plotFile());
    ASSERT_TRUE(plot.open(QIODevice::ReadOnly));
    EXPECT_TRUE(plot.readAll().startsWith("<svg "));
}

TEST_F(HistoryCommand, TheChartBeginsWithTheFirstLineThatCounts)
{
    const LocalZone zone("UTC");
    write(testDay.addDays(-40), lineText(testMidnight(testDay.addDays(-40)), {phone}, "Office", "10.0.0") + "torn\n");
    write(testDay, lineText(at(10, 30), {phone}) + lineText(at(20, 0), {phone}, "Dock", "10.0.1"));
    const auto plotOf = [&](const QString &network) {
        EXPECT_EQ(run({"--plot", plotFile(), "--network", network}).exitCode, 0);
        QFile plot(plotFile());
        EXPECT_TRUE(plot.open(QIODevice::ReadOnly));
        return QString::fromUtf8(plot.readAll());
    };
    EXPECT_TRUE(plotOf("Harbour").contains(">15 Nov 2026 10:30 to 15 Nov 2026 20:00, "));
    EXPECT_TRUE(plotOf("Dock").contains(">15 Nov 2026 20:00 to 15 Nov 2026 20:00, ")) << "a line of this very moment";
}

TEST_F(HistoryCommand, AChartThatCannotBeWrittenIsOneLineAndLeavesNothingBehind)
{
    write(testDay, lineText(at(10, 0), {phone}));
    const CommandResult result = run({"--plot", m_folder.filePath("missing/plot.svg")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.error.startsWith("cannot write " + m_folder.filePath("missing/plot.svg") + ": ")) << result.error.toStdString();
    EXPECT_FALSE(result.error.contains(u'\n'));
    EXPECT_EQ(run({"--plot", m_folder.path()}).exitCode, 1) << "a folder";
    EXPECT_EQ(QDir(m_folder.path()).entryList(QDir::Files), QStringList{"snap-2026-11-15.jsonl"});
}

TEST_F(HistoryCommand, AChartReplacesTheOldOneWhole)
{
    write(testDay, lineText(at(10, 0), {phone}));
    QFile old(plotFile());
    ASSERT_TRUE(old.open(QIODevice::WriteOnly));
    old.write(QByteArray(1'000'000, 'x'));
    old.close();
    EXPECT_EQ(run({"--plot", plotFile()}).exitCode, 0);
    ASSERT_TRUE(old.open(QIODevice::ReadOnly));
    EXPECT_FALSE(old.readAll().contains("xxxx"));
    EXPECT_EQ(QDir(m_folder.path()).entryList(QDir::Files), (QStringList{"plot.svg", "snap-2026-11-15.jsonl"}));
}

} // namespace
