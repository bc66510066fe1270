#pragma once

#include <QByteArray>
#include <QString>

namespace lanterna
{

/// Pictures handed to panels as files, for those that take a name and no pixels. Main thread only.
///
/// They live in a folder of the session's own (`$XDG_RUNTIME_DIR/lanterna`, mode 0700), each under a name that follows from its content, since panels
/// cache by name. The shown one and the one before it (a panel may still be reading it) are kept; the folder goes when this does.
class IconFiles
{
public:
    /// `folder` is made at the first use; empty means that no files can be had.
    explicit IconFiles(const QString &folder);
    ~IconFiles();
    IconFiles(const IconFiles &) = delete;
    IconFiles &operator=(const IconFiles &) = delete;

    /// Absolute path of a file with this content; empty when it cannot be written.
    QString publish(const QByteArray &png);
    /// Removes the files and the folder; nothing is published afterwards.
    void remove();

private:
    bool prepareFolder();
    void removeOthers();

    QString m_folder;
    QString m_shown;
    QString m_before;
    bool m_prepared = false;
};

/// `$XDG_RUNTIME_DIR/lanterna`; empty where the session has no such folder.
QString sessionIconFolder();

} // namespace lanterna
