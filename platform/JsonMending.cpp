#include "platform/JsonMending.h"

#include <QByteArrayView>
#include <QLocale>
#include <QString>

#include <charconv>
#include <cmath>
#include <optional>

namespace lanterna
{

namespace
{

constexpr QByteArrayView largestDouble = "1.7976931348623157e+308";
constexpr qsizetype escapeLength = 6; // \uXXXX

/// The code unit of the escape "\uXXXX" that begins at `at`; nothing when there is none.
std::optional<uint> escapedUnit(QByteArrayView text, qsizetype at)
{
    if (at + escapeLength > text.size() || text[at] != '\\' || text[at + 1] != 'u')
        return std::nullopt;
    uint unit = 0;
    const char *end = text.data() + at + escapeLength;
    const auto result = std::from_chars(text.data() + at + 2, end, unit, 16);
    return result.ptr == end ? std::optional(unit) : std::nullopt;
}

bool isHighSurrogate(std::optional<uint> unit)
{
    return unit && *unit >= 0xd800 && *unit <= 0xdbff;
}
bool isLowSurrogate(std::optional<uint> unit)
{
    return unit && *unit >= 0xdc00 && *unit <= 0xdfff;
}

/// Copies the escape that begins at `at` and returns where the text goes on.
qsizetype copyEscape(QByteArrayView text, qsizetype at, QByteArray &mended)
{
    const std::optional<uint> unit = escapedUnit(text, at);
    qsizetype length = unit ? escapeLength : 2;
    const bool pair = isHighSurrogate(unit) && isLowSurrogate(escapedUnit(text, at + escapeLength));
    if (pair)
        length = 2 * escapeLength;
    if (!pair && (isHighSurrogate(unit) || isLowSurrogate(unit)))
        mended += "\\ufffd";
    else
        mended += text.sliced(at, qMin(length, text.size() - at));
    return at + length;
}

/// Copies the number that begins at `at` and returns where the text goes on.
qsizetype copyNumber(QByteArrayView text, qsizetype at, QByteArray &mended)
{
    qsizetype end = at + 1;
    while (end < text.size() && QByteArrayView("0123456789+-.eE").contains(text[end]))
        ++end;
    const QByteArrayView digits = text.sliced(at, end - at);
    if (std::isinf(QLocale::c().toDouble(QLatin1String(digits)))) { // zero for a number too small, and for what is no number
        if (digits.startsWith('-'))
            mended += '-';
        mended += largestDouble;
    } else {
        mended += digits;
    }
    return end;
}

QByteArray mendedTokens(QByteArrayView text)
{
    QByteArray mended;
    mended.reserve(text.size());
    bool inText = false;
    for (qsizetype at = 0; at < text.size();) {
        const char byte = text[at];
        if (inText && byte == '\\') {
            at = copyEscape(text, at, mended);
        } else if (!inText && (byte == '-' || (byte >= '0' && byte <= '9'))) {
            at = copyNumber(text, at, mended);
        } else {
            if (byte == '"')
                inText = !inText;
            mended += byte;
            ++at;
        }
    }
    return mended;
}

} // namespace

QByteArray mendedJson(const QByteArray &text)
{
    return mendedTokens(QString::fromUtf8(text).toUtf8());
}

} // namespace lanterna
