#include "platform/linux/InterfaceAddresses.h"

#include "platform/linux/RouteTable.h"

#include <bit>
#include <cstring>
#include <memory>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

namespace lanterna
{

namespace
{

/// An IPv4 socket address in host order; none for no address or one of another family.
std::optional<quint32> ipv4Address(const sockaddr *address)
{
    if (!address || address->sa_family != AF_INET)
        return std::nullopt;
    sockaddr_in internet = {};
    std::memcpy(&internet, address, sizeof internet);
    return ntohl(internet.sin_addr.s_addr);
}

} // namespace

std::optional<InterfaceAddress> interfaceAddress(const ifaddrs &entry)
{
    const auto address = ipv4Address(entry.ifa_addr);
    if (!address)
        return std::nullopt;

    InterfaceAddress result;
    result.name = QString::fromUtf8(entry.ifa_name);
    // The list has no index; a label such as "eth0:1" leads to the index of its interface.
    result.index = if_nametoindex(entry.ifa_name);
    result.address = dottedAddress(*address);
    result.prefixLength = std::popcount(ipv4Address(entry.ifa_netmask).value_or(0));
    result.up = entry.ifa_flags & IFF_UP;
    result.running = entry.ifa_flags & IFF_RUNNING;
    result.loopback = entry.ifa_flags & IFF_LOOPBACK;
    result.hasBroadcast = entry.ifa_flags & IFF_BROADCAST;
    // The same field holds the far end of a point-to-point link, which is no broadcast address.
    const auto broadcast = result.hasBroadcast ? ipv4Address(entry.ifa_broadaddr) : std::nullopt;
    if (broadcast)
        result.broadcast = dottedAddress(*broadcast);
    return result;
}

std::optional<QList<InterfaceAddress>> readInterfaceAddresses()
{
    ifaddrs *list = nullptr;
    if (getifaddrs(&list) != 0)
        return std::nullopt;
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, &freeifaddrs);
    QList<InterfaceAddress> addresses;
    for (const ifaddrs *entry = list; entry; entry = entry->ifa_next) {
        if (const auto address = interfaceAddress(*entry))
            addresses.append(*address);
    }
    return addresses;
}

} // namespace lanterna
