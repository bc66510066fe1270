#include "publish/SnapshotHistoryWriter.h"

#include "publish/HistoryLine.h"
#include "tests/publish/HistoryFixture.h"

#include <limits>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

constexpr const char *today = "2026-03-01";

class SnapshotHistoryWriterTest : public HistoryFixture
{
protected:
    /// Sets the wall clock, and nothing else, to 12:00 UTC on a day.
    void setClock(int year, int month, int day) { dispatch.jumpWallClock(std::chrono::seconds(qint64(noonOf(year, month, day) - now()))); }
};

TEST_F(SnapshotHistoryWriterTest, AnUnchangedNetworkIsWrittenOnceInTenMinutesAndTwiceInSixteen)
{
    record(snapshot());
    dispatch.advance(10min);
    record(snapshot());
    EXPECT_EQ(linesOf(today), u"a");
    dispatch.advance(6min);
    record(snapshot());
    EXPECT_EQ(linesOf(today), u"a a");
}

TEST_F(SnapshotHistoryWriterTest, TheFifteenthMinuteIsTheFirstToBeWritten)
{
    record(snapshot());
    dispatch.advance(15min - 1ms);
    record(snapshot());
    EXPECT_EQ(linesOf(today), u"a");
    dispatch.advance(1ms);
    record(snapshot());
    EXPECT_EQ(linesOf(today), u"a a");
}

TEST_F(SnapshotHistoryWriterTest, TheMinutesCountFromTheLastLineNotFromTheLastSnapshot)
{
    for (int minute = 0; minute <= 60; ++minute) {
        record(snapshot());
        dispatch.advance(1min);
    }
    EXPECT_EQ(linesOf(today), u"a a a a a"); // after 0, 15, 30, 45 and 60 minutes
}

TEST_F(SnapshotHistoryWriterTest, AChangedNetworkIsWrittenASecondLater)
{
    record(snapshot("a"));
    dispatch.advance(1s);
    record(snapshot("b"));
    dispatch.advance(1s);
    record(snapshot("A"));
    dispatch.advance(1s);
    record(snapshot("a"));
    EXPECT_EQ(linesOf(today), u"a b A a");
}

TEST_F(SnapshotHistoryWriterTest, ALineIsWhatTheSnapshotSays)
{
    record(snapshot());
    EXPECT_EQ(contentOf(fileOf(today)), historyLine(snapshot(), 0)->json + '\n');
}

TEST_F(SnapshotHistoryWriterTest, ASnapshotGoesIntoTheFileOfItsOwnDay)
{
    record(snapshotAt(noonOf(2026, 2, 27)));
    EXPECT_EQ(files(), QStringList{fileOf("2026-02-27")});
}

TEST_F(SnapshotHistoryWriterTest, PruningGoesByTheDayOfTheSnapshot)
{
    leave(fileOf("2025-12-01")); // 90 days before the clock's day, 91 before that of the snapshot
    leave(fileOf("2025-12-02"));
    record(snapshotAt(noonOf(2026, 3, 2)));
    EXPECT_EQ(files(), (QStringList{fileOf("2025-12-02"), fileOf("2026-03-02")}));
}

TEST_F(SnapshotHistoryWriterTest, ADayEndsAtMidnightUTC)
{
    const double midnight = noonOf(2026, 3, 2) - 43'200;
    record(snapshotAt(midnight - 0.001, "a"));
    record(snapshotAt(midnight, "b"));
    EXPECT_EQ(linesOf("2026-03-01"), u"a");
    EXPECT_EQ(linesOf("2026-03-02"), u"b");
}

TEST_F(SnapshotHistoryWriterTest, FilesOfMoreThanNinetyDaysAgoAreRemoved)
{
    leave(fileOf("2026-08-16"));
    leave(fileOf("2026-08-17"));
    leave(fileOf("2025-11-15"));
    leave(fileOf("2027-01-01"));
    record(snapshotAt(noonOf(2026, 11, 15)));
    EXPECT_EQ(files(), (QStringList{fileOf("2026-08-17"), fileOf("2026-11-15"), fileOf("2027-01-01")}));
}

