#include "platform/linux/RtnetlinkKernelTables.h"

#include "platform/linux/InterfaceAddresses.h"
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
    if (neighbours.error != 0 || links.error != 0)
        return {};
    return renderNeighbourTable(parseNeighbours(neighbours.bytes), parseLinks(links.bytes));
}

QList<InterfaceAddress> RtnetlinkKernelTables::interfaceAddresses() const
{
    return readInterfaceAddresses().value_or(QList<InterfaceAddress>());
}

} // namespace lanterna
