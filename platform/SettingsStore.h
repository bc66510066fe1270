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

/// The person's settings: one flat key space in `settings.json`, typed reads with forgiving conversions, writes that are on disk when the call
/// returns.
///
/// Values are text (QString), 64-bit integers (qlonglong; qulonglong above its range), reals (double), booleans, dates (QDateTime, UTC,
/// milliseconds), lists (QVariantList) and dictionaries (QVariantMap, any text as key), copied in and out. Narrower numbers and QStringList are
/// accepted and widened. Dictionaries of more than 4 KiB live in a file of their own beside it. docs/formats/settings.md describes the files.
///
/// Any thread. Reads answer from memory and never wait for the disk. Several processes may use one file at the same time: a write locks, rereads,
/// changes its one key and renames into place (0600), so none is lost.
///
/// What survives: kill -9 and a crash of the program, every write that has returned. A power failure, all but the writes of the last seconds (the
/// commit interval of the file system, 5 to 30 s), and never a torn file: the content is sent to the disk before the name is moved to it, but not
/// waited for. Waiting takes a multiple of the write itself (0.3 ms against 0.1 ms on a fast SSD, tens of milliseconds on a disk that turns), would
/// hold up the main thread, and would wake a sleeping disk with every refresh. Who needs the wait calls `synchronize`.
///
/// A damaged file is set aside under another name with one log line, and the store starts empty, or goes on with what it knew. A file that is there
/// but cannot be read is neither set aside nor written over.
class SettingsStore
{
public:
    /// Called after a key's value changed, without any lock held: `external` false for a change made by this process, on the thread that made it;
    /// true for one that another process made, on the thread on which it was noticed. Once for each change.
    using ChangeObserver = std::function<void(const QString &key, bool external)>;

    /// Opens the store in this folder, which is made (0700) when it is missing. Nothing is written before the first change. The log outlives the
    /// store.
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
    /// 64-bit integer. Text: leading blanks, sign, digits, stop at the rest; no digits is 0; out of range clamps. Fractions truncate; booleans are 0
    /// or 1. 0 when absent or of another type.
    [[nodiscard]] qlonglong integer(const QString &key) const;
    /// A number is true when it is not 0; text when after blanks, a sign and zeros it begins with Y, y, T, t or 1 to 9. False when absent or of
    /// another type.
    [[nodiscard]] bool boolean(const QString &key) const;
    /// Null when absent or no date.
    [[nodiscard]] QDateTime date(const QString &key) const;
    /// Empty when absent or of another type.
    [[nodiscard]] QVariantMap dictionary(const QString &key) const;
    [[nodiscard]] QVariantList list(const QString &key) const;

    /// Stores a value; an invalid or null one (also null text) removes the key. An equal value of the same type writes nothing.
    ///
    /// False, with one log line for as long as the trouble lasts, when it could not be written; the value then holds for this process, and is written
    /// together with the next change if the file itself could be read. False, with a log line and without any change, for a value that no file can
    /// hold (a number that is not finite, an unknown type, more than 100 levels of nesting). Waits at most one second for other writers.
    bool setValue(const QString &key, const QVariant &value);
    bool remove(const QString &key) { return setValue(key, {}); }
    /// All keys, sorted.
    [[nodiscard]] QStringList keys() const;
    /// Waits until every write so far is on the disk proper, trying again those that failed. False when one is not.
    bool synchronize();

    /// Rereads what other processes wrote and reports each changed key to the observer. The owner calls it when the folder changes; it costs a small
    /// read when nothing did.
    void noticeChanges();
    /// At most one observer. One that is replaced may still be in a call on another thread.
    void setChangeObserver(ChangeObserver observer);
    /// The folder that holds the files.
    [[nodiscard]] QString folder() const;

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace lanterna
