#pragma once

#include <QDateTime>
#include <QString>

namespace lanterna
{

/// A moment in local time, with the date in the medium and the time in the short form of the locale ("Nov 22, 2026, 2:02 AM" for "en_US",
/// "22.11.2026, 02:02" for "de_DE"), as ICU writes them. Empty for an invalid moment. Any thread.
QString mediumDateShortTime(const QDateTime &moment, const QString &localeIdentifier);

} // namespace lanterna
