#include "cloud/JsonOutline.h"

#include <QByteArray>
#include <QStringView>

#include <utility>

namespace lanterna
{

namespace
{

bool isDigit(char byte)
{
    return byte >= '0' && byte <= '9';
}

bool isHexDigit(char byte)
{
    return isDigit(byte) || (byte >= 'a' && byte <= 'f') || (byte >= 'A' && byte <= 'F');
}

JsonOutline::Kind kindOf(char first)
{
    switch (first) {
    case '{':
        return JsonOutline::Kind::dictionary;
    case '[':
        return JsonOutline::Kind::array;
    case '"':
        return JsonOutline::Kind::text;
    case 't':
    case 'f':
        return JsonOutline::Kind::boolean;
    case 'n':
        return JsonOutline::Kind::null;
    default:
        return JsonOutline::Kind::number;
    }
}

class Scanner
{
public:
    Scanner(QByteArrayView text, int keptDepth) : m_text(text), m_keptDepth(keptDepth) { }

    std::variant<JsonOutline, JsonDefect> outline()
    {
        skipBlanks();
        m_outline.kind = kindOf(peek());
        Next next = Next::value;
        while (next == Next::value || next == Next::afterValue)
            next = next == Next::value ? readValue() : readAfterValue();
        skipBlanks();
        if (next == Next::end && m_at == m_text.size())
            return std::move(m_outline);
        return JsonDefect{defect()};
    }

private:
    enum class Next { value, afterValue, end, failed };

    /// The byte at hand. The zero that stands for the end is right nowhere, and so needs no telling apart from one in the text.
    [[nodiscard]] char peek() const { return m_at < m_text.size() ? m_text[m_at] : '\0'; }
    [[nodiscard]] qsizetype depth() const { return m_open.size(); }
    [[nodiscard]] bool isInDictionary() const { return m_open.back() == '{'; }
    [[nodiscard]] bool isAtMember() const { return depth() == 1 && isInDictionary(); }
    [[nodiscard]] char closingByte() const { return isInDictionary() ? '}' : ']'; }
    [[nodiscard]] QByteArrayView since(qsizetype begin) const { return m_text.sliced(begin, m_at - begin); }

    bool skip(char byte)
    {
        if (peek() != byte)
            return false;
        ++m_at;
        return true;
    }

    void skipBlanks()
    {
        while (m_at < m_text.size() && (m_text[m_at] == ' ' || m_text[m_at] == '\n' || m_text[m_at] == '\r' || m_text[m_at] == '\t'))
            ++m_at;
    }

    Next readValue()
    {
        skipBlanks();
        const char first = peek();
        if (first == '{' || first == '[')
            return open(first);
        bool isRead = false;
        if (first == '"')
            isRead = readText();
        else if (first == '-' || isDigit(first))
            isRead = readNumber();
        else
            isRead = readWord("true") || readWord("false") || readWord("null");
        return isRead ? Next::afterValue : Next::failed;
    }

    Next open(char first)
    {
        m_isTooDeep = depth() == maximumOutlineDepth;
        if (m_isTooDeep)
            return Next::failed;
        if (depth() == m_keptDepth)
            m_tooDeepAt = m_at;
        m_open += first;
        ++m_at;
        skipBlanks();
        if (peek() == closingByte())
            return close();
        return isInDictionary() ? readKey() : Next::value;
    }

    Next close()
    {
        m_open.chop(1);
        ++m_at;
        if (depth() == m_keptDepth)
            m_outline.tooDeep.push_back(since(m_tooDeepAt));
        return Next::afterValue;
    }

    Next readKey()
    {
        skipBlanks();
        const qsizetype keyAt = m_at;
        if (!readText())
            return Next::failed;
        if (isAtMember())
            m_outline.members.push_back({since(keyAt), {}});
        skipBlanks();
        if (!skip(':'))
            return Next::failed;
        skipBlanks();
        if (isAtMember())
            m_memberAt = m_at;
        return Next::value;
    }

    Next readAfterValue()
    {
        if (depth() == 0)
            return Next::end;
        if (isAtMember())
            m_outline.members.back().value = since(m_memberAt);
        skipBlanks();
        if (skip(','))
            return isInDictionary() ? readKey() : Next::value;
        return peek() == closingByte() ? close() : Next::failed;
    }

    bool readText()
    {
        if (!skip('"'))
            return false;
        while (m_at < m_text.size()) {
            const char byte = m_text[m_at];
            if (byte == '"') {
                ++m_at;
                return true;
            }
            if (uchar(byte) < 0x20)
                return false;
            ++m_at;
            if (byte == '\\' && !readEscape())
                return false;
        }
        return false;
    }

    bool readEscape()
    {
        const char letter = peek();
        if (!QByteArrayView("\"\\/bfnrtu").contains(letter))
            return false;
        ++m_at;
        for (int digit = 0; letter == 'u' && digit < 4; ++digit) {
            if (!isHexDigit(peek()))
                return false;
            ++m_at;
        }
        return true;
    }

    bool readNumber()
    {
        skip('-');
        if (!skip('0') && !readDigits())
            return false;
        if (skip('.') && !readDigits())
            return false;
        if (!skip('e') && !skip('E'))
            return true;
        if (!skip('+'))
            skip('-');
        return readDigits();
    }

    bool readDigits()
    {
        const qsizetype before = m_at;
        while (isDigit(peek()))
            ++m_at;
        return m_at > before;
    }

    bool readWord(QByteArrayView word)
    {
        if (!m_text.sliced(m_at).startsWith(word))
            return false;
        m_at += word.size();
        return true;
    }

    [[nodiscard]] QString defect() const
    {
        if (m_isTooDeep)
            return QStringLiteral("more than %1 levels at byte %2").arg(maximumOutlineDepth).arg(m_at);
        return (m_at == m_text.size() ? QStringLiteral("ends too early, at byte %1") : QStringLiteral("not JSON at byte %1")).arg(m_at);
    }

    QByteArrayView m_text;
    qsizetype m_keptDepth;
    qsizetype m_at = 0;
    QByteArray m_open; // the opening byte of each collection around
    qsizetype m_memberAt = 0; // where the value of the latest member begins
    qsizetype m_tooDeepAt = 0;
    bool m_isTooDeep = false;
    JsonOutline m_outline;
};

} // namespace

std::variant<JsonOutline, JsonDefect> outlineJson(QByteArrayView text, int keptDepth)
{
    if (!QUtf8StringView(text).isValidUtf8())
        return JsonDefect{QStringLiteral("not UTF-8")};
    return Scanner(text, keptDepth).outline();
}

} // namespace lanterna
