#pragma once

#include <QList>
#include <QString>

#include <QtGlobal>

namespace lanterna
{

/// A place on a time axis.
struct TimeTick {
    qint64 time = 0; ///< milliseconds since 1970
    QString label = {}; ///< "22 Oct", "06:00", "Oct 2026"; empty for a line without words
    bool operator==(const TimeTick &) const = default;
};

/// Where an axis from one moment to another has its marks, at most so many labels: full hours, local midnights, Mondays or first days of months,
/// whichever come close to that number. Between them local midnights without a label, where that makes no more than `mostSilentTicks`. By time.
///
/// `from` lies before `to`; the local time zone is the system's, its changes of clock included.
QList<TimeTick> timeTicks(qint64 from, qint64 to, int labels);
inline constexpr int mostSilentTicks = 100;

} // namespace lanterna
