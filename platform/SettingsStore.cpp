#include "platform/SettingsStore.h"

#include "platform/Json.h"
#include "platform/SettingsConversions.h"
#include "platform/SettingsDisk.h"
#include "platform/SettingsValue.h"
#include "platform/SystemLog.h"

#include <QStandardPaths>

#include <mutex>

namespace lanterna
{

namespace
{

/// What to tell the observer, once no lock is held any more.
struct Change {
    QString key;
    bool external;
};

} // namespace

class SettingsStore::Impl
{
public:
    Impl(const QString &folder, SystemLog &log) : m_folder(folder), m_log(log), m_disk(folder, log)
    {
        m_disk.reload();
        for (auto entry = m_disk.entries().cbegin(); entry != m_disk.entries().cend(); ++entry)
            m_values.insert(entry.key(), entry->value);
    }

    [[nodiscard]] QString folder() const { return m_folder; }

    [[nodiscard]] QVariant value(const QString &key) const
    {
        const std::lock_guard lock(m_mutex);
        return m_values.value(wellFormedText(key));
    }

    [[nodiscard]] QStringList keys() const
    {
        const std::lock_guard lock(m_mutex);
        return m_values.keys();
    }

    void setObserver(ChangeObserver observer)
    {
        const std::lock_guard lock(m_mutex);
        m_observer = std::move(observer);
    }

    bool setValue(const QString &anyKey, const QVariant &anyValue)
    {
        const QString key = wellFormedText(anyKey);
        const std::optional<QVariant> value = canonicalValue(anyValue);
        if (!value) {
            m_log.write(QStringLiteral("Settings: the value for \"%1\" cannot be stored (%2)").arg(key, QLatin1String(anyValue.typeName())));
            return false;
        }
        std::vector<Change> changes;
        bool stored = false;
        {
            const std::lock_guard lock(m_diskMutex);
            stored = isStored(key, *value, changes) || store(key, *value, changes);
        }
        tell(changes);
        return stored;
    }

    void noticeChanges()
    {
        std::vector<Change> changes;
        {
            const std::lock_guard lock(m_diskMutex);
            publish(m_disk.reload(), true, changes);
        }
        tell(changes);
    }

    bool synchronize()
    {
        std::vector<Change> changes;
        bool done = false;
        {
            const std::lock_guard lock(m_diskMutex);
            if (!m_unsaved.isEmpty())
                storePending(changes);
            done = m_unsaved.isEmpty() && m_disk.flush();
        }
        tell(changes);
        return done;
    }

private:
    /// A change that is not on disk.
    struct Unsaved {
        QVariant value;
        bool retry; // whether later writes try again; not so for changes made blindly, while the file could not be read
    };

    /// Whether the disk holds this value already, whatever others have written since it was last read.
    bool isStored(const QString &key, const QVariant &value, std::vector<Change> &changes)
    {
        const auto onDisk = [&] {
            const auto entry = m_disk.entries().constFind(key);
            const bool present = entry != m_disk.entries().cend();
            return present == value.isValid() && (!present || sameValue(entry->value, value));
        };
        if (m_unsaved.contains(key) || !onDisk())
            return false;
        publish(m_disk.reload(), true, changes);
        return onDisk();
    }

    bool store(const QString &key, const QVariant &value, std::vector<Change> &changes)
    {
        m_unsaved.insert(key, {value, true});
        const SettingsDisk::Outcome outcome = storePending(changes);
        if (const auto own = m_unsaved.find(key); own != m_unsaved.end())
            own->retry = outcome.worthRetrying;
        publish({key}, false, changes);
        return outcome.stored;
    }

    /// Writes what is unsaved and may be written, together: all of it or nothing.
    SettingsDisk::Outcome storePending(std::vector<Change> &changes)
    {
        QVariantMap pending;
        for (auto entry = m_unsaved.cbegin(); entry != m_unsaved.cend(); ++entry) {
            if (entry->retry)
                pending.insert(entry.key(), entry->value);
        }
        SettingsDisk::Outcome outcome = m_disk.commit(pending);
        // What others wrote to the keys that are written here was never seen: this change came after it.
        outcome.changedElsewhere.removeIf([&](const QString &key) { return pending.contains(key); });
        publish(outcome.changedElsewhere, true, changes);
        if (outcome.stored)
            m_unsaved.removeIf([&](QMap<QString, Unsaved>::iterator entry) { return pending.contains(entry.key()); });
        return outcome;
    }

    /// Brings the in-memory copy up to date for these keys and notes which of them are different now.
    void publish(const QStringList &keys, bool external, std::vector<Change> &changes)
    {
        for (const QString &key : keys) {
            const auto unsaved = m_unsaved.constFind(key);
            const QVariant now = unsaved == m_unsaved.cend() ? m_disk.entries().value(key).value : unsaved->value;
            const std::lock_guard lock(m_mutex);
            if (sameValue(m_values.value(key), now))
                continue;
            if (now.isValid())
                m_values.insert(key, now);
            else
                m_values.remove(key);
            changes.push_back({key, external});
        }
    }

    void tell(const std::vector<Change> &changes) const
    {
        ChangeObserver observer;
        {
            const std::lock_guard lock(m_mutex);
            observer = m_observer;
        }
        for (const Change &change : changes) {
            if (observer)
                observer(change.key, change.external);
        }
    }

    const QString m_folder;
    SystemLog &m_log;

    // Two locks, so that readers never wait for the disk. The disk's is taken first.
    std::mutex m_diskMutex;
    SettingsDisk m_disk; // guarded by m_diskMutex
    QMap<QString, Unsaved> m_unsaved; // likewise
    mutable std::mutex m_mutex;
    QVariantMap m_values; // guarded by m_mutex: what readers see
    ChangeObserver m_observer; // likewise
};

SettingsStore::SettingsStore(const QString &folder, SystemLog &log) : m_impl(std::make_unique<Impl>(folder, log)) { }
SettingsStore::~SettingsStore() = default;

QString SettingsStore::defaultFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/lanterna");
}

QVariant SettingsStore::value(const QString &key) const
{
    return m_impl->value(key);
}
QString SettingsStore::text(const QString &key) const
{
    return settingAsText(value(key));
}
qlonglong SettingsStore::integer(const QString &key) const
{
    return settingAsInteger(value(key));
}
bool SettingsStore::boolean(const QString &key) const
{
    return settingAsBoolean(value(key));
}
QDateTime SettingsStore::date(const QString &key) const
{
    return settingAsDate(value(key));
}

QVariantMap SettingsStore::dictionary(const QString &key) const
{
    const QVariant stored = value(key);
    return stored.typeId() == QMetaType::QVariantMap ? stored.toMap() : QVariantMap();
}

QVariantList SettingsStore::list(const QString &key) const
{
    const QVariant stored = value(key);
    return stored.typeId() == QMetaType::QVariantList ? stored.toList() : QVariantList();
}

bool SettingsStore::setValue(const QString &key, const QVariant &value)
{
    return m_impl->setValue(key, value);
}
QStringList SettingsStore::keys() const
{
    return m_impl->keys();
}
bool SettingsStore::synchronize()
{
    return m_impl->synchronize();
}
void SettingsStore::noticeChanges()
{
    m_impl->noticeChanges();
}
void SettingsStore::setChangeObserver(ChangeObserver observer)
{
    m_impl->setObserver(std::move(observer));
}
QString SettingsStore::folder() const
{
    return m_impl->folder();
}

} // namespace lanterna