TEST_F(SnapshotHistoryWriterTest, WhatIsNoFileOfADayIsNeverRemoved)
{
    QStringList others;
    for (const char *name : {"notes.txt", "snap-x.jsonl", "snap-2020-02-30.jsonl", "snap-2020-2-3.jsonl", "snap-2020-01-01.jsonl.bak",
             "snap-2020-01-01", "2020-01-01.jsonl", ".snap-2020-01-01.jsonl", "snap-2020-01-01-02.jsonl", "SNAP-2020-01-01.jsonl"})
        others.append(QString::fromLatin1(name));
    for (const QString &name : std::as_const(others))
        leave(name);
    QDir().mkpath(path(fileOf("2020-01-02"))); // a folder with something in it
    leave(fileOf("2020-01-02") + QStringLiteral("/precious"));
    record(snapshot());
    for (const QString &name : std::as_const(others))
        EXPECT_TRUE(QFile::exists(path(name))) << qPrintable(name);
    EXPECT_TRUE(QFile::exists(path(fileOf("2020-01-02") + QStringLiteral("/precious"))));
}

TEST_F(SnapshotHistoryWriterTest, PruningRunsOnceADay)
{
    record(snapshot("a"));
    leave(fileOf("2025-01-01"));
    record(snapshot("b"));
    EXPECT_TRUE(QFile::exists(path(fileOf("2025-01-01"))));
    dispatch.advance(24h);
    record(snapshot("c"));
    EXPECT_FALSE(QFile::exists(path(fileOf("2025-01-01"))));
}

TEST_F(SnapshotHistoryWriterTest, ASnapshotThatIsNotWrittenPrunesNothing)
{
    record(snapshotAt(noonOf(2026, 3, 1)));
    leave(fileOf("2025-01-01"));
    record(snapshotAt(noonOf(2026, 3, 2)));
    EXPECT_TRUE(QFile::exists(path(fileOf("2025-01-01"))));
}

TEST_F(SnapshotHistoryWriterTest, PruningRunsEvenWhenTheLineCannotBeWritten)
{
    QDir().mkpath(path(fileOf(today))); // a folder in the file's place
    leave(fileOf("2025-01-01"));
    record(snapshot());
    EXPECT_EQ(files(), QStringList{fileOf(today)});
    leave(fileOf("2025-01-01"));
    record(snapshot()); // and not once more on the same day
    EXPECT_TRUE(QFile::exists(path(fileOf("2025-01-01"))));
}

TEST_F(SnapshotHistoryWriterTest, AFailedLineIsTriedAgainWithTheNextSnapshot)
{
    record(snapshot("a"));
    QFile::remove(path(fileOf(today)));
    QDir().mkpath(path(fileOf(today)));
    record(snapshot("b"));
    dispatch.advance(1s);
    QDir().rmdir(path(fileOf(today)));
    record(snapshot("a")); // the last that was written
    EXPECT_TRUE(files().isEmpty());
    record(snapshot("b"));
    EXPECT_EQ(linesOf(today), u"b");
}

TEST_F(SnapshotHistoryWriterTest, AFailureDoesNotPutOffTheNextLine)
{
    record(snapshot());
    dispatch.advance(15min);
    QFile::rename(path(fileOf(today)), path(QStringLiteral("aside")));
    QDir().mkpath(path(fileOf(today)));
    record(snapshot());
    QDir().rmdir(path(fileOf(today)));
    dispatch.advance(1s);
    record(snapshot());
    EXPECT_EQ(linesOf(today), u"a");
}

TEST_F(SnapshotHistoryWriterTest, TheFirstSnapshotAfterALaunchIsWrittenAndPrunes)
{
    record(snapshot());
    leave(fileOf("2025-01-01"));
    relaunch();
    record(snapshot());
    EXPECT_EQ(linesOf(today), u"a a");
    EXPECT_FALSE(QFile::exists(path(fileOf("2025-01-01"))));
}

TEST_F(SnapshotHistoryWriterTest, ATornLastLineCostsNoOther)
{
    record(snapshot("a"));
    QFile file(path(fileOf(today)));
    ASSERT_TRUE(file.open(QIODevice::Append));
    file.write(R"({"devices":[{"dns":"half a li)");
    file.close();
    relaunch();
    record(snapshot("b"));
    record(snapshot("c"));
    EXPECT_EQ(linesOf(today), u"a ? b c");
}

