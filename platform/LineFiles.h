#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <system_error>

namespace lanterna
{

/// A folder of text files to which lines are only ever added, by several processes at once. Knows nothing of what the lines hold.
///
/// A line is there as a whole or, after a full disk, not at all. Once `append` returns it survives kill -9, though not a power failure. A process that
/// is killed half-way leaves at most a torn last line, which the next append closes off.
///
/// Any thread; the object has no state but the folder's name. Names are plain file names inside the folder. An error code tells what the system said,
/// and is empty on success; nothing is logged here.
class LineFiles
{
public:
    explicit LineFiles(const QString &folder) : m_folder(folder) { }

    /// Adds the line, which holds no line feed, and a line feed to the file's end. Makes the folder (0700, with missing ones above it) and the file
    /// (0600) where there is none; anything but a regular file in its place is an error, and so is a link. Other processes hold the file's lock for
    /// some tens of microseconds; it is waited for for at most one second.
    [[nodiscard]] std::error_code append(const QString &name, const QByteArray &line) const;
    /// The names of all entries, in no order; none when the folder cannot be read.
    [[nodiscard]] QStringList list() const;
    /// Removes a file or a link; what cannot be removed stays.
    void remove(const QString &name) const;

private:
    [[nodiscard]] QByteArray path(const QString &name) const;

    QString m_folder;
};

} // namespace lanterna
