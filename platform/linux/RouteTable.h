#pragma once

#include "platform/linux/LinkTable.h"

#include <QList>

#include <optional>

namespace lanterna
{

/// One IPv4 route of the main table that leads somewhere. Addresses are in host order.
struct IPv4Route {
    quint32 destination = 0;
    int prefixLength = 0; ///< 0 to 32; 0 is a default route
    std::optional<quint32> gateway; ///< none on the link itself, or when the gateway has only an IPv6 address
    unsigned interfaceIndex = 0; ///< of a route with several ways: those of the first
    quint32 metric = 0;

    [[nodiscard]] bool isDefault() const { return prefixLength == 0; }
    bool operator==(const IPv4Route &) const = default;
};

/// The request for all IPv4 routes.
QByteArray routeDumpRequest();

/// The routes in an answer, in the kernel's order. Other tables (local, VPN rules), cached clones and routes that refuse or drop packets are left
/// out.
QList<IPv4Route> parseRoutes(QByteArrayView bytes);

/// Only the default routes, lowest metric first, else in the kernel's order.
QList<IPv4Route> defaultRoutes(const QList<IPv4Route> &routes);

/// The default route whose interface counts as the machine's: the first one with an IPv4 gateway, as readers of the routing table look for one; else
/// the first of all; none without any.
std::optional<IPv4Route> usedDefaultRoute(const QList<IPv4Route> &routes);

/// The table as text: destination, gateway, flags and interface, one route a line; the default routes first. Flags: U up, G through a gateway, H
/// for a single host, S and c or C made by configuration. Routes of interfaces that are not in `links` are left out.
QString renderRoutingTable(const QList<IPv4Route> &routes, const LinkTable &links);

/// Dotted text of an address in host order.
QString dottedAddress(quint32 address);

} // namespace lanterna
