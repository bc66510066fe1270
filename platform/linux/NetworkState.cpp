#include "platform/linux/NetworkState.h"

namespace lanterna
{

NetworkState networkState(
    const QList<InterfaceAddress> &addresses, const QList<IPv4Route> &routes, const std::function<bool(const InterfaceAddress &)> &shown)
{
    // Addresses keep the kernel's order within an interface; between interfaces it says nothing, and the map drops it.
    NetworkState state;
    for (const InterfaceAddress &address : addresses) {
        if (!shown(address))
            continue;
        NetworkState::Interface &interface = state.interfaces[address.name];
        interface.running = address.running;
        interface.addresses.append(QStringLiteral("%1/%2").arg(address.address).arg(address.prefixLength));
    }
    state.defaultRoutes = defaultRoutes(routes);
    return state;
}

bool isNetworkChange(const std::optional<NetworkState> &before, const std::optional<NetworkState> &now)
{
    return before && now && *before != *now;
}

} // namespace lanterna
