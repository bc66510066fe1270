#include "platform/Json.h"

#include "platform/JsonMending.h"

#include <nlohmann/json.hpp>

#include <array>
#include <charconv>
#include <cmath>

namespace lanterna
{

namespace
{

/// Builds values from the parser's events; the parser itself does not recurse.
class ValueBuilder : public nlohmann::json_sax<nlohmann::json>
{
public:
    QVariant result() const { return m_result; }

    bool null() override { return add(QVariant()); }
    bool boolean(bool value) override { return add(value); }
    bool number_integer(number_integer_t value) override { return add(qlonglong{value}); }
    bool number_unsigned(number_unsigned_t value) override
    {
        const bool fitsSigned = value <= quint64(std::numeric_limits<qlonglong>::max());
        return add(fitsSigned ? QVariant(qlonglong(value)) : QVariant(qulonglong{value}));
    }
    bool number_float(number_float_t value, const string_t &) override { return add(value); }
    bool string(string_t &value) override { return add(textOf(value)); }
    bool binary(binary_t &) override { return false; }

    bool start_object(std::size_t) override { return open(true); }
    bool key(string_t &value) override
    {
        m_open.back().key = textOf(value);
        return true;
    }
    bool end_object() override { return close(); }
    bool start_array(std::size_t) override { return open(false); }
    bool end_array() override { return close(); }

    bool parse_error(std::size_t, const std::string &, const nlohmann::detail::exception &) override { return false; }

private:
    struct Collection {
        bool isDictionary;
        QVariantMap dictionary;
        QVariantList list;
        QString key;
    };

    static QString textOf(const std::string &utf8)
    {
        // An empty text must not come out as a null one, which means "absent" to readers.
        return utf8.empty() ? QStringLiteral("") : QString::fromUtf8(utf8.data(), qsizetype(utf8.size()));
    }

    bool open(bool isDictionary)
    {
        if (m_open.size() >= maximumJsonDepth)
            return false;
        m_open.push_back({isDictionary, {}, {}, {}});
        return true;
    }

    bool close()
    {
        const Collection done = std::move(m_open.back());
        m_open.pop_back();
        return add(done.isDictionary ? QVariant(done.dictionary) : QVariant(done.list));
    }

    bool add(const QVariant &value)
    {
        if (m_open.empty())
            m_result = value;
        else if (m_open.back().isDictionary)
            m_open.back().dictionary.insert(m_open.back().key, value);
        else
            m_open.back().list.append(value);
        return true;
    }

    std::vector<Collection> m_open;
    QVariant m_result;
};

std::optional<QVariant> parseStrictly(const QByteArray &text)
{
    ValueBuilder builder;
    if (!nlohmann::json::sax_parse(text.cbegin(), text.cend(), &builder))
        return std::nullopt;
    return builder.result();
}

void appendEscaped(QByteArray &json, char byte)
{
    static constexpr char hexDigits[] = "0123456789abcdef";
    if (byte == '"' || byte == '\\')
        (json += '\\') += byte;
    else if (byte == '\n')
        json += "\\n";
    else if (byte == '\t')
        json += "\\t";
    else
        ((json += "\\u00") += hexDigits[uchar(byte) >> 4]) += hexDigits[uchar(byte) & 15];
}

/// Adds a text, in quotes, if it needs neither escapes nor more than one byte a character, as is so for nearly all; otherwise adds nothing.
bool appendPlainText(QByteArray &json, QStringView text)
{
    const qsizetype before = json.size();
    json.resize(before + text.size() + 2);
    char *to = json.data() + before;
    *to++ = '"';
    for (const QChar character : text) {
        const char16_t unit = character.unicode();
        if (unit < 0x20 || unit >= 0x7f || unit == u'"' || unit == u'\\') {
            json.truncate(before);
            return false;
        }
        *to++ = static_cast<char>(unit);
    }
    *to = '"';
    return true;
}

void appendReal(QByteArray &json, double value)
{
    if (!std::isfinite(value)) {
        json += "null";
        return;
    }
    std::array<char, 32> buffer; // the shortest form that reads back equal has at most 24 characters
    const auto written = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    const QByteArrayView digits(buffer.data(), written.ptr - buffer.data());
    json += digits;
    if (!digits.contains('.') && !digits.contains('e'))
        json += ".0";
}

void appendValue(QByteArray &json, const QVariant &value);

void appendDictionary(QByteArray &json, const QVariantMap &dictionary)
{
    json += '{';
    bool first = true;
    for (auto entry = dictionary.cbegin(); entry != dictionary.cend(); ++entry) {
        if (!std::exchange(first, false))
            json += ',';
        appendJsonText(json, entry.key());
        json += ':';
        appendValue(json, entry.value());
    }
    json += '}';
}

void appendList(QByteArray &json, const QVariantList &list)
{
    json += '[';
    bool first = true;
    for (const QVariant &element : list) {
        if (!std::exchange(first, false))
            json += ',';
        appendValue(json, element);
    }
    json += ']';
}

void appendValue(QByteArray &json, const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
        json += value.toBool() ? "true" : "false";
        break;
    case QMetaType::LongLong:
        json += QByteArray::number(value.toLongLong());
        break;
    case QMetaType::ULongLong:
        json += QByteArray::number(value.toULongLong());
        break;
    case QMetaType::Double:
        appendReal(json, value.toDouble());
        break;
    case QMetaType::QString:
        appendJsonText(json, value.toString());
        break;
    case QMetaType::QVariantList:
        appendList(json, value.toList());
        break;
    case QMetaType::QVariantMap:
        appendDictionary(json, value.toMap());
        break;
    default:
        json += "null";
    }
}

} // namespace

std::optional<QVariant> parseJson(const QByteArray &text)
{
    if (std::optional<QVariant> value = parseStrictly(text))
        return value;
    const QByteArray mended = mendedJson(text);
    return mended == text ? std::nullopt : parseStrictly(mended);
}

QByteArray compactJson(const QVariant &value)
{
    QByteArray json;
    appendValue(json, value);
    return json;
}

void appendJsonText(QByteArray &json, QStringView text)
{
    if (appendPlainText(json, text))
        return;
    const QByteArray utf8 = text.isValidUtf16() ? text.toUtf8() : wellFormedText(text.toString()).toUtf8();
    json += '"';
    qsizetype done = 0;
    for (qsizetype at = 0; at < utf8.size(); ++at) {
        const char byte = utf8[at];
        // The controls behind ASCII's own (U+0080 to U+009F, two bytes) command terminals, too.
        const bool late = byte == '\xc2' && uchar(utf8.at(at + 1)) < 0xa0;
        if (!late && uchar(byte) >= 0x20 && byte != '"' && byte != '\\' && byte != '\x7f')
            continue;
        json += QByteArrayView(utf8).sliced(done, at - done);
        at += late ? 1 : 0;
        appendEscaped(json, utf8[at]);
        done = at + 1;
    }
    json += QByteArrayView(utf8).sliced(done);
    json += '"';
}

QString wellFormedText(const QString &text)
{
    if (text.isValidUtf16())
        return text;
    QString mended = text;
    for (qsizetype at = 0; at < mended.size(); ++at) {
        const QChar unit = mended[at];
        if (unit.isHighSurrogate() && at + 1 < mended.size() && mended[at + 1].isLowSurrogate())
            ++at;
        else if (unit.isSurrogate())
            mended[at] = QChar::ReplacementCharacter;
    }
    return mended;
}

} // namespace lanterna
