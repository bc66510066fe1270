#include "publish/HistoryFormat.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace lanterna;

namespace
{

QString nameAt(double seconds)
{
    const std::optional<QDate> day = historyDay(seconds);
    return day ? historyFileName(*day) : QString();
}

/// Sets an environment variable, or unsets it when the value is null, until the test's end.
class Variable
{
public:
    Variable(const char *name, const QByteArray &value) : m_name(name), m_before(qgetenv(name)) { set(value); }
    ~Variable() { set(m_before); }
    Variable(const Variable &) = delete;
    Variable &operator=(const Variable &) = delete;

private:
    void set(const QByteArray &value)
    {
        if (value.isNull())
            qunsetenv(m_name);
        else
            qputenv(m_name, value);
    }
    const char *m_name;
    QByteArray m_before;
};

TEST(HistoryFormat, AFileIsNamedAfterTheDayInUTC)
{
    EXPECT_EQ(nameAt(1'794'700'800), u"snap-2026-11-15.jsonl");
    EXPECT_EQ(nameAt(0), u"snap-1970-01-01.jsonl");
    EXPECT_EQ(nameAt(951'782'400), u"snap-2000-02-29.jsonl");
}

TEST(HistoryFormat, ADayEndsWithItsLastFractionOfASecond)
{
    const double midnight = 1'794'700'800;
    EXPECT_EQ(nameAt(std::nextafter(midnight, 0)), u"snap-2026-11-14.jsonl");
    EXPECT_EQ(nameAt(midnight + 86'399.999), u"snap-2026-11-15.jsonl");
    EXPECT_EQ(nameAt(midnight + 86'400), u"snap-2026-11-16.jsonl");
}

TEST(HistoryFormat, MomentsBefore1970HaveTheirDay)
{
    EXPECT_EQ(nameAt(-0.25), u"snap-1969-12-31.jsonl");
    EXPECT_EQ(nameAt(-86'400), u"snap-1969-12-31.jsonl");
    EXPECT_EQ(nameAt(-86'400.25), u"snap-1969-12-30.jsonl");
}

TEST(HistoryFormat, OnlyYearsThatANameCanTellHaveDays)
{
    EXPECT_EQ(nameAt(-62'135'596'800), u"snap-0001-01-01.jsonl");
    EXPECT_EQ(nameAt(253'402'300'799), u"snap-9999-12-31.jsonl");
    for (const double seconds : {-62'135'596'801.0, 253'402'300'800.0, 1e12, -1e12, 1e18, 1e300, -1e300})
        EXPECT_FALSE(historyDay(seconds)) << seconds;
    using Limits = std::numeric_limits<double>;
    for (const double seconds : {Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity(), Limits::max(), Limits::lowest()})
        EXPECT_FALSE(historyDay(seconds)) << seconds;
}

TEST(HistoryFormat, AFileNameTellsItsDay)
{
    EXPECT_EQ(dayOfHistoryFile(QStringLiteral("snap-2026-11-15.jsonl")), QDate(2026, 11, 15));
    EXPECT_EQ(dayOfHistoryFile(QStringLiteral("snap-0001-01-01.jsonl")), QDate(1, 1, 1));
}

TEST(HistoryFormat, OtherNamesTellNoDay)
{
    for (const char *name : {"", "notes.txt", "snap-x.jsonl", "snap-.jsonl", "snap-2026-02-30.jsonl", "snap-2026-2-3.jsonl", "snap-26-02-03.jsonl",
             "snap-2026-11-15.jsonl~", "snap-2026-11-15.jsonl.jsonl", "Snap-2026-11-15.jsonl", "snap- 2026-11-15.jsonl", "snap-2026-11-15 .jsonl",
             "snap--2026-11-15.jsonl", "snap-+2026-11-15.jsonl", "snap-12026-11-15.jsonl", "snap.jsonl", "snap-2026-11-15.json"})
        EXPECT_FALSE(dayOfHistoryFile(QString::fromLatin1(name))) << name;
}

TEST(HistoryFormat, TheFolderIsInTheUsersData)
{
    const Variable home("HOME", "/home/ada");
    const Variable data("XDG_DATA_HOME", "/data");
    EXPECT_EQ(historyFolder(), u"/data/group.Rangefinder/SnapshotHistory");
}

TEST(HistoryFormat, AnUnsetOrRelativeDataFolderDoesNotCount)
{
    const Variable home("HOME", "/home/ada");
    for (const QByteArray &value : {QByteArray(), QByteArray(""), QByteArray("data"), QByteArray("../data")}) {
        const Variable data("XDG_DATA_HOME", value);
        EXPECT_EQ(historyFolder(), u"/home/ada/.local/share/group.Rangefinder/SnapshotHistory") << value.constData();
    }
}

TEST(HistoryFormat, WithoutAHomeThereIsNoFolder)
{
    const Variable data("XDG_DATA_HOME", {});
    const Variable home("HOME", {});
    EXPECT_TRUE(historyFolder().isEmpty());
}

} // namespace
