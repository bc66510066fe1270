#include "cli/TimeTicks.h"
#include "tests/cli/HistoryFixture.h"

#include <QDateTime>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

using namespace lanterna;

namespace
{

qint64 moment(const char *local)
{
    return QDateTime::fromString(QString::fromLatin1(local), Qt::ISODate).toMSecsSinceEpoch();
}

QStringList labels(const char *from, const char *to, int most = 15)
{
    QStringList texts;
    for (const TimeTick &tick : timeTicks(moment(from), moment(to), most)) {
        if (!tick.label.isEmpty())
            texts.append(tick.label);
    }
    return texts;
}

class TimeTicks : public testing::Test
{
protected:
    LocalZone m_zone{"Europe/Stockholm"};
};

TEST_F(TimeTicks, ADayHasFullHours)
{
    EXPECT_EQ(labels("2026-11-15T16:30:00", "2026-11-16T16:30:00"),
        (QStringList{"18:00", "20:00", "22:00", "16 Nov", "02:00", "04:00", "06:00", "08:00", "10:00", "12:00", "14:00", "16:00"}));
}

TEST_F(TimeTicks, AMonthHasEverySecondDayAndAQuarterItsMondays)
{
    const QStringList month = labels("2026-10-22T17:00:00", "2026-11-21T17:00:00");
    EXPECT_EQ(month.size(), 15);
    EXPECT_EQ(month.mid(0, 2), (QStringList{"24 Oct", "26 Oct"}));
    const QStringList quarter = labels("2026-08-23T17:00:00", "2026-11-21T17:00:00");
    EXPECT_EQ(quarter.size(), 13);
    EXPECT_EQ(quarter.first(), "24 Aug");
}

TEST_F(TimeTicks, DaysWithoutALabelHaveALine)
{
    EXPECT_EQ(timeTicks(moment("2026-10-22T17:00:00"), moment("2026-11-21T17:00:00"), 15).size(), 30);
}

TEST_F(TimeTicks, MidnightsAreLocalAlsoWhenTheClocksChange)
{
    for (const TimeTick &tick : timeTicks(moment("2026-10-20T00:00:00"), moment("2026-11-01T00:00:00"), 15))
        EXPECT_EQ(QDateTime::fromMSecsSinceEpoch(tick.time).time(), QTime(0, 0));
    const QList<TimeTick> spring = timeTicks(moment("2026-03-28T22:00:00"), moment("2026-03-29T08:00:00"), 15);
    for (qsizetype at = 1; at < spring.size(); ++at)
        EXPECT_LT(spring.at(at - 1).time, spring.at(at).time);
}

TEST_F(TimeTicks, YearsHaveMonths)
{
    EXPECT_EQ(labels("2025-11-21T00:00:00", "2026-11-21T00:00:00").first(), "Dec 2025");
    EXPECT_EQ(labels("2016-11-21T00:00:00", "2026-11-21T00:00:00"),
        (QStringList{"Jan 2017", "Jan 2018", "Jan 2019", "Jan 2020", "Jan 2021", "Jan 2022", "Jan 2023", "Jan 2024", "Jan 2025", "Jan 2026"}));
}

TEST_F(TimeTicks, NeverMoreLabelsThanFit)
{
    for (qint64 range = 60'000; range < 3700LL * 24 * 3'600'000; range = range * 5 / 4) {
        const QList<TimeTick> ticks = timeTicks(moment("2026-11-21T13:37:00") - range, moment("2026-11-21T13:37:00"), 15);
        const auto labelled = std::count_if(ticks.cbegin(), ticks.cend(), [](const TimeTick &tick) { return !tick.label.isEmpty(); });
        EXPECT_LE(labelled, 16) << range;
        EXPECT_LE(ticks.size(), 16 + mostSilentTicks);
        EXPECT_TRUE(
            std::all_of(ticks.cbegin(), ticks.cend(), [&](const TimeTick &tick) { return tick.time >= moment("2026-11-21T13:37:00") - range; }));
    }
}

} // namespace
