#include "platform/linux/NeighbourTable.h"

#include <cstdint>

/// Neighbours from any bytes: a text with one line per neighbour, and never a crash.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace lanterna;
    const QList<Neighbour> neighbours = parseNeighbours(QByteArrayView(data, qsizetype(size)));
    LinkTable links;
    for (const Neighbour &neighbour : neighbours)
        links.try_emplace(neighbour.interfaceIndex, Link{neighbour.interfaceIndex, "eth0", 0});
    if (renderNeighbourTable(neighbours, links).count(u'\n') != neighbours.size())
        __builtin_trap();
    return 0;
}
