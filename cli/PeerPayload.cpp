#include "cli/PeerPayload.h"

#include "platform/Json.h"
#include "scan/NetworkSnapshot.h"

#include <algorithm>

namespace lanterna
{

namespace
{

bool isBlank(char byte)
{
    return byte == ' ' || byte == '\n' || byte == '\r' || byte == '\t';
}

/// The object as it was read: with a device list it is a snapshot; a sensor that hands none out names itself as the source and nothing else.
PeerAnswer answerOf(const QVariantMap &object)
{
    if (object.value(QStringLiteral("devices")).typeId() == QMetaType::QString)
        return {PeerState::snapshot, object};
    const bool nothingElse = object.size() == (object.contains(QStringLiteral("source")) ? 1 : 0);
    return {nothingElse ? PeerState::none : PeerState::noSnapshot, {}};
}

} // namespace

bool PeerPayload::take(QByteArrayView bytes)
{
    if (m_problem != PeerState::none)
        return false;
    if (bytes.size() > maximumSize - m_bytes.size()) {
        m_problem = PeerState::tooLong;
    } else {
        m_problem = goOn(bytes) ? PeerState::none : PeerState::noJson;
    }
    if (m_problem == PeerState::none)
        m_bytes.append(bytes.data(), bytes.size());
    else
        m_bytes.clear();
    return m_problem == PeerState::none;
}

bool PeerPayload::goOn(QByteArrayView bytes)
{
    for (const char *at = bytes.begin(); at != bytes.end(); ++at) {
        if (m_inText && !m_escaped) { // nearly all of a snapshot is one text
            at = std::find_if(at, bytes.end(), [](char byte) { return byte == '"' || byte == '\\'; });
            if (at == bytes.end())
                break;
        }
        if (!goesOn(*at))
            return false;
    }
    return true;
}

/// Whether the stream may still become one object. This looks at no more than what bounds need; the parser has the last word.
bool PeerPayload::goesOn(char byte)
{
    if (m_inText) {
        m_inText = m_escaped || byte != '"';
        m_escaped = !m_escaped && byte == '\\';
        return true;
    }
    if (isBlank(byte)) {
        m_word = 0;
        return true;
    }
    return m_depth == 0 ? begins(byte) : goesOnWithin(byte);
}

bool PeerPayload::begins(char byte)
{
    if (m_complete || byte != '{')
        return false;
    m_depth = 1;
    return true;
}

bool PeerPayload::goesOnWithin(char byte)
{
    if (byte != '"' && byte != '{' && byte != '[' && byte != '}' && byte != ']' && byte != ',' && byte != ':')
        return ++m_word <= longestWord;
    m_word = 0;
    switch (byte) {
    case '"':
        m_inText = true;
        return true;
    case '{':
    case '[':
        return ++m_depth <= maximumJsonDepth;
    case '}':
    case ']':
        m_complete = --m_depth == 0;
        return true;
    case ',':
        return ++m_values < maximumValues;
    default:
        return true;
    }
}

PeerAnswer PeerPayload::finish()
{
    const QByteArray bytes = std::exchange(m_bytes, {});
    if (m_problem != PeerState::none)
        return {m_problem, {}};
    if (!m_complete)
        return {PeerState::cutShort, {}};
    const std::optional<QVariant> object = parseJson(bytes);
    return object && object->typeId() == QMetaType::QVariantMap ? answerOf(object->toMap()) : PeerAnswer{PeerState::noJson, {}};
}

qsizetype deviceCount(const QVariantMap &snapshot)
{
    const QString devices = snapshot.value(QStringLiteral("devices")).toString();
    qsizetype count = 0;
    for (const QStringView piece : qTokenize(devices, deviceSeparator)) { // no list of them: a peer may send millions
        if (piece.trimmed().count(deviceFieldSeparator) >= 3)
            ++count;
    }
    return count;
}

} // namespace lanterna
