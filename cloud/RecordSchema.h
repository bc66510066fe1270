#pragma once

#include "cloud/Sqlite.h"
#include "platform/RecordDatabase.h"

#include <optional>

namespace lanterna
{

/// Sees to it that an open database has the tables of docs/formats/records.md, which an empty one gets. What keeps it from being used, or nothing; the
/// database itself may have failed as well. `path` is for the words.
std::optional<RecordError> takeRecordSchema(SqliteDatabase &database, const QString &path);

/// Whether the file's structure is whole: what is not found in it is then really not there. Reads all but the contents; a few milliseconds.
bool isSound(SqliteDatabase &database);

} // namespace lanterna
