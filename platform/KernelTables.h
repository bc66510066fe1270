#pragma once

#include <QList>
#include <QString>

#include <memory>

namespace lanterna
{

/// One IPv4 address of one interface, as the interface list gives it. An interface with several addresses appears once for each.
struct InterfaceAddress {
    QString name; ///< label of the address, as a rule the interface name ("eth0"); undecodable bytes are replaced
    unsigned index = 0; ///< kernel's interface index, 0 when it is already gone
    QString address; ///< dotted text
    QString broadcast; ///< dotted text, empty when there is none
    int prefixLength = 0; ///< 0 to 32
    bool up = false; ///< IFF_UP
    bool running = false; ///< IFF_RUNNING
    bool loopback = false; ///< IFF_LOOPBACK
    bool hasBroadcast = false; ///< IFF_BROADCAST

    bool operator==(const InterfaceAddress &) const = default;
};

/// What the kernel knows of this machine's place on its networks. Any thread; every call asks the kernel anew.
class KernelTables
{
public:
    virtual ~KernelTables() = default;

    /// The IPv4 routes as text, one line each: destination, gateway, flags and interface, separated by blanks ("default 192.168.1.1 UGSc eth0").
    /// Only the main table; default routes come first, lowest metric first; a route without an IPv4 gateway shows "link#N" with the interface index.
    /// Null when the table cannot be read.
    [[nodiscard]] virtual QString routingTableText() const = 0;

    /// The ARP table as text, one line per neighbour: "? (192.168.1.20) at 00:11:32:00:77:14 on eth0", unresolved ones "? (IP) at (incomplete) on
    /// eth0". By interface, then by address; the interface of the first default route with a gateway, else of the
    /// first, comes last. Null when the table cannot be read.
    [[nodiscard]] virtual QString neighbourTableText() const = 0;

    /// Keeps what the kernel forgets: from this call on, and until the handle is dropped, the table's text also holds neighbours that were resolved
    /// and that the kernel has since dropped for their age. One that was last reported as failed is not kept. Overlapping handles share one memory:
    /// what was dropped since the oldest that still runs began is kept, and what was dropped before that is forgotten. Null, and nothing is kept, when
    /// the system refuses.
    [[nodiscard]] virtual std::shared_ptr<void> keepNeighbours() const = 0;

    /// The IPv4 addresses of all interfaces, in the kernel's order. Empty when the list cannot be read.
    [[nodiscard]] virtual QList<InterfaceAddress> interfaceAddresses() const = 0;
};

} // namespace lanterna
