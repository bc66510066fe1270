#pragma once

#include <QString>

namespace lanterna
{

/// `$XDG_DATA_HOME/lanterna`, which holds what this machine keeps of the cloud; below `~/.local/share` when the variable is unset or no absolute path,
/// for then it does not count (XDG Base Directory Specification). Empty when there is no home folder either.
QString dataFolder();

/// The file of the embedded database (docs/formats/records.md); empty without a data folder.
QString recordFilePath();

} // namespace lanterna
