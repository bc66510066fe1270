#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

namespace lanterna
{

/// `$TMPDIR/lanterna-UID`, the place of files that are to be uploaded; below /tmp when the variable is unset or no absolute path.
QString temporaryAssetFolder();

/// The files that assets are handed over in. They stay after they were used; `dropOld` takes those away that nobody can need any more.
///
/// The folder (0700) is made with the first file. One that is a link, or somebody else's, is not used: where everybody may write, a stranger may have
/// put it there. Any thread; calls touch the disk. The object has no state but the folder's name.
class TemporaryAssets
{
public:
    explicit TemporaryAssets(const QString &folder = temporaryAssetFolder()) : m_folder(folder) { }

    struct Written {
        QString path; ///< of the file; empty when there is none
        QString error; ///< why there is none, in words; else empty
    };
    /// Writes a new file (0600) with a name that no other has, without an extension. It is there whole or not at all.
    [[nodiscard]] Written write(const QByteArray &bytes) const;

    /// Removes the files that were written more than three days before `now`, and what kills have left of others. Nothing but regular files of this
    /// user with names as `write` gives them is touched. Looks at 100,000 entries at most. How many were removed.
    int dropOld(const QDateTime &now) const;

private:
    QString m_folder;
};

} // namespace lanterna
