#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QVariant>

#include <optional>

namespace lanterna
{

/// The text of `settings.json`. Pure functions; any thread.

/// One setting as the files hold it.
struct SettingsEntry {
    QVariant value; ///< canonical (see SettingsValue.h); invalid while the file of its own has not been read
    QString sideFile; ///< name of the file of its own, empty for a value in `settings.json` itself

    /// Whether both stand for the same value. A file's name is never used again for another content, so equal names are equal values.
    [[nodiscard]] bool sameAs(const SettingsEntry &other) const;
};

using SettingsEntries = QMap<QString, SettingsEntry>;

/// Dictionaries whose compact JSON is larger (in bytes) live in a file each, so that writing a small setting does not rewrite them.
constexpr qsizetype largestInlineDictionary = 4096;

/// The settings in this text; entries with a file of their own have no value yet, keys with null are absent. Nothing when the text is no dictionary.
std::optional<SettingsEntries> parseSettings(const QByteArray &text);

/// The text for these settings: a dictionary with one line per key, sorted.
QByteArray formatSettings(const SettingsEntries &entries);

/// The text of a dictionary's own file, and back; nothing when the text is no dictionary.
QByteArray formatSideFile(const QVariant &dictionary);
std::optional<QVariant> parseSideFile(const QByteArray &text);

/// A name for the file of this key's dictionary, "settings.KEY.0123456789abcdef.json": what is no ASCII letter, digit or "-" in the key becomes "_",
/// and long keys are cut. `unique` (64 random bits) sets it apart from all others.
QString sideFileName(const QString &key, quint64 unique);

/// Whether this is a name as `sideFileName` makes them; no other is followed or removed.
bool isSideFileName(const QString &name);

} // namespace lanterna
