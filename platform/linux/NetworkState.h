#pragma once

#include "platform/KernelTables.h"
#include "platform/linux/RouteTable.h"

#include <QMap>
#include <QStringList>

#include <functional>
#include <optional>

namespace lanterna
{

/// What counts as the state of the network: a difference between two of these is a change, anything else is none.
struct NetworkState {
    struct Interface {
        bool running = false;
        QStringList addresses; ///< "192.168.1.20/24", in the kernel's order: the last one is the one that is shown
        bool operator==(const Interface &) const = default;
    };
    QMap<QString, Interface> interfaces; ///< by name; only those that the address list would show
    QList<IPv4Route> defaultRoutes; ///< lowest metric first

    bool operator==(const NetworkState &) const = default;
};

/// The state that these tables show. `shown` says whether the address list would show an address.
NetworkState networkState(
    const QList<InterfaceAddress> &addresses, const QList<IPv4Route> &routes, const std::function<bool(const InterfaceAddress &)> &shown);

/// Whether to tell of a new reading. A reading that failed says nothing, and the first one only sets the mark.
bool isNetworkChange(const std::optional<NetworkState> &before, const std::optional<NetworkState> &now);

} // namespace lanterna
