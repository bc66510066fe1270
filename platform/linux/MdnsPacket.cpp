#include "platform/linux/MdnsPacket.h"

#include <QByteArray>
#include <QtEndian>

#include <algorithm>

namespace lanterna
{

namespace
{

// RFC 1035, sections 4.1.1 and 4.1.3.
constexpr qsizetype headerSize = 12;
constexpr qsizetype flagsAt = 2; // the highest bit makes it an answer
constexpr qsizetype questionCountAt = 4;
constexpr qsizetype answerCountAt = 6;
constexpr qsizetype authorityCountAt = 8;
constexpr qsizetype additionalCountAt = 10;
constexpr qsizetype questionTailSize = 4; // type and class, behind the name
constexpr qsizetype recordHeadSize = 10; // type, class, time to live and length of the data, behind the name
constexpr qsizetype dataLengthAt = 8;
constexpr quint16 cnameType = 5;
constexpr int mostLabels = 256; // jumps included; a name has 127 at most, and more jumps than labels only to deceive

quint16 number(QByteArrayView packet, qsizetype at)
{
    return qFromBigEndian<quint16>(packet.data() + at);
}

/// Behind the name that begins at `at`; none when it does not end within the packet. A compressed rest ends a name where it stands.
std::optional<qsizetype> behindName(QByteArrayView packet, qsizetype at)
{
    while (at < packet.size()) {
        const auto length = quint8(packet[at]);
        if (length == 0)
            return at + 1;
        if ((length & 0xc0) == 0xc0)
            return at + 2;
        if (length > 63)
            return std::nullopt;
        at += 1 + length;
    }
    return std::nullopt;
}

/// The name at `at`, in small letters and with dots between the labels. None when it does not end within the packet or leads in circles.
std::optional<QByteArray> nameAt(QByteArrayView packet, qsizetype at)
{
    QByteArray name;
    for (int labels = 0; at < packet.size() && labels < mostLabels; ++labels) {
        const auto length = quint8(packet[at]);
        if (length == 0)
            return name.toLower();
        if ((length & 0xc0) == 0xc0) {
            if (at + 2 > packet.size())
                return std::nullopt;
            at = number(packet, at) & 0x3fff;
            continue;
        }
        if (length > 63 || at + 1 + length > packet.size())
            return std::nullopt;
        if (!name.isEmpty())
            name += '.';
        name += packet.sliced(at + 1, length);
        at += 1 + length;
    }
    return std::nullopt;
}

/// Whether a question is for something that the library has records of without being asked to, all of them of the loopback.
bool asksForLoopback(const QByteArray &name)
{
    return name == "localhost" || name == "ip6-localhost" || name == "1.0.0.127.in-addr.arpa"
        || name == "1." + QByteArray("0.").repeated(31) + "ip6.arpa";
}

} // namespace

std::optional<MdnsPacketParts> mdnsPacketParts(QByteArrayView packet)
{
    if (packet.size() < headerSize)
        return std::nullopt;
    MdnsPacketParts parts;
    qsizetype at = headerSize;
    for (int question = number(packet, questionCountAt); question > 0; --question) {
        const auto tail = behindName(packet, at);
        if (!tail || *tail + questionTailSize > packet.size())
            return std::nullopt;
        parts.questionNames.push_back(at);
        at = *tail + questionTailSize;
    }
    const int records = number(packet, answerCountAt) + number(packet, authorityCountAt) + number(packet, additionalCountAt);
    for (int record = 0; record < records; ++record) {
        const auto head = behindName(packet, at);
        if (!head || *head + recordHeadSize > packet.size())
            return std::nullopt;
        parts.recordTypes.push_back(*head);
        at = *head + recordHeadSize + number(packet, *head + dataLengthAt);
        if (at > packet.size())
            return std::nullopt;
    }
    return parts;
}

bool mayReachMdnsStack(QByteArrayView packet, MdnsRole role)
{
    const auto parts = mdnsPacketParts(packet);
    if (!parts || std::any_of(parts->recordTypes.begin(), parts->recordTypes.end(), [&](qsizetype at) { return number(packet, at) == cnameType; }))
        return false;
    const bool isAnswer = quint8(packet[flagsAt]) & 0x80;
    if (isAnswer)
        return parts->questionNames.empty() && number(packet, authorityCountAt) == 0;
    return role == MdnsRole::responder && std::all_of(parts->questionNames.begin(), parts->questionNames.end(), [&](qsizetype at) {
        const auto name = nameAt(packet, at);
        return name && !asksForLoopback(*name);
    });
}

} // namespace lanterna
