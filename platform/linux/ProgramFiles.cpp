#include "platform/linux/ProgramFiles.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace lanterna
{

ProgramFiles::ProgramFiles(const QString &executableFolder)
    : m_folder(executableFolder.isEmpty() ? QCoreApplication::applicationDirPath() : executableFolder)
{
}

QString ProgramFiles::iconThemePath() const
{
    return find(QStringLiteral("share/icons/hicolor/scalable/apps/lanterna.svg")).isEmpty() ? QString() : find(QStringLiteral("share/icons"));
}

QString ProgramFiles::dataFile(const QString &fileName) const
{
    return find(QStringLiteral("share/lanterna/") + fileName);
}

QString ProgramFiles::windowLibrary() const
{
    return find(QStringLiteral(LANTERNA_LIBRARY_FOLDER "/lanterna/liblanterna_windows.so"));
}

QString ProgramFiles::find(const QString &relativePath) const
{
    for (const QString &base : {QStringLiteral("/../"), QStringLiteral("/")}) {
        const QString path = QDir::cleanPath(m_folder + base + relativePath);
        if (QFileInfo::exists(path))
            return path;
    }
    return {};
}

} // namespace lanterna
