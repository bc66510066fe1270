#pragma once

#include "platform/KernelTables.h"
#include "platform/SystemEvents.h"
#include "platform/linux/NetlinkSockets.h"
#include "platform/linux/NetworkWatcher.h"
#include "platform/linux/WakeWatcher.h"

#include <memory>

namespace lanterna
{

/// Network changes from rtnetlink and waking from logind. Main thread only; needs the application object. The dispatch and the log must outlive it.
class LinuxSystemEvents : public SystemEvents
{
public:
    /// `shown` says whether the address list would show an address. `systemBusAddress` is a D-Bus address; empty for the machine's own system bus.
    LinuxSystemEvents(Dispatch &dispatch, SystemLog &log, std::function<bool(const InterfaceAddress &)> shown, const QString &systemBusAddress = {});
    ~LinuxSystemEvents() override;

    void start(std::function<void()> networkChanged, std::function<void()> wokeFromSleep) override;

private:
    std::function<void()> m_networkChanged; // both empty until the start
    std::function<void()> m_wokeFromSleep;
    NetlinkSockets m_transport;
    NetworkWatcher m_networkWatcher;
    WakeWatcher m_wakeWatcher;
};

/// The state of the network as the kernel tells it now; none when it cannot be asked.
std::optional<NetworkState> readNetworkState(NetlinkTransport &transport, const std::function<bool(const InterfaceAddress &)> &shown);

} // namespace lanterna
