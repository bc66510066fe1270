#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <optional>

namespace lanterna
{

/// JSON text to values and back, without the losses of Qt's own: integers keep all 64 bits and stay integers, reals stay reals (1.0 is not 1), the
/// last of two equal keys counts, and a number beyond the range of a double becomes the largest double.
///
/// The values are those of JSON: an invalid QVariant (null), bool, qlonglong, qulonglong (only above the range of qlonglong), double, QString,
/// QVariantList and QVariantMap. Pure functions; any thread.

/// Deepest nesting of lists and dictionaries that is read or written. Taking apart a value recurses, so depth has to end before the stack does.
constexpr int maximumJsonDepth = 128;

/// Reads one JSON text. Bytes that are no UTF-8 and surrogates without a partner become U+FFFD. Nothing when the text is no JSON, has anything but
/// blanks after it, or nests too deeply.
std::optional<QVariant> parseJson(const QByteArray &text);

/// Writes a value compactly, as UTF-8. Reals always show a fraction or an exponent. What JSON does not know (a value of another type, a number that
/// is not finite) is written as null.
QByteArray compactJson(const QVariant &value);

/// Adds a text to JSON in the making, as `compactJson` writes it: in quotes, escaped, as UTF-8.
void appendJsonText(QByteArray &json, QStringView text);

/// The text with each surrogate that has no partner replaced by U+FFFD, so that it survives UTF-8.
QString wellFormedText(const QString &text);

} // namespace lanterna
