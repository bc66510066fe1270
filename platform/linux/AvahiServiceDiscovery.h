#pragma once

#include "platform/Dispatch.h"
#include "platform/ServiceDiscovery.h"
#include "platform/ServicePublishing.h"

namespace lanterna
{

class MdnsStack;

/// Service discovery and publishing with Avahi: through the machine's avahi-daemon, and where none runs with an mDNS stack of the program's own.
///
/// Which of the two is looked up whenever a search begins while no other is open. When the daemon ends, all that is open goes on over the stack of
/// the program's own: what was told is not told again, and time-outs run on. Searches end, and resolutions answer that nobody was found, only when
/// that stack cannot be started either. Nothing of the program is on the network while nothing is open.
///
/// Watches and publications never end by themselves. Entries of a TXT record that cannot be in one (`textEntries`) are left out of it.
///
/// At most 64 resolutions are under way; others wait, in order. One that is silent for half a second gives its place to one that waits, and goes on
/// later: services that are nowhere do not hide those that are. Where none waits, one that is silent for a second is asked for anew: packets get lost.
/// The time-out of each counts only while it is under way. Services are heard over IPv4 only,
/// and a resolution has at most one address: the first. Main thread only, which never waits for Avahi. The dispatch must outlive it.
class AvahiServiceDiscovery : public ServiceDiscovery, public ServicePublishing
{
public:
    /// More at a time take longer, not shorter: the daemon's replies queue up behind each other.
    static constexpr std::size_t mostResolutionsAtOnce = 64;

    /// How long a silent resolution keeps its place while others wait. Whoever is there answers within a tenth of a second.
    static constexpr std::chrono::milliseconds resolutionTurn{500};

    /// How long the end of a program may wait for `leave`. A goodbye takes a few milliseconds; what a daemon that hangs has announced goes with it.
    static constexpr std::chrono::milliseconds leavingTime{300};

    explicit AvahiServiceDiscovery(Dispatch &dispatch);
    AvahiServiceDiscovery(Dispatch &dispatch, std::unique_ptr<MdnsStack> stack);
    ~AvahiServiceDiscovery() override;
    AvahiServiceDiscovery(const AvahiServiceDiscovery &) = delete;
    AvahiServiceDiscovery &operator=(const AvahiServiceDiscovery &) = delete;

    [[nodiscard]] std::shared_ptr<void> searchForServices(
        const QString &ofType, const QString &inDomain, DidFindService found, DidNotSearch didNotSearch) override;
    [[nodiscard]] std::shared_ptr<void> watchForServices(const QString &ofType, const QString &inDomain, DidFindService found) override;
    [[nodiscard]] std::unique_ptr<PublishedService> publish(const ServiceRegistration &service) override;
    [[nodiscard]] std::shared_ptr<void> resolve(const ServiceInstance &service, std::chrono::milliseconds withTimeout, DidResolve resolved) override;
    /// For the end of the program: withdraws what is announced and ends everything else, and waits at most so long for that. It takes milliseconds as a
    /// rule; a daemon that hangs takes all the time. What is begun behind it works as before.
    void leave(std::chrono::milliseconds patience);

private:
    class Lookups;
    std::shared_ptr<Lookups> m_lookups; // the handles look whether it is still there
};

} // namespace lanterna
