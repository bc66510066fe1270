#include "platform/linux/RouteTable.h"

#include <cstdint>

/// Routes and links from any bytes: a text with one line per route that is kept, and never a crash.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace lanterna;
    const QByteArrayView bytes(data, qsizetype(size));
    const QList<IPv4Route> routes = parseRoutes(bytes);
    LinkTable links = parseLinks(bytes);
    for (const IPv4Route &route : routes)
        links.try_emplace(route.interfaceIndex, Link{route.interfaceIndex, "eth0", 0});
    if (renderRoutingTable(routes, links).count(u'\n') < routes.size())
        __builtin_trap();
    return 0;
}
