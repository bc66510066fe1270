#pragma once

#include <QString>

namespace lanterna
{

/// The host's name as gethostname(2) gives it; empty when it cannot be read.
QString hostName();

/// The full name in an account's comment field (GECOS): the text before the first comma; the login name when that is empty.
QString fullNameFromAccount(const QString &comment, const QString &login);

/// The full name of the user that runs the program; "Unknown" without an account entry.
QString fullUserName();

} // namespace lanterna
