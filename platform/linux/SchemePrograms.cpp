#include "platform/linux/SchemePrograms.h"

#include "platform/linux/DesktopEntry.h"

#include <QFile>
#include <QStandardPaths>

#include <algorithm>

namespace lanterna
{

namespace
{

/// The programs that a list of associations (mimeapps.list, mimeinfo.cache) names for a type, other than those that it takes away.
QByteArrayList programsFor(const QByteArray &type, const QByteArray &associations)
{
    QByteArrayList programs;
    bool counts = false;
    for (const QByteArray &line : associations.split('\n')) {
        if (line.startsWith('['))
            counts = !line.startsWith("[Removed");
        else if (const qsizetype equals = line.indexOf('='); counts && equals > 0 && line.first(equals).trimmed() == type)
            programs += line.sliced(equals + 1).split(';');
    }
    return programs;
}

} // namespace

bool hasProgramForScheme(const QString &scheme, const QStringList &dataFolders, const QStringList &configurationFolders)
{
    const QByteArray type = "x-scheme-handler/" + scheme.toLatin1();
    QByteArrayList programs;
    for (const QString &folder : configurationFolders)
        programs += programsFor(type, contentOf(folder + QStringLiteral("/mimeapps.list")));
    for (const QString &folder : dataFolders) {
        for (const char *list : {"/applications/mimeapps.list", "/applications/mimeinfo.cache"})
            programs += programsFor(type, contentOf(folder + QLatin1String(list)));
    }
    return std::ranges::any_of(programs, [&](const QByteArray &program) {
        const QString name = QString::fromUtf8(program.trimmed());
        return !name.isEmpty() && !name.contains(u'/') && std::ranges::any_of(dataFolders, [&](const QString &folder) {
            return QFile::exists(folder + QStringLiteral("/applications/") + name);
        });
    });
}

bool hasProgramForScheme(const QString &scheme)
{
    return hasProgramForScheme(scheme, QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation),
        QStandardPaths::standardLocations(QStandardPaths::GenericConfigLocation));
}

} // namespace lanterna
