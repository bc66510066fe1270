#pragma once

#include "platform/RecordDatabase.h"

namespace lanterna
{

/// A number that shows whether a record is as it was saved: CRC-32 of its name, type, change tag and fields (docs/formats/records.md). A database of
/// SQLite does not notice changed bytes inside a value, nor every row that is lost where a file was cut or a block of the disk went bad.
quint32 checksumOf(const Record &record);

} // namespace lanterna
