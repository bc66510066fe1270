#pragma once

#include "platform/ServiceDiscovery.h"
#include "platform/ServicePublishing.h"
#include "platform/linux/MdnsPacket.h"

#include <avahi-common/watch.h>

namespace lanterna
{

/// One of the two ways in which Avahi looks things up and announces them. Lives on the thread of an `AvahiLoop`, callbacks included.
///
/// Only multicast is used, and for looking up only IPv4: addresses of that kind are all that the port hands on, and hosts tell them over it.
class AvahiBackEnd
{
public:
    struct Events {
        std::function<void(quint64 search, const ServiceInstance &service)> found; ///< again when it went and came back
        std::function<void(quint64 search)> searchEnded;
        std::function<void(quint64 resolution, const std::optional<ResolvedService> &where)> resolved;
        std::function<void(quint64 publication, const QString &name)> renamed; ///< another host has its name; it goes on under this one
        std::function<void(quint64 publication)> publishingFailed; ///< is not announced, and not by itself later
        std::function<void(const QByteArray &name)> hostNamed; ///< the name under which the daemon announces this host
        std::function<void()> lost; ///< it works no more; to be destroyed, but not from inside the call
    };

    virtual ~AvahiBackEnd() = default;

    /// False once it was lost; it never works again, and what is open then has not ended: it can go on over another.
    [[nodiscard]] virtual bool works() const = 0;
    virtual void search(quint64 id, const QString &ofType, const QString &inDomain) = 0;
    virtual void resolve(quint64 id, const ServiceInstance &service) = 0;
    /// Announces a service that `isAnnounceable`, as soon as the host has a name.
    virtual void publish(quint64 id, const ServiceRegistration &service) = 0;
    virtual void setText(quint64 id, const ServiceText &text) = 0;
    virtual void end(quint64 id) = 0;
};

/// The machine's avahi-daemon, over the system message bus. None where there is no bus or no daemon; none is started. It waits for the daemon's answers: as a rule
/// under a millisecond each, 25 s when the daemon hangs.
std::unique_ptr<AvahiBackEnd> connectToAvahiDaemon(const AvahiPoll *loop, AvahiBackEnd::Events events);

/// An mDNS stack of the program's own, beside which no daemon may be used. An asker announces nothing, not even the host's name; only a responder can
/// announce services, and it announces the host's name and addresses with them: `hostName`, one label that
/// Avahi takes, or the system's where that is empty. None when the network refuses it.
std::unique_ptr<AvahiBackEnd> startEmbeddedAvahi(const AvahiPoll *loop, MdnsRole role, const QByteArray &hostName, AvahiBackEnd::Events events);

} // namespace lanterna
