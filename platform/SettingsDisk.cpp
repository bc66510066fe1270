#include "platform/SettingsDisk.h"

#include "platform/SettingsValue.h"
#include "platform/SystemLog.h"

#include <QRandomGenerator>

namespace lanterna
{

using Status = SettingsFiles::Status;

namespace
{

const QString mainFile = QStringLiteral("settings.json");

QString reason(const std::error_code &error)
{
    return QString::fromStdString(error.message());
}

QStringList sideFilesOf(const SettingsEntries &entries)
{
    QStringList names;
    for (const SettingsEntry &entry : entries) {
        if (!entry.sideFile.isEmpty())
            names.append(entry.sideFile);
    }
    return names;
}

QStringList changedKeys(const SettingsEntries &before, const SettingsEntries &after)
{
    QStringList keys;
    for (auto entry = before.cbegin(); entry != before.cend(); ++entry) {
        if (!after.contains(entry.key()))
            keys.append(entry.key());
    }
    for (auto entry = after.cbegin(); entry != after.cend(); ++entry) {
        const auto old = before.constFind(entry.key());
        if (old == before.cend() || !old->sameAs(entry.value()))
            keys.append(entry.key());
    }
    return keys;
}

} // namespace

SettingsDisk::SettingsDisk(const QString &folder, SystemLog &log) : m_files(folder), m_log(log)
{
    (void)m_files.makeFolder(); // a folder that cannot be made is reported by the first write
}

QStringList SettingsDisk::reload()
{
    const SettingsEntries before = m_entries;
    if (!refresh(Access::reading)) {
        std::error_code error;
        const auto lock = takeLock(error);
        refresh(lock ? Access::locked : Access::lockRefused);
    }
    return changedKeys(before, m_entries);
}

SettingsDisk::Outcome SettingsDisk::commit(const QVariantMap &changes)
{
    Outcome outcome;
    const SettingsEntries before = m_entries;
    std::error_code error;
    const auto lock = takeLock(error);
    refresh(lock ? Access::locked : Access::lockRefused);
    outcome.changedElsewhere = changedKeys(before, m_entries);
    if (!m_replaceable)
        return outcome;
    for (auto change = changes.cbegin(); change != changes.cend(); ++change) {
        if (isUnreadable(change.key()))
            return outcome;
    }

    SettingsEntries next = m_entries;
    QStringList newSideFiles;
    if (lock)
        error = prepare(changes, next, newSideFiles);
    if (!error && !changedKeys(m_entries, next).isEmpty())
        error = write(next, newSideFiles);
    outcome.stored = !error;
    outcome.worthRetrying = bool(error);
    if (error)
        reportOnce(QStringLiteral("Settings: %1 cannot be written (%2); changes hold for this run only").arg(mainFile, reason(error)));
    return outcome;
}

bool SettingsDisk::flush()
{
    return !m_files.flush(sideFilesOf(m_entries) << mainFile);
}

/// Reads what is on disk into `m_entries`. False when something is to be repaired and the lock is needed first; nothing has changed then.
bool SettingsDisk::refresh(Access access)
{
    const SettingsFiles::Content content = m_files.read(mainFile);
    if (content.status == Status::unreadable) {
        m_settled = false;
        m_replaceable = false;
        reportOnce(QStringLiteral("Settings: %1 cannot be read (%2); changes hold for this run only").arg(mainFile, reason(content.error)));
        return true;
    }
    if (content.status == Status::absent) {
        adopt({}, std::nullopt, true);
        return true;
    }
    if (m_settled && content.status == Status::read && content.bytes == m_bytes)
        return true;
    std::optional<SettingsEntries> entries;
    if (content.status == Status::read)
        entries = parseSettings(content.bytes);
    if (!entries)
        return takeOverDamagedFile(access);

    const QStringList broken = readSideFiles(*entries);
    if (!broken.isEmpty() && access == Access::reading)
        return false;
    for (const QString &key : broken)
        giveUpSideFile(key, entries->take(key).sideFile, access);
    if (broken.isEmpty() || access == Access::lockRefused)
        adopt(*std::move(entries), content.bytes, broken.isEmpty());
    else if (const QByteArray text = formatSettings(*entries); m_files.replace(mainFile, text))
        adopt(*std::move(entries), content.bytes, false);
    else
        adopt(*std::move(entries), text, true);
    return true;
}

bool SettingsDisk::takeOverDamagedFile(Access access)
{
    if (access == Access::reading)
        return false;
    const QString other = access == Access::locked ? m_files.setAside(mainFile) : QString();
    if (other.isEmpty()) {
        m_settled = false;
        m_replaceable = false;
        reportOnce(QStringLiteral("Settings: %1 is damaged and cannot be set aside; changes hold for this run only").arg(mainFile));
        return true;
    }
    m_log.write(QStringLiteral("Settings: %1 is damaged and was set aside as %2").arg(mainFile, other));
    const SettingsEntries known = m_entries;
    adopt({}, std::nullopt, true);
    // A program that runs has better than the defaults: what it read before, for instance before a person's editor left a comma out.
    if (const std::error_code error = known.isEmpty() ? std::error_code() : write(known, {}))
        reportOnce(QStringLiteral("Settings: %1 cannot be written (%2)").arg(mainFile, reason(error)));
    return true;
}

/// Gives the entries with a file of their own their values. Returns the keys whose file is missing or damaged; one that cannot be read keeps no
/// value.
QStringList SettingsDisk::readSideFiles(SettingsEntries &entries)
{
    QStringList broken;
    for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
        if (entry->sideFile.isEmpty())
            continue;
        const SettingsEntry known = m_entries.value(entry.key());
        if (known.sideFile == entry->sideFile && known.value.isValid()) {
            entry->value = known.value;
            continue;
        }
        const SettingsFiles::Content content = m_files.read(entry->sideFile);
        if (content.status == Status::unreadable) {
            reportOnce(QStringLiteral("Settings: %1 cannot be read (%2); \"%3\" is absent").arg(entry->sideFile, reason(content.error), entry.key()));
            continue;
        }
        const std::optional<QVariant> value = content.status == Status::read ? parseSideFile(content.bytes) : std::nullopt;
        if (value)
            entry->value = *value;
        else
            broken.append(entry.key());
    }
    return broken;
}

