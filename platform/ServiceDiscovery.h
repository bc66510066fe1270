#pragma once

#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace lanterna
{

/// One announced service, as found by browsing.
struct ServiceInstance {
    QString name; ///< what people read, unescaped; may hold anything, control characters too
    QString type; ///< "_ipp._tcp."
    QString domain; ///< "local."
    unsigned interfaceIndex = 0; ///< where it was heard

    bool operator==(const ServiceInstance &) const = default;
};

/// Where a service is.
struct ResolvedService {
    QString hostName; ///< "printer.local.", unescaped, with the trailing dot; may be empty
    QStringList addresses; ///< dotted IPv4 text, in the order of arrival; may be empty
    quint16 port = 0; ///< where it listens; 0 for nowhere
};

/// Finds services over multicast DNS. Main thread only: calls and callbacks. Dropping a handle ends its search or resolution, and its callback is
/// not called any more. No callback comes from inside a call; none is empty. What comes from the network is bounded in length and number, and nothing else about it is promised.
class ServiceDiscovery
{
public:
    using DidFindService = std::function<void(const ServiceInstance &service)>;
    using DidNotSearch = std::function<void()>;
    using DidResolve = std::function<void(const std::optional<ResolvedService> &where)>;

    virtual ~ServiceDiscovery() = default;

    /// Searches for services of a type ("_ipp._tcp.") in a domain ("local."), for as long as the handle is kept. Each service is told once per
    /// interface on which it is heard. `didNotSearch` comes at most once, when searching is impossible or has ended by itself.
    [[nodiscard]] virtual std::shared_ptr<void> searchForServices(
        const QString &ofType, const QString &inDomain, DidFindService found, DidNotSearch didNotSearch) = 0;
    /// Searches in the background for as long as the handle is kept, for hours: it goes on whatever becomes of the machine's mDNS daemon, and belongs
    /// to no pass. An empty domain stands for the system's default domains.
    [[nodiscard]] virtual std::shared_ptr<void> watchForServices(const QString &ofType, const QString &inDomain, DidFindService found) = 0;
    /// Asks where a service is. The answer comes once: none when nobody answered in time.
    [[nodiscard]] virtual std::shared_ptr<void> resolve(
        const ServiceInstance &service, std::chrono::milliseconds withTimeout, DidResolve resolved) = 0;
};

} // namespace lanterna
