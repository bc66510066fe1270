#pragma once

#include "platform/SettingsFiles.h"
#include "platform/SettingsFormat.h"

#include <QByteArray>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

namespace lanterna
{

class SystemLog;

/// The settings as they stand on disk: follows what other processes write, and writes changes so that a kill between any two steps loses nothing.
///
/// A large dictionary is written to a new file first, then `settings.json` is replaced by one that refers to it, then the old file goes: whenever the
/// program ends, `settings.json` refers to complete files only. Files that nothing refers to any more are removed by the next program that writes.
///
/// Each problem is logged once, and again only after things were in order in between. One thread at a time.
class SettingsDisk
{
public:
    /// Makes the folder if needed; reads nothing yet.
    SettingsDisk(const QString &folder, SystemLog &log);

    /// The settings as last read or written.
    [[nodiscard]] const SettingsEntries &entries() const { return m_entries; }

    /// Rereads the files and returns the keys that are different now. A damaged file is set aside; settings that were known before stay, and are
    /// written anew. While a file cannot be read the settings known before stay.
    QStringList reload();

    /// What came of a change.
    struct Outcome {
        bool stored = false;
        bool worthRetrying = false; ///< not stored for want of space, lock or the right to write; false when the file could not be read
        QStringList changedElsewhere; ///< keys that turned out to have been changed by others
    };
    /// Writes these canonical values under the lock; an invalid one removes its key. All or none. Writes nothing when all are there already.
    Outcome commit(const QVariantMap &changes);

    /// Waits until everything written is on the disk proper; false when the system cannot tell.
    bool flush();

private:
    /// Whether what is found wrong may be repaired now.
    enum class Access { reading, locked, lockRefused };

    bool refresh(Access access);
    bool takeOverDamagedFile(Access access);
    QStringList readSideFiles(SettingsEntries &entries);
    void giveUpSideFile(const QString &key, const QString &name, Access access);
    void adopt(SettingsEntries entries, std::optional<QByteArray> bytes, bool inOrder);
    std::error_code prepare(const QVariantMap &changes, SettingsEntries &next, QStringList &newSideFiles);
    std::error_code write(const SettingsEntries &next, const QStringList &newSideFiles);
    void removeFiles(const QStringList &names);
    [[nodiscard]] bool isUnreadable(const QString &key) const;
    void removeStrayFiles();
    std::unique_ptr<SettingsFiles::Lock> takeLock(std::error_code &error);
    void reportOnce(const QString &problem);

    SettingsFiles m_files;
    SystemLog &m_log;
    SettingsEntries m_entries;
    std::optional<QByteArray> m_bytes; // content of settings.json for which m_entries stand; none when it does not exist
    bool m_settled = false; // m_entries stand for m_bytes completely: equal bytes need no second look
    bool m_replaceable = true; // false while settings.json holds what could be neither read nor set aside
    bool m_straysRemoved = false;
    QSet<QString> m_reported;
};

} // namespace lanterna
