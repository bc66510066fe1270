#pragma once

#include "publish/HistoryDay.h"

#include <QIODevice>
#include <QList>

#include <functional>

namespace lanterna
{

/// A file of the history, `docs/formats/history.md`.
struct HistoryFile {
    QDate day; ///< in UTC
    QString path;
};

/// Bytes of the longest line that is read; a thousand devices take a tenth. A longer one counts as broken.
inline constexpr qsizetype longestHistoryLine = 4 << 20;

/// The history's files in a folder whose days lie from `first` to `last`, by day. Other names do not count, and no folder does; what else
/// has a file's name comes with the others. Empty when the folder cannot be listed.
QList<HistoryFile> historyFiles(const QString &folder, QDate first, QDate last);

/// Reads the lines of a day, in a few megabytes whatever the file holds. A last line without its line end counts when it is whole otherwise, as it will
/// once the next writer has closed it off; else it is broken. Any thread.
HistoryDay readHistoryDay(QDate day, QIODevice &device);

/// Reads files and hands each day over, on the calling thread and in the order of the files. So many threads read beside it (none: the calling
/// thread itself, as where the system gives no more), in all at most one file more than there are threads ahead of the day handed over. A file that
/// cannot be read comes with its error, and so does what is no regular file, a link among them.
void readHistory(const QList<HistoryFile> &files, unsigned threads, const std::function<void(const HistoryDay &)> &take);

} // namespace lanterna
