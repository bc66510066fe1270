#include "platform/linux/RtnetlinkKernelTables.h"

#include "platform/linux/InterfaceAddresses.h"
#include "platform/linux/NeighbourKeeper.h"
#include "platform/linux/NeighbourTable.h"
#include "platform/linux/RouteTable.h"

#include <utility>

namespace lanterna
{

RtnetlinkKernelTables::RtnetlinkKernelTables(std::shared_ptr<NetlinkTransport> transport) : m_transport(std::move(transport)) { }

QString RtnetlinkKernelTables::routingTableText() const
{
    // Names second: a route that is listed then finds its interface, unless that went away, and the route with it.
    const NetlinkAnswer routes = askKernel(*m_transport, NetlinkBus::route, routeDumpRequest());
    const NetlinkAnswer links = askKernel(*m_transport, NetlinkBus::route, linkDumpRequest());
    if (routes.error != 0 || links.error != 0)
        return {};
    return renderRoutingTable(parseRoutes(routes.bytes), parseLinks(links.bytes));
}

QString RtnetlinkKernelTables::neighbourTableText() const
{
    const NetlinkAnswer neighbours = askKernel(*m_transport, NetlinkBus::route, neighbourDumpRequest());
    const NetlinkAnswer links = askKernel(*m_transport, NetlinkBus::route, linkDumpRequest());
    const NetlinkAnswer routes = askKernel(*m_transport, NetlinkBus::route, routeDumpRequest());
    if (neighbours.error != 0 || links.error != 0 || routes.error != 0)
        return {};
    QList<Neighbour> rows = parseNeighbours(neighbours.bytes);
    if (const auto keeper = presentKeeper())
        rows = keeper->merge(rows);
    if (const auto route = usedDefaultRoute(parseRoutes(routes.bytes)))
        rows = withInterfaceLast(rows, route->interfaceIndex);
    return renderNeighbourTable(rows, parseLinks(links.bytes));
}

std::shared_ptr<NeighbourKeeper> RtnetlinkKernelTables::presentKeeper() const
{
    const std::scoped_lock lock(m_keeperMutex);
    return m_keeper.lock();
}

std::shared_ptr<void> RtnetlinkKernelTables::keepNeighbours() const
{
    const std::scoped_lock lock(m_keeperMutex);
    std::shared_ptr<NeighbourKeeper> keeper = m_keeper.lock();
    if (!keeper) {
        keeper = NeighbourKeeper::begin(m_transport);
        m_keeper = keeper;
    }
    return keeper ? keeper->handle() : nullptr;
}

QList<InterfaceAddress> RtnetlinkKernelTables::interfaceAddresses() const
{
    return readInterfaceAddresses().value_or(QList<InterfaceAddress>());
}

} // namespace lanterna
