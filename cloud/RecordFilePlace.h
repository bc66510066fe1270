#pragma once

#include "platform/RecordDatabase.h"

#include <optional>

namespace lanterna
{

/// Whether nothing at all stands at this path.
bool isAbsent(const QString &path);

/// Sees to the place of a database file before it is opened: the folder (0700) and the file (0600, empty) are made where they are missing and `make`
/// says so; what others may read of the file and its side files ("-wal", "-shm", "-journal") is closed to them. What is no regular file, or a link, is
/// refused. `path` becomes the one without links in the folder's name. What is wrong, or nothing. Any thread.
///
/// The file is never opened here: closing it would let go the locks that another database of this program has on it (fcntl(2)).
std::optional<RecordError> prepareRecordFile(QString &path, bool make);

} // namespace lanterna
