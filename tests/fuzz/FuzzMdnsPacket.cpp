#include "platform/linux/MdnsPacket.h"

#include <QByteArray>

#include <cstdint>

/// Packets of any bytes: each record of one that may pass is found, so that none of them could be an alias without its being kept out.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace lanterna;
    QByteArray packet(reinterpret_cast<const char *>(data), qsizetype(size));
    if (!mayReachMdnsStack(packet))
        return 0;
    const std::vector<qsizetype> types = answerRecordTypes(packet).value();
    const auto number = [&](qsizetype at) { return size_t(uint8_t(packet[at])) << 8 | uint8_t(packet[at + 1]); };
    if (types.size() != number(6) + number(10))
        __builtin_trap();
    for (const qsizetype at : types) {
        const QByteArray before = packet.sliced(at, 2);
        packet[at] = 0;
        packet[at + 1] = 5;
        if (mayReachMdnsStack(packet))
            __builtin_trap();
        packet.replace(at, 2, before);
    }
    return 0;
}
