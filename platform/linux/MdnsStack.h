#pragma once

#include "platform/ServiceDiscovery.h"
#include "platform/ServicePublishing.h"

#include <memory>

namespace lanterna
{

/// What a stack tells. Main thread only.
class MdnsListener
{
public:
    virtual ~MdnsListener() = default;
    virtual void found(quint64 search, const ServiceInstance &service) = 0;
    /// The search cannot be made, or has ended by itself. It is told at most once for each, and never for one that stands.
    virtual void searchEnded(quint64 search) = 0;
    /// The answer to a resolution; none when it cannot be made or has ended by itself. Told at most once for each; while nobody answers, not at all.
    virtual void resolved(quint64 resolution, const std::optional<ResolvedService> &where) = 0;
};

/// Multicast DNS as `AvahiServiceDiscovery` sees it: searches, resolutions and publications under numbers that it gives, each of them once. Main thread
/// only. Calls return at once, and nothing is told from inside a call.
class MdnsStack
{
public:
    virtual ~MdnsStack() = default;

    /// Whom to tell; gone means nobody.
    virtual void setListener(std::weak_ptr<MdnsListener> listener) = 0;
    /// A pass begins: looks anew how the machine speaks mDNS. What is open goes on, if need be over another way.
    virtual void beginPass() = 0;
    virtual void search(quint64 id, const QString &ofType, const QString &inDomain) = 0;
    virtual void resolve(quint64 id, const ServiceInstance &service) = 0;
    /// A search that stands: it belongs to no pass, and goes on again as soon as that is possible, whatever has ended it.
    virtual void watch(quint64 id, const QString &ofType, const QString &inDomain) = 0;
    /// Announces a service that `isAnnounceable`. It stands, too, and keeps the name that it gets when another host has its own.
    virtual void publish(quint64 id, const ServiceRegistration &service) = 0;
    /// Replaces the TXT record of a publication.
    virtual void setText(quint64 id, const ServiceText &text) = 0;
    /// Ends a search, resolution or publication, also one that has told its end already.
    virtual void end(quint64 id) = 0;
    /// Nothing is open: leaves the network.
    virtual void rest() = 0;
    /// Ends everything that is open, with a word to the network for what was announced, and waits for that as long as told at most. The one call that waits.
    virtual void leave(std::chrono::milliseconds patience) = 0;
};

} // namespace lanterna
