#pragma once

#include <QString>
#include <QVariant>

#include <optional>
#include <span>

namespace lanterna
{

/// The kind of value that a setting is meant to have. The store itself takes any kind under any key.
enum class SettingType { text, integer, boolean, date, list, dictionary };

/// What is known of one setting.
struct SettingKey {
    const char *name;
    SettingType type;
    const char *meaning; ///< one line for people
    bool edited = false; ///< whether the preferences edit it and announce its change
};

/// All declared settings, sorted by name.
std::span<const SettingKey> settingKeys();
/// The declaration of this key; null for a key that is not declared.
const SettingKey *settingKey(const QString &name);

/// "text", "integer", "boolean", "date", "list" or "dictionary".
QString settingTypeName(SettingType type);

/// A value read from the command line, or why it is none.
struct ParsedSetting {
    QVariant value;
    QString error; ///< one line, empty when there is a value
};

/// Reads a value of this kind as a person types it: text as it is; decimal integers of 64 bits; yes, no, true, false, 1 or 0 in any case; dates in
/// ISO 8601 ("2026-03-01", "2026-03-01T12:30:00+01:00"; without an offset they are UTC); lists and dictionaries in JSON, dates inside them as
/// {"$date": seconds}.
ParsedSetting parseSetting(SettingType type, const QString &text);

/// A stored value as one prints it: text as it is, true or false, dates in ISO 8601 (UTC), lists and dictionaries in compact JSON. Except for text
/// that is no text of its kind, `parseSetting` reads it back. Empty for an invalid value.
QString renderSetting(const QVariant &value);

} // namespace lanterna
