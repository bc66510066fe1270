#pragma once

#include <QString>

namespace lanterna
{

/// `$XDG_DATA_HOME`; `~/.local/share` when the variable is unset or no absolute path, for then it does not count (XDG Base Directory Specification).
/// Empty when there is no home folder either. Any thread.
QString dataHome();

/// `lanterna` in there: the owner's records and secrets. Empty without a data home.
QString dataFolder();

} // namespace lanterna
