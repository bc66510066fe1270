#include "cloud/DataFolder.h"

namespace lanterna
{

QString dataFolder()
{
    QString data = qEnvironmentVariable("XDG_DATA_HOME");
    if (!data.startsWith(u'/')) {
        const QString home = qEnvironmentVariable("HOME");
        if (!home.startsWith(u'/'))
            return {};
        data = home + QStringLiteral("/.local/share");
    }
    return data + QStringLiteral("/lanterna");
}

QString recordFilePath()
{
    const QString folder = dataFolder();
    return folder.isEmpty() ? QString() : folder + QStringLiteral("/records.sqlite");
}

} // namespace lanterna
