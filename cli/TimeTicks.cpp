#include "cli/TimeTicks.h"

#include <QDateTime>
#include <QLocale>

#include <algorithm>
#include <array>

namespace lanterna
{

namespace
{

constexpr qint64 hour = qint64{3600} * 1000;
constexpr qint64 day = 24 * hour;

/// The distances between labels from which one is chosen.
constexpr std::array hourSteps = {1, 2, 3, 6, 12};
constexpr std::array daySteps = {1, 2, 4, 7, 14};
constexpr std::array monthSteps = {1, 2, 3, 6, 12, 24};

/// The distance that gives at most so many labels (and perhaps one at the very edge), or 0 when each gives more. An hour more that the range has
/// because the clocks change counts for nothing.
template <typename Steps> int fittingStep(const Steps &steps, qint64 unit, qint64 range, int labels)
{
    const auto *const found = std::find_if(steps.begin(), steps.end(), [&](int step) { return range <= step * unit * labels + hour; });
    return found == steps.end() ? 0 : *found;
}

QDate dateOf(qint64 time)
{
    return QDateTime::fromMSecsSinceEpoch(time).date();
}

QString text(const QDate &date, const char *format)
{
    return QLocale::c().toString(date, QString::fromLatin1(format));
}

QList<TimeTick> hourTicks(qint64 from, qint64 to, int step)
{
    QList<TimeTick> ticks;
    for (QDate date = dateOf(from); date <= dateOf(to); date = date.addDays(1)) {
        for (int at = 0; at < 24; at += step) {
            // The first moment of a day need not be midnight, and an hour may be missing on the day the clocks change.
            const qint64 time = (at == 0 ? date.startOfDay() : QDateTime(date, QTime(at, 0))).toMSecsSinceEpoch();
            const QTime clock = QDateTime::fromMSecsSinceEpoch(time).time();
            if (at == 0 || clock.hour() == at)
                ticks.append({time, at == 0 ? text(date, "d MMM") : clock.toString(QStringLiteral("HH:mm"))});
        }
    }
    return ticks;
}

QList<TimeTick> dayTicks(qint64 from, qint64 to, int step)
{
    QList<TimeTick> ticks;
    // Julian day 0 was a Monday, so weeks begin on Mondays.
    for (QDate date = dateOf(from); date <= dateOf(to); date = date.addDays(1))
        ticks.append({date.startOfDay().toMSecsSinceEpoch(), date.toJulianDay() % step == 0 ? text(date, "d MMM") : QString()});
    return ticks;
}

QList<TimeTick> monthTicks(qint64 from, qint64 to, int step)
{
    QList<TimeTick> ticks;
    const QDate first = dateOf(from);
    for (QDate date(first.year(), 1, 1); date <= dateOf(to); date = date.addMonths(step))
        ticks.append({date.startOfDay().toMSecsSinceEpoch(), text(date, "MMM yyyy")});
    return ticks;
}

} // namespace

QList<TimeTick> timeTicks(qint64 from, qint64 to, int labels)
{
    const qint64 range = to - from;
    QList<TimeTick> ticks;
    if (const int hours = fittingStep(hourSteps, hour, range, labels)) {
        ticks = hourTicks(from, to, hours);
    } else if (const int days = fittingStep(daySteps, day, range, labels)) {
        ticks = dayTicks(from, to, days);
    } else {
        const int months = fittingStep(monthSteps, 30 * day, range, labels);
        ticks = monthTicks(from, to, months > 0 ? months : monthSteps.back());
    }
    ticks.removeIf([&](const TimeTick &tick) { return tick.time < from || tick.time > to; });
    if (std::count_if(ticks.cbegin(), ticks.cend(), [](const TimeTick &tick) { return tick.label.isEmpty(); }) > mostSilentTicks)
        ticks.removeIf([](const TimeTick &tick) { return tick.label.isEmpty(); });
    return ticks;
}

} // namespace lanterna
