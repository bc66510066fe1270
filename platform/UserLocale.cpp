#include "platform/UserLocale.h"

namespace lanterna
{

QString localeIdentifier(const QString &lcAll, const QString &lcTime, const QString &lang)
{
    QString identifier = lang;
    if (!lcAll.isEmpty())
        identifier = lcAll;
    else if (!lcTime.isEmpty())
        identifier = lcTime;
    for (const QChar mark : {u'.', u'@'}) {
        if (const qsizetype at = identifier.indexOf(mark); at >= 0)
            identifier.truncate(at);
    }
    const bool isPlain = identifier.isEmpty() || identifier == QLatin1String("C") || identifier == QLatin1String("POSIX");
    return isPlain ? QStringLiteral("en_US_POSIX") : identifier;
}

QString userLocaleIdentifier()
{
    return localeIdentifier(qEnvironmentVariable("LC_ALL"), qEnvironmentVariable("LC_TIME"), qEnvironmentVariable("LANG"));
}

} // namespace lanterna
