#include "publish/HistoryFormat.h"

#include "platform/DataFolder.h"

#include <cmath>

namespace lanterna
{

namespace
{

constexpr qint64 secondsPerDay = 86'400; // on a scale without leap seconds, as the system's clock runs
constexpr qint64 dayOf1970 = 2'440'588; // Julian day number of 1 January 1970

/// Whether four digits tell the year.
bool hasName(QDate day)
{
    return day.isValid() && day.year() >= 1 && day.year() <= 9999;
}

} // namespace

QString historyFolder()
{
    const QString data = dataHome();
    if (data.isEmpty())
        return {};
    return QStringLiteral("%1/%2/%3").arg(data, historyGroupFolder, historyFolderName);
}

std::optional<QDate> historyDay(double secondsSince1970)
{
    // Whole seconds first: as a fraction of days the last moments before midnight would round up to it.
    const double seconds = std::floor(secondsSince1970);
    constexpr double farthest = 1e12; // thirty thousand years: every day that counts, and far inside 64 bits. Also false for what is no number.
    if (!(std::abs(seconds) <= farthest))
        return std::nullopt;
    const qint64 whole = qint64(seconds);
    const qint64 day = whole / secondsPerDay - (whole % secondsPerDay < 0 ? 1 : 0);
    const QDate date = QDate::fromJulianDay(dayOf1970 + day);
    return hasName(date) ? std::optional(date) : std::nullopt;
}

QString historyFileName(QDate day)
{
    return historyFilePrefix.toString() + day.toString(historyDayFormat) + historyFileSuffix.toString();
}

std::optional<QDate> dayOfHistoryFile(const QString &name)
{
    const qsizetype around = historyFilePrefix.size() + historyFileSuffix.size();
    if (name.size() <= around || !name.startsWith(historyFilePrefix) || !name.endsWith(historyFileSuffix))
        return std::nullopt;
    const QDate day = QDate::fromString(name.mid(historyFilePrefix.size(), name.size() - around), historyDayFormat.toString());
    // Written again and compared: reading alone would take other spellings of a day, too.
    return hasName(day) && historyFileName(day) == name ? std::optional(day) : std::nullopt;
}

} // namespace lanterna