void SettingsDisk::giveUpSideFile(const QString &key, const QString &name, Access access)
{
    const bool missing = m_files.read(name).status == Status::absent;
    const QString other = !missing && access == Access::locked ? m_files.setAside(name) : QString();
    const QString event = missing ? QStringLiteral("missing")
        : other.isEmpty()         ? QStringLiteral("damaged")
                                  : QStringLiteral("damaged and was set aside as %1").arg(other);
    reportOnce(QStringLiteral("Settings: %1, the value of \"%2\", is %3").arg(name, key, event));
}

void SettingsDisk::adopt(SettingsEntries entries, std::optional<QByteArray> bytes, bool inOrder)
{
    const bool complete = std::all_of(entries.cbegin(), entries.cend(), [](const SettingsEntry &entry) { return entry.value.isValid(); });
    if (inOrder && complete && !m_settled)
        m_reported.clear();
    m_entries = std::move(entries);
    m_bytes = std::move(bytes);
    m_settled = inOrder && complete;
    m_replaceable = true;
}

bool SettingsDisk::isUnreadable(const QString &key) const
{
    const auto entry = m_entries.constFind(key);
    return entry != m_entries.cend() && !entry->value.isValid();
}

/// Applies the changes to `next`, which begins as a copy of the entries, and writes the files of large dictionaries.
std::error_code SettingsDisk::prepare(const QVariantMap &changes, SettingsEntries &next, QStringList &newSideFiles)
{
    for (auto change = changes.cbegin(); change != changes.cend(); ++change) {
        const QVariant &value = change.value();
        if (sameValue(next.value(change.key()).value, value))
            continue;
        if (!value.isValid()) {
            next.remove(change.key());
            continue;
        }
        SettingsEntry &entry = next[change.key()];
        entry = {value, {}};
        if (value.typeId() != QMetaType::QVariantMap)
            continue;
        const QByteArray text = formatSideFile(value);
        if (text.size() - 1 <= largestInlineDictionary) // its line end does not count
            continue;
        // From the system, because a generator of this process's own goes on with the same numbers in forked ones.
        entry.sideFile = sideFileName(change.key(), QRandomGenerator::system()->generate64());
        if (const std::error_code error = m_files.create(entry.sideFile, text)) {
            removeFiles(newSideFiles);
            return error;
        }
        newSideFiles.append(entry.sideFile);
    }
    return {};
}

/// Makes `next` the settings on disk, in the one step of replacing `settings.json`.
std::error_code SettingsDisk::write(const SettingsEntries &next, const QStringList &newSideFiles)
{
    const QByteArray text = formatSettings(next);
    if (const std::error_code error = m_files.replace(mainFile, text)) {
        removeFiles(newSideFiles);
        return error;
    }
    QStringList obsolete = sideFilesOf(m_entries);
    obsolete.removeIf([used = sideFilesOf(next)](const QString &name) { return used.contains(name); });
    adopt(next, text, true);
    m_reported.clear();
    removeFiles(obsolete);
    if (!std::exchange(m_straysRemoved, true))
        removeStrayFiles();
    return {};
}

void SettingsDisk::removeFiles(const QStringList &names)
{
    for (const QString &name : names)
        m_files.remove(name);
}

/// Removes the files of dictionaries that programs killed half-way have left. What a damaged `settings.json` refers to stays for whoever repairs it.
void SettingsDisk::removeStrayFiles()
{
    const QStringList names = m_files.list();
    QByteArray setAside;
    for (const QString &name : names) {
        if (name.startsWith(mainFile + QStringLiteral(".damaged-")))
            setAside += m_files.read(name).bytes;
    }
    const QStringList used = sideFilesOf(m_entries);
    for (const QString &name : names) {
        if (isSideFileName(name) && !used.contains(name) && !setAside.contains(name.toLatin1()))
            m_files.remove(name);
    }
}

std::unique_ptr<SettingsFiles::Lock> SettingsDisk::takeLock(std::error_code &error)
{
    auto lock = m_files.lock(error);
    if (!lock && error == std::errc::no_such_file_or_directory && !(error = m_files.makeFolder()))
        lock = m_files.lock(error);
    return lock;
}

void SettingsDisk::reportOnce(const QString &problem)
{
    if (m_reported.contains(problem))
        return;
    m_reported.insert(problem);
    m_log.write(problem);
}

} // namespace lanterna
