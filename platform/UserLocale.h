#pragma once

#include <QString>

namespace lanterna
{

/// The identifier of the locale in which times are written: the first of the three environment variables that holds anything, without codeset and
/// modifier ("de_DE.UTF-8@euro" gives "de_DE"). "C" and "POSIX", or nothing at all, give "en_US_POSIX".
QString localeIdentifier(const QString &lcAll, const QString &lcTime, const QString &lang);
/// The same of this process's environment: LC_ALL, LC_TIME and LANG.
QString userLocaleIdentifier();

} // namespace lanterna