TEST_F(SnapshotHistoryWriterTest, NothingIsWrittenWithoutAFolder)
{
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(m_temporary.path()));
    writer = std::make_unique<SnapshotHistoryWriter>(dispatch, QString());
    record(snapshot());
    EXPECT_TRUE(QDir(m_temporary.path()).isEmpty());
    EXPECT_FALSE(QFile::exists(u'/' + fileOf(today)));
    QDir::setCurrent(before);
}

TEST_F(SnapshotHistoryWriterTest, MissingAndWronglyTypedMembersAreWrittenAsEmpty)
{
    record({});
    EXPECT_EQ(contentOf(fileOf(today)),
        R"({"v":1,"ts":1772366400.0,"src":"LTN","ssid":"","subnet":"","macSig":"","devices":[]})"
        "\n");
    record({{QStringLiteral("macSig"), 7}}); // the same signature
    EXPECT_EQ(linesOf(today), u"");
    dispatch.advance(15min);
    record({{QStringLiteral("macSig"), 7}, {QStringLiteral("devices"), QVariantList{1}}, {QStringLiteral("dateEpoch"), QStringLiteral("soon")},
        {QStringLiteral("ssid"), QVariant()}, {QStringLiteral("subnet"), true}});
    EXPECT_EQ(contentOf(fileOf(today)).count('\n'), 2);
}

TEST_F(SnapshotHistoryWriterTest, AMomentOutsideTheCalendarIsDroppedAndChangesNothing)
{
    leave(fileOf("2025-01-01"));
    using Limits = std::numeric_limits<double>;
    for (const double seconds :
        {1e300, -1e300, 1e12, 253'402'300'800.0, -62'135'596'801.0, Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity()})
        record(snapshotAt(seconds));
    EXPECT_EQ(files(), QStringList{fileOf("2025-01-01")});
    record(snapshot());
    EXPECT_EQ(linesOf(today), u"a");
}

TEST_F(SnapshotHistoryWriterTest, MomentsBefore1970HaveTheirFile)
{
    record(snapshotAt(-1));
    EXPECT_EQ(files(), QStringList{fileOf("1969-12-31")});
}

TEST_F(SnapshotHistoryWriterTest, AClockSetBackHoldsAnUnchangedNetworkUntilItHasCaughtUp)
{
    record(snapshot());
    setClock(2026, 2, 27);
    record(snapshot());
    dispatch.advance(24h);
    record(snapshot());
    EXPECT_EQ(files(), QStringList{fileOf(today)});
    record(snapshot("b")); // a change is written all the same
    EXPECT_EQ(linesOf("2026-02-28"), u"b");
    dispatch.advance(15min);
    record(snapshot("b"));
    EXPECT_EQ(linesOf("2026-02-28"), u"b b");
}

TEST_F(SnapshotHistoryWriterTest, AClockSetForwardAcrossDaysWritesAndPrunesThere)
{
    leave(fileOf("2026-01-01"));
    record(snapshot());
    EXPECT_EQ(files().size(), 2);
    setClock(2026, 5, 1);
    record(snapshot());
    EXPECT_EQ(files(), (QStringList{fileOf(today), fileOf("2026-05-01")}));
    setClock(2026, 3, 1); // and back again
    record(snapshot());
    EXPECT_EQ(linesOf(today), u"a");
    record(snapshot("b"));
    EXPECT_EQ(linesOf(today), u"a b");
}

TEST_F(SnapshotHistoryWriterTest, TheLineIsMadeWhenTheSnapshotIsHandedOver)
{
    QVariantMap without = snapshot();
    without.remove(QStringLiteral("dateEpoch"));
    writer->recordSnapshot(without);
    EXPECT_TRUE(files().isEmpty()); // but written later
    const double handedOver = now();
    dispatch.jumpWallClock(24h);
    dispatch.runReady();
    EXPECT_EQ(parseJson(contentOf(fileOf(today)).chopped(1))->toMap().value(QStringLiteral("ts")), QVariant(handedOver));
}

TEST_F(SnapshotHistoryWriterTest, WhatWaitsWhenTheWriterGoesIsNotWritten)
{
    writer->recordSnapshot(snapshot());
    writer.reset();
    dispatch.runReady();
    EXPECT_TRUE(files().isEmpty());
}

} // namespace
