#include "platform/linux/MachineName.h"

#include "platform/ServiceName.h"
#include "platform/linux/UserAccount.h"

#include <QFile>
#include <QStringDecoder>

namespace lanterna
{

namespace
{

/// Far more than the file has anywhere.
constexpr qint64 mostBytes = 64 * 1024;

bool isBlank(char byte)
{
    return byte == ' ' || byte == '\t' || byte == '\r';
}

/// Reads assignments one after the other.
class AssignmentReader
{
public:
    explicit AssignmentReader(QByteArrayView text) : m_text(text) { }

    [[nodiscard]] bool atEnd() const { return m_at >= m_text.size(); }
    /// What stands before the next "="; empty for a line without one, which is then behind.
    QByteArray key()
    {
        while (!atEnd() && (isBlank(peek()) || peek() == '\n'))
            ++m_at;
        const qsizetype line = m_text.indexOf('\n', m_at);
        const qsizetype lineEnd = line < 0 ? m_text.size() : line;
        const qsizetype sign = m_text.indexOf('=', m_at);
        const bool assigns = sign >= 0 && sign < lineEnd && peek() != '#' && peek() != ';';
        const QByteArray key = assigns ? m_text.sliced(m_at, sign - m_at).toByteArray().trimmed() : QByteArray();
        m_at = assigns ? sign + 1 : lineEnd;
        return key;
    }
    /// The value behind the "=", up to the end of the line: pieces in quotes, then one without.
    QByteArray value()
    {
        QByteArray value;
        while (!atEnd() && peek() != '\n') {
            if (isBlank(peek()))
                ++m_at;
            else if (peek() == '\'' || peek() == '"')
                readQuoted(value);
            else
                readPlain(value);
        }
        return value;
    }

private:
    [[nodiscard]] char peek() const { return atEnd() ? '\0' : m_text[m_at]; }
    char take() { return m_text[m_at++]; }

    void readQuoted(QByteArray &value)
    {
        const char quote = take();
        while (!atEnd()) {
            const char byte = take();
            if (byte == quote)
                return;
            if (byte != '\\' || quote == '\'' || atEnd())
                value += byte;
            else if (const char escaped = take(); QByteArrayView("\"\\`$").contains(escaped))
                value += escaped;
            else if (escaped != '\n') // which joins two lines
                (value += byte) += escaped;
        }
    }

    void readPlain(QByteArray &value)
    {
        QByteArray plain;
        while (!atEnd() && peek() != '\n') {
            const char byte = take();
            if (byte != '\\' || atEnd())
                plain += byte;
            else if (const char escaped = take(); escaped != '\n')
                plain += escaped;
        }
        value += plain.trimmed();
    }

    QByteArrayView m_text;
    qsizetype m_at = 0;
};

} // namespace

QString prettyHostName(QByteArrayView machineInfo)
{
    QByteArray name;
    for (AssignmentReader reader(machineInfo); !reader.atEnd();) {
        const QByteArray key = reader.key();
        if (key.isEmpty())
            continue;
        if (const QByteArray value = reader.value(); key == "PRETTY_HOSTNAME")
            name = value;
    }
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString decoded = decoder(name);
    return decoder.hasError() ? QString() : decoded;
}

QString machineServiceName()
{
    QFile file(QStringLiteral("/etc/machine-info"));
    const QByteArray text = file.open(QFile::ReadOnly) ? file.read(mostBytes) : QByteArray();
    return defaultServiceName(prettyHostName(text), hostName());
}

} // namespace lanterna
