#include "platform/linux/RouteTable.h"

#include "platform/linux/Netlink.h"

#include <algorithm>

#include <linux/rtnetlink.h>
#include <sys/socket.h>

namespace lanterna
{

namespace
{

/// The first way of a route that spreads its packets over several.
void takeFirstWay(IPv4Route &route, QByteArrayView ways)
{
    const auto way = netlinkHeader<rtnexthop>(ways);
    if (!way || way->rtnh_len < sizeof(rtnexthop) || way->rtnh_len > ways.size())
        return;
    route.interfaceIndex = unsigned(way->rtnh_ifindex);
    route.gateway = NetlinkAttributes(afterNetlinkHeader<rtnexthop>(ways.first(way->rtnh_len))).ipv4Address(RTA_GATEWAY);
}

/// One route; none for those that the table leaves out.
std::optional<IPv4Route> parseRoute(QByteArrayView payload)
{
    const auto header = netlinkHeader<rtmsg>(payload);
    if (!header || header->rtm_family != AF_INET || header->rtm_type != RTN_UNICAST || header->rtm_dst_len > 32 || (header->rtm_flags & RTM_F_CLONED))
        return std::nullopt;
    const NetlinkAttributes attributes(afterNetlinkHeader<rtmsg>(payload));
    // The header has eight bits for the table's number; the attribute holds the whole of it.
    if (attributes.number<quint32>(RTA_TABLE).value_or(header->rtm_table) != RT_TABLE_MAIN)
        return std::nullopt;

    IPv4Route route;
    route.destination = attributes.ipv4Address(RTA_DST).value_or(0);
    route.prefixLength = header->rtm_dst_len;
    route.gateway = attributes.ipv4Address(RTA_GATEWAY);
    route.interfaceIndex = attributes.number<quint32>(RTA_OIF).value_or(0);
    route.metric = attributes.number<quint32>(RTA_PRIORITY).value_or(0);
    if (attributes.contains(RTA_MULTIPATH))
        takeFirstWay(route, attributes.bytes(RTA_MULTIPATH));
    return route;
}

QString destinationText(const IPv4Route &route)
{
    if (route.isDefault())
        return QStringLiteral("default");
    if (route.prefixLength == 32)
        return dottedAddress(route.destination);
    return QStringLiteral("%1/%2").arg(dottedAddress(route.destination)).arg(route.prefixLength);
}

/// The letters of the BSD systems, whose route listing is the shape of this text.
QString flagsText(const IPv4Route &route)
{
    const bool host = route.prefixLength == 32;
    if (route.gateway)
        return host ? QStringLiteral("UGHS") : QStringLiteral("UGSc");
    return host ? QStringLiteral("UHS") : QStringLiteral("UCS");
}

} // namespace

QByteArray routeDumpRequest()
{
    rtmsg header = {};
    header.rtm_family = AF_INET; // the kernel would list every family otherwise
    return NetlinkRequest(RTM_GETROUTE, NLM_F_DUMP).header(header).bytes();
}

QList<IPv4Route> parseRoutes(QByteArrayView bytes)
{
    QList<IPv4Route> routes;
    for (const NetlinkMessage &message : netlinkMessages(bytes)) {
        if (message.type != RTM_NEWROUTE)
            continue;
        if (const auto route = parseRoute(message.payload))
            routes.append(*route);
    }
    return routes;
}

QList<IPv4Route> defaultRoutes(const QList<IPv4Route> &routes)
{
    // Stable: of equal metrics the kernel uses the one that it lists first.
    QList<IPv4Route> defaults;
    std::copy_if(routes.begin(), routes.end(), std::back_inserter(defaults), [](const IPv4Route &route) { return route.isDefault(); });
    std::stable_sort(defaults.begin(), defaults.end(), [](const IPv4Route &one, const IPv4Route &other) { return one.metric < other.metric; });
    return defaults;
}

std::optional<IPv4Route> usedDefaultRoute(const QList<IPv4Route> &routes)
{
    const QList<IPv4Route> defaults = defaultRoutes(routes);
    if (defaults.isEmpty())
        return std::nullopt;
    const auto used = std::find_if(defaults.begin(), defaults.end(), [](const IPv4Route &route) { return route.gateway.has_value(); });
    return used == defaults.end() ? defaults.first() : *used;
}

QString renderRoutingTable(const QList<IPv4Route> &routes, const LinkTable &links)
{
    QList<IPv4Route> ordered = defaultRoutes(routes);
    std::copy_if(routes.begin(), routes.end(), std::back_inserter(ordered), [](const IPv4Route &route) { return !route.isDefault(); });

    QString text = QStringLiteral(""); // null stands for a table that cannot be read
    for (const IPv4Route &route : ordered) {
        const auto link = links.find(route.interfaceIndex);
        if (link == links.end())
            continue;
        const QString gateway = route.gateway ? dottedAddress(*route.gateway) : QStringLiteral("link#%1").arg(route.interfaceIndex);
        text += destinationText(route) + u' ' + gateway + u' ' + flagsText(route) + u' ' + link->second.displayName() + u'\n';
    }
    return text;
}

QString dottedAddress(quint32 address)
{
    return QStringLiteral("%1.%2.%3.%4").arg(address >> 24).arg(address >> 16 & 0xff).arg(address >> 8 & 0xff).arg(address & 0xff);
}

} // namespace lanterna
