#include "platform/linux/NeighbourMemory.h"

#include <cstdint>
#include <set>
#include <utility>

/// A memory fed with any bytes in two parts: each neighbour once and in order, each kept one resolved, and the kernel's own rows all there;
/// and once a table without rows was read, nothing outlives the time at which that was.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace lanterna;
    const QByteArrayView bytes(data, qsizetype(size));
    const qsizetype cut = size == 0 ? 0 : qMin(qsizetype(data[0]) * 4, bytes.size());
    NeighbourMemory memory;
    memory.feed(bytes.sliced(cut), 1);
    memory.feed(bytes, 2);

    std::pair<unsigned, quint32> before(0, 0);
    for (const Neighbour &neighbour : memory.merge({})) {
        const std::pair key(neighbour.interfaceIndex, neighbour.address);
        if (key <= before || neighbour.hardwareAddress.isEmpty())
            __builtin_trap();
        before = key;
    }

    const QList<Neighbour> table = parseNeighbours(bytes);
    std::set<std::pair<unsigned, quint32>> rows;
    for (const Neighbour &neighbour : memory.merge(table)) {
        if (!rows.emplace(neighbour.interfaceIndex, neighbour.address).second)
            __builtin_trap();
    }
    for (const Neighbour &neighbour : table) {
        if (!rows.contains({neighbour.interfaceIndex, neighbour.address}))
            __builtin_trap();
    }
    memory.feedTable({}, 3);
    memory.forgetDroppedBefore(4);
    if (!memory.merge({}).isEmpty())
        __builtin_trap();
    return 0;
}
