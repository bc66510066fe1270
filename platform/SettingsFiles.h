#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <memory>
#include <system_error>

namespace lanterna
{

/// The files of one settings folder: reading, locking, atomic replacing, setting aside. Knows nothing of what they hold.
///
/// Any thread; the object has no state but the folder's name. Names are plain file names inside the folder. An error code tells what the system said,
/// and is empty on success; nothing is logged here.
class SettingsFiles
{
public:
    /// `lockName` is the file that is locked, which holds nothing and stays.
    explicit SettingsFiles(const QString &folder, const QString &lockName = QStringLiteral("settings.lock")) : m_folder(folder), m_lockName(lockName)
    {
    }

    /// What came of reading a file. Only `read` has bytes.
    enum class Status {
        read,
        absent,
        damaged, ///< no regular file, or beyond `largestFile`: nothing that this program has written
        unreadable ///< present, but the system refuses it (permissions, a failing disk); it may well be good
    };
    struct Content {
        Status status = Status::absent;
        QByteArray bytes;
        std::error_code error;
    };

    /// Bytes; a thousand times what the program stores. Beyond it a file is not worth the memory.
    static constexpr qsizetype largestFile = 256 << 20;

    /// Holds the folder's lock against other processes and other objects until it is dropped.
    class Lock
    {
    public:
        explicit Lock(int descriptor) : m_descriptor(descriptor) { }
        ~Lock();
        Lock(const Lock &) = delete;
        Lock &operator=(const Lock &) = delete;

    private:
        int m_descriptor;
    };

    /// Makes the folder (0700), with missing ones above it.
    [[nodiscard]] std::error_code makeFolder() const;
    /// Waits for the lock, at most one second, for no writer needs a hundredth of that; null with the error when it cannot be had.
    std::unique_ptr<Lock> lock(std::error_code &error) const;

    [[nodiscard]] Content read(const QString &name) const;
    /// Makes a new file (0600) and fails when the name is taken. Once it returns the content survives kill -9. The lock must be held.
    [[nodiscard]] std::error_code create(const QString &name, const QByteArray &bytes) const;
    /// Replaces a file (0600) in one step: readers see the old or the new content, whatever happens. The lock must be held.
    [[nodiscard]] std::error_code replace(const QString &name, const QByteArray &bytes) const;
    /// Renames a file to "NAME.damaged-N", N being the first free number; empty when that fails. The lock must be held.
    [[nodiscard]] QString setAside(const QString &name) const;
    /// The names of all files.
    [[nodiscard]] QStringList list() const;
    void remove(const QString &name) const;

    /// Waits until these files and the folder itself are on the disk proper. Files that do not exist are skipped.
    [[nodiscard]] std::error_code flush(const QStringList &names) const;

private:
    [[nodiscard]] QByteArray path(const QString &name) const;
    [[nodiscard]] std::error_code writeNewFile(const QByteArray &path, const QByteArray &bytes) const;

    QString m_folder;
    QString m_lockName;
};

} // namespace lanterna
