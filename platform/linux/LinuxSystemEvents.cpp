#include "platform/linux/LinuxSystemEvents.h"

#include "platform/linux/InterfaceAddresses.h"

#include <utility>

namespace lanterna
{

LinuxSystemEvents::LinuxSystemEvents(
    Dispatch &dispatch, SystemLog &log, std::function<bool(const InterfaceAddress &)> shown, const QString &systemBusAddress)
    : m_networkWatcher(
        dispatch, log, [this, shown = std::move(shown)] { return readNetworkState(m_transport, shown); },
        [this] {
            if (m_networkChanged)
                m_networkChanged();
        }),
      m_wakeWatcher(
          dispatch,
          [this] {
              if (m_wokeFromSleep)
                  m_wokeFromSleep();
          },
          systemBusAddress)
{
}

LinuxSystemEvents::~LinuxSystemEvents() = default;

void LinuxSystemEvents::start(std::function<void()> networkChanged, std::function<void()> wokeFromSleep)
{
    m_networkChanged = std::move(networkChanged);
    m_wokeFromSleep = std::move(wokeFromSleep);
    m_networkWatcher.start();
    m_wakeWatcher.start();
}

std::optional<NetworkState> readNetworkState(NetlinkTransport &transport, const std::function<bool(const InterfaceAddress &)> &shown)
{
    // Two questions that a change may fall between; its message then leads to another reading.
    const auto addresses = readInterfaceAddresses();
    const NetlinkAnswer routes = askKernel(transport, NetlinkBus::route, routeDumpRequest());
    if (!addresses || routes.error != 0)
        return std::nullopt;
    return networkState(*addresses, parseRoutes(routes.bytes), shown);
}

} // namespace lanterna
