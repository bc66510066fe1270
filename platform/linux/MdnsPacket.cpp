#include "platform/linux/MdnsPacket.h"

#include <QtEndian>

#include <algorithm>

namespace lanterna
{

namespace
{

// RFC 1035, sections 4.1.1 and 4.1.3.
constexpr qsizetype headerSize = 12;
constexpr qsizetype questionCountAt = 4;
constexpr qsizetype answerCountAt = 6;
constexpr qsizetype authorityCountAt = 8;
constexpr qsizetype additionalCountAt = 10;
constexpr qsizetype recordHeadSize = 10; // type, class, time to live and length of the data, behind the name
constexpr qsizetype dataLengthAt = 8;
constexpr quint16 cnameType = 5;

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

} // namespace

std::optional<std::vector<qsizetype>> answerRecordTypes(QByteArrayView packet)
{
    if (packet.size() < headerSize || !(quint8(packet[2]) & 0x80)) // the bit that makes it an answer
        return std::nullopt;
    if (number(packet, questionCountAt) != 0 || number(packet, authorityCountAt) != 0)
        return std::nullopt;
    const int count = number(packet, answerCountAt) + number(packet, additionalCountAt);
    std::vector<qsizetype> types;
    qsizetype at = headerSize;
    for (int record = 0; record < count; ++record) {
        const auto head = behindName(packet, at);
        if (!head || *head + recordHeadSize > packet.size())
            return std::nullopt;
        types.push_back(*head);
        at = *head + recordHeadSize + number(packet, *head + dataLengthAt);
        if (at > packet.size())
            return std::nullopt;
    }
    return types;
}

bool mayReachMdnsStack(QByteArrayView packet)
{
    const auto types = answerRecordTypes(packet);
    return types && std::none_of(types->begin(), types->end(), [&](qsizetype at) { return number(packet, at) == cnameType; });
}

} // namespace lanterna
