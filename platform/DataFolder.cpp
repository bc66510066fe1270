#include "platform/DataFolder.h"

namespace lanterna
{

QString dataHome()
{
    if (QString data = qEnvironmentVariable("XDG_DATA_HOME"); data.startsWith(u'/'))
        return data;
    const QString home = qEnvironmentVariable("HOME");
    return home.startsWith(u'/') ? home + QStringLiteral("/.local/share") : QString();
}

QString dataFolder()
{
    const QString data = dataHome();
    return data.isEmpty() ? QString() : data + QStringLiteral("/lanterna");
}

} // namespace lanterna
