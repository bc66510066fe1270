#pragma once

#include <QString>
#include <QVariant>

#include <optional>

namespace lanterna
{

/// The values that a settings file can hold, and their JSON form. Pure functions; any thread.
///
/// In JSON a date is a dictionary whose one key is "$date" (seconds since 1970, UTC), and a reference to a file of its own one whose one key is
/// "$file". A person's dictionary that looks the same, or like its own escaped form, is written with one more dollar sign in front of that key.

/// Deepest nesting of a value: below what JSON text may nest, for the file around it and the dictionary around a date.
constexpr int maximumSettingDepth = 100;

/// The value in the one form in which the store keeps it: bool, qlonglong, qulonglong (only above the range of qlonglong), double, QString, QDateTime
/// (UTC, milliseconds), QVariantList and QVariantMap. Narrower numbers, QStringList and hashes are converted; null and invalid values become an
/// invalid QVariant, which inside a collection stands for JSON's null. Text is made well formed.
///
/// Nothing when the value cannot be stored: a number that is not finite, a date beyond the years +-285,000, nesting beyond `maximumSettingDepth`,
/// another type.
std::optional<QVariant> canonicalValue(const QVariant &value);

/// Whether two canonical values are the same, kinds included: 1, 1.0 and true are three values.
bool sameValue(const QVariant &a, const QVariant &b);

/// A canonical value as JSON (see Json.h), and back. Decoding what was encoded gives the same value.
QVariant encodeValue(const QVariant &value);
QVariant decodeValue(const QVariant &json);

/// The JSON form of a reference to another file, and the file's name in such a form; nothing when it is anything else.
QVariant encodeFileReference(const QString &fileName);
std::optional<QString> fileReference(const QVariant &json);

} // namespace lanterna
