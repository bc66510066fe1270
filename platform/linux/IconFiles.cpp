#include "platform/linux/IconFiles.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace lanterna
{

namespace
{

const QString fileFilter = QStringLiteral("address-*.png");
constexpr QFile::Permissions ownerOnly = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;

} // namespace

QString sessionIconFolder()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return runtime.isEmpty() ? QString() : runtime + QStringLiteral("/lanterna");
}

IconFiles::IconFiles(const QString &folder) : m_folder(folder) { }

IconFiles::~IconFiles()
{
    remove();
}

void IconFiles::remove()
{
    if (!m_prepared)
        return;
    m_shown.clear();
    m_before.clear();
    removeOthers();
    // Fails while something else lies in it, which is then not ours to remove.
    QDir().rmdir(m_folder);
    m_folder.clear();
    m_prepared = false;
}

QString IconFiles::publish(const QByteArray &png)
{
    if (!prepareFolder())
        return {};
    const QString digest = QString::fromLatin1(QCryptographicHash::hash(png, QCryptographicHash::Sha256).toHex().left(16));
    const QString path = m_folder + QStringLiteral("/address-") + digest + QStringLiteral(".png");
    if (path == m_shown && QFileInfo::exists(path))
        return path;
    if (!QFileInfo::exists(path)) {
        QSaveFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(png) != png.size() || !file.commit())
            return {};
    }
    m_before = m_shown;
    m_shown = path;
    removeOthers();
    return path;
}

bool IconFiles::prepareFolder()
{
    if (m_folder.isEmpty())
        return false;
    if (QFileInfo(m_folder).isSymLink() || !QDir().mkpath(m_folder))
        return false;
    m_prepared = QFile::setPermissions(m_folder, ownerOnly);
    return m_prepared;
}

void IconFiles::removeOthers()
{
    const QDir folder(m_folder);
    const QStringList names = folder.entryList({fileFilter}, QDir::Files | QDir::NoSymLinks);
    for (const QString &name : names) {
        const QString path = folder.filePath(name);
        if (path != m_shown && path != m_before)
            QFile::remove(path);
    }
}

} // namespace lanterna
