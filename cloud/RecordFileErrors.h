#pragma once

#include "cloud/Sqlite.h"
#include "platform/RecordDatabase.h"

namespace lanterna
{

// What goes wrong with a file of records, as errors of the store. They name the file without its folder.

/// What the system said: ENOSPC is no room, EACCES no permission.
RecordError recordFileError(const QString &path, int systemError);
/// The file is no database at all.
RecordError noDatabase(const QString &path);
/// What was once stored in it cannot be read.
RecordError damagedFile(const QString &path);
/// The failure of an open database.
RecordError failureOf(const SqliteDatabase &database, const QString &path);

} // namespace lanterna
