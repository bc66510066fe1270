#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <memory>

namespace lanterna
{

class SystemLog;

/// The person's settings: one flat key space in `settings.json`, typed reads with forgiving conversions, writes that are on disk when the call returns.
///
/// Values are text (QString), 64-bit integers (qlonglong, qulonglong), reals (double), booleans, dates (QDateTime, UTC), lists (QVariantList) and
/// dictionaries (QVariantMap, any text as key), copied in and out. In the file a date is `{"$date": seconds since 1970, UTC}`. Dictionaries of more than 4 KiB live
/// in a file of their own beside it. Any thread. Several processes may use one file at the same time: a write locks, rereads, changes its one key and renames
/// into place, so none is lost; mode 0600.
///
/// A damaged file is set aside under another name with one log line, and the store starts empty.
class SettingsStore
{
public:
    /// Called after a key's value changed: from `setValue` on the calling thread (`external` false), or from `noticeChanges` (`external` true).
    using ChangeObserver = std::function<void(const QString &key, bool external)>;

    /// Opens the store in this folder, which is made (0700) when it is missing. Nothing is written before the first change.
    SettingsStore(const QString &folder, SystemLog &log);
    ~SettingsStore();
    SettingsStore(const SettingsStore &) = delete;
    SettingsStore &operator=(const SettingsStore &) = delete;

    /// `$XDG_CONFIG_HOME/lanterna`, or `~/.config/lanterna`.
    static QString defaultFolder();

    /// The value as stored; invalid when absent (JSON null counts as absent).
    [[nodiscard]] QVariant value(const QString &key) const;
    [[nodiscard]] bool contains(const QString &key) const { return value(key).isValid(); }
    /// Text; a number gives its decimal text, a boolean "1" or "0". Null when absent or of another type.
    [[nodiscard]] QString text(const QString &key) const;
    /// 64-bit integer. Text: leading blanks, sign, digits, stop at the rest; no digits is 0; out of range clamps. Fractions truncate; booleans are 0 or 1.
    /// 0 when absent or of another type.
    [[nodiscard]] qlonglong integer(const QString &key) const;
    /// A number is true when it is not 0; text when after blanks, a sign and zeros it begins with Y, y, T, t or 1 to 9. False when absent or of another type.
    [[nodiscard]] bool boolean(const QString &key) const;
    /// Null when absent or no date.
    [[nodiscard]] QDateTime date(const QString &key) const;
    /// Empty when absent or of another type.
    [[nodiscard]] QVariantMap dictionary(const QString &key) const;
    [[nodiscard]] QVariantList list(const QString &key) const;

    /// Stores a value; an invalid one removes the key. An equal value writes nothing. False, with one log line, when it could not be written; the value
    /// then holds for this process only.
    bool setValue(const QString &key, const QVariant &value);
    bool remove(const QString &key) { return setValue(key, {}); }
    /// All keys, sorted.
    [[nodiscard]] QStringList keys() const;
    /// Whether every write so far is on disk.
    bool synchronize();

    /// Rereads what other processes wrote and reports each changed key to the observer. The owner calls it when the folder changes.
    void noticeChanges();
    /// At most one observer; set before other threads use the store.
    void setChangeObserver(ChangeObserver observer);
    /// The folder that holds the files.
    [[nodiscard]] QString folder() const;

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace lanterna
