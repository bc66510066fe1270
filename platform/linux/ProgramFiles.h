#pragma once

#include <QString>

namespace lanterna
{

/// The program's own files, found from where the executable is: in the installed tree (`bin/` beside `share/` and the library folder) and in the
/// build tree, which is laid out alike (`share/` in the build folder, executables in it or one folder below).
class ProgramFiles
{
public:
    /// Looks from this folder on; the executable's own by default.
    explicit ProgramFiles(const QString &executableFolder = QString());

    /// Folder with an icon theme ("hicolor/...") that holds the program's icons; empty when they are not there.
    [[nodiscard]] QString iconThemePath() const;
    /// One of the files in share/lanterna, such as "lanterna_menuitem_light.png"; empty when it is not there.
    [[nodiscard]] QString dataFile(const QString &fileName) const;
    /// Whether the executable lies in a tree that a desktop finds programs in, which the build tree is not.
    [[nodiscard]] bool isInstalled() const { return !find(QStringLiteral("share/applications/lanterna.desktop")).isEmpty(); }
    /// The library with the program's windows; empty when it is not there.
    [[nodiscard]] QString windowLibrary() const;

private:
    [[nodiscard]] QString find(const QString &relativePath) const;

    QString m_folder;
};

} // namespace lanterna
