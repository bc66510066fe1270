#pragma once

#include <QDate>
#include <QString>

#include <optional>

namespace lanterna
{

// What the writer and the readers of the snapshot history have in common; docs/formats/history.md describes it for other programs. Pure functions but
// for `historyFolder`; any thread.

/// Folder of the history, below the folder for users' data: the one shared with the owner's other scanner programs, and the history's own in it.
inline constexpr QStringView historyGroupFolder = u"group.Rangefinder";
inline constexpr QStringView historyFolderName = u"SnapshotHistory";

/// Around the day in the name of a file: "snap-2026-11-15.jsonl".
inline constexpr QStringView historyFilePrefix = u"snap-";
inline constexpr QStringView historyFileSuffix = u".jsonl";
inline constexpr QStringView historyDayFormat = u"yyyy-MM-dd";

/// "v" of each line.
inline constexpr int historyFormatVersion = 1;
/// "src" of each line that this program writes.
inline constexpr QStringView historySource = u"LTN";
/// Ends each line.
inline constexpr char historyLineEnd = '\n';

/// Days for which files are kept, beside that of the newest line.
inline constexpr int historyKeptDays = 90;

/// "group.Rangefinder/SnapshotHistory" in the `dataHome`. Empty when there is none: then there is no history.
QString historyFolder();

/// The UTC day of a moment in seconds since 1970; nothing outside the years 1 to 9999, which are all that a file name can tell.
std::optional<QDate> historyDay(double secondsSince1970);

/// "snap-2026-11-15.jsonl".
QString historyFileName(QDate day);

/// The day in a file name of this very form; nothing for any other name.
std::optional<QDate> dayOfHistoryFile(const QString &name);

} // namespace lanterna
