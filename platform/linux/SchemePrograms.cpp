#include "platform/linux/SchemePrograms.h"

#include "platform/linux/DesktopEntry.h"

#include <QFile>
#include <QStandardPaths>

#include <algorithm>
#include <iterator>
#include <utility>

namespace lanterna
{

namespace
{

/// The programs that the lists of associations (mimeapps.list, mimeinfo.cache) name for a type, from the list above all others downwards.
class Associations
{
public:
    explicit Associations(QByteArray type) : m_type(std::move(type)) { }

    /// Adds the next list. What lists above it take away does not count in it.
    void add(const QByteArray &list)
    {
        QByteArrayList named;
        QByteArrayList removed;
        QByteArrayList *group = nullptr;
        for (const QByteArray &line : list.split('\n')) {
            if (line.startsWith('[')) {
                group = line.startsWith("[Removed") ? &removed : &named;
            } else if (const qsizetype equals = line.indexOf('='); group && equals > 0 && line.first(equals).trimmed() == m_type) {
                for (const QByteArray &program : line.sliced(equals + 1).split(';'))
                    group->append(program.trimmed());
            }
        }
        std::ranges::copy_if(named, std::back_inserter(m_programs), [this](const QByteArray &program) { return !m_removed.contains(program); });
        m_removed += removed;
    }
    [[nodiscard]] const QByteArrayList &programs() const { return m_programs; }

private:
    QByteArray m_type;
    QByteArrayList m_programs;
    QByteArrayList m_removed;
};

} // namespace

bool hasProgramForScheme(const QString &scheme, const QStringList &dataFolders, const QStringList &configurationFolders)
{
    Associations associations("x-scheme-handler/" + scheme.toLatin1());
    for (const QString &folder : configurationFolders)
        associations.add(contentOf(folder + QStringLiteral("/mimeapps.list")));
    for (const QString &folder : dataFolders) {
        for (const char *list : {"/applications/mimeapps.list", "/applications/mimeinfo.cache"})
            associations.add(contentOf(folder + QLatin1String(list)));
    }
    return std::ranges::any_of(associations.programs(), [&](const QByteArray &program) {
        const QString name = QString::fromUtf8(program);
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
