#include "platform/linux/MdnsPacket.h"

#include <QByteArray>

#include <cstdint>

/// Packets of any bytes: each record of one that may pass is found, so that none of them could be an alias without its being kept out. An asker sees
/// nothing that a responder does not see.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace lanterna;
    QByteArray packet(reinterpret_cast<const char *>(data), qsizetype(size));
    if (!mayReachMdnsStack(packet, MdnsRole::responder)) {
        if (mayReachMdnsStack(packet, MdnsRole::asker))
            __builtin_trap();
        return 0;
    }
    const MdnsPacketParts parts = mdnsPacketParts(packet).value();
    const auto number = [&](qsizetype at) { return size_t(uint8_t(packet[at])) << 8 | uint8_t(packet[at + 1]); };
    if (parts.questionNames.size() != number(4) || parts.recordTypes.size() != number(6) + number(8) + number(10))
        __builtin_trap();
    if (mayReachMdnsStack(packet, MdnsRole::asker) && !parts.questionNames.empty())
        __builtin_trap();
    for (const qsizetype at : parts.recordTypes) {
        const QByteArray before = packet.sliced(at, 2);
        packet[at] = 0;
        packet[at + 1] = 5;
        if (mayReachMdnsStack(packet, MdnsRole::responder))
            __builtin_trap();
        packet.replace(at, 2, before);
    }
    return 0;
}
