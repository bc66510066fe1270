#pragma once

#include "platform/linux/AvahiBackEnd.h"
#include "platform/linux/AvahiNames.h"
#include "platform/linux/AvahiPublications.h"

#include <avahi-common/address.h>
#include <avahi-common/defs.h>
#include <avahi-common/error.h>
#include <avahi-common/strlst.h>

#include <arpa/inet.h>

#include <climits>
#include <map>

namespace lanterna
{

/// A back end over one of Avahi's two libraries, which differ in little but the names of their types and calls; `Api` holds those.
template <typename Api> class AvahiLookups : public AvahiBackEnd
{
public:
    explicit AvahiLookups(Events events) : m_events(std::move(events)) { }
    AvahiLookups(const AvahiLookups &) = delete;
    AvahiLookups &operator=(const AvahiLookups &) = delete;
    ~AvahiLookups() override
    {
        // It frees its browsers, resolvers and groups, too, and does not wait for a daemon to take note of each.
        if (m_context)
            Api::free(m_context);
    }

    /// Takes over the connection or stack under everything else.
    void setContext(typename Api::Context *context)
    {
        m_context = context;
        m_publications.setContext(context);
    }
    /// Says whether the host has its name: without one nothing is announced.
    void setHostNamed(bool named) { m_publications.setHostNamed(named); }
    void tellHostName(const char *name) { m_events.hostNamed(name); }
    void lose()
    {
        if (m_works)
            m_events.lost();
        m_works = false;
    }

    [[nodiscard]] bool works() const override { return m_works; }

    void search(quint64 id, const QString &ofType, const QString &inDomain) override
    {
        const auto type = nameForAvahi(ofType);
        const auto domain = nameForAvahi(inDomain);
        const auto place = m_searches.try_emplace(id, Search{this, id, nullptr, type.value_or(QByteArray()), domain.value_or(QByteArray())});
        Search &search = place.first->second;
        if (m_works && type && domain)
            search.browser = Api::browse(m_context, search.type.constData(), search.domain.constData(), browserCalled, &search);
        if (search.browser)
            return;
        loseWithConnection();
        endSearch(id);
    }

    void resolve(quint64 id, const ServiceInstance &service) override
    {
        const auto name = nameForAvahi(service.name + u'.'); // a dot at the end of the name itself stays
        const auto type = nameForAvahi(service.type);
        const auto domain = nameForAvahi(service.domain);
        Resolution &resolution = m_resolutions.try_emplace(id, Resolution{this, id, nullptr}).first->second;
        if (m_works && name && type && domain && name->size() <= longestServiceName && service.interfaceIndex <= unsigned(INT_MAX)) {
            const AvahiIfIndex interface = service.interfaceIndex == 0 ? AVAHI_IF_UNSPEC : AvahiIfIndex(service.interfaceIndex);
            resolution.resolver =
                Api::resolve(m_context, interface, name->constData(), type->constData(), domain->constData(), resolverCalled, &resolution);
        }
        if (resolution.resolver)
            return;
        loseWithConnection();
        answer(id, std::nullopt);
    }

    void publish(quint64 id, const ServiceRegistration &service) override
    {
        if (m_works)
            m_publications.publish(id, service);
    }

    void setText(quint64 id, const ServiceText &text) override { m_publications.setText(id, text); }

    void end(quint64 id) override
    {
        m_publications.end(id);
        if (auto search = m_searches.extract(id); search && search.mapped().browser && Api::free(search.mapped().browser) < 0)
            loseWithConnection();
        if (auto resolution = m_resolutions.extract(id); resolution && resolution.mapped().resolver && Api::free(resolution.mapped().resolver) < 0)
            loseWithConnection();
    }

private:
    struct Search {
        AvahiLookups *owner;
        quint64 id;
        typename Api::Browser *browser;
        QByteArray type;
        QByteArray domain;
    };
    struct Resolution {
        AvahiLookups *owner;
        quint64 id;
        typename Api::Resolver *resolver;
    };

    static void browserCalled(typename Api::Browser *, AvahiIfIndex interface, AvahiProtocol, AvahiBrowserEvent event, const char *name,
        const char *type, const char *domain, AvahiLookupResultFlags, void *userData)
    {
        auto *search = static_cast<Search *>(userData);
        if (event == AVAHI_BROWSER_FAILURE) {
            search->owner->endSearch(search->id);
            return;
        }
        if (event != AVAHI_BROWSER_NEW || !name || !type || !domain || interface < 0)
            return;
        // Whoever answers may name a service of any type; what was not asked for is not told.
        if (!isSameName(type, search->type) || !isSameName(domain, search->domain))
            return;
        const QByteArrayView bytes(name);
        if (bytes.size() > longestServiceName)
            return;
        search->owner->m_events.found(search->id,
            {QString::fromUtf8(bytes), withTrailingDot(QString::fromUtf8(search->type)), withTrailingDot(QString::fromUtf8(search->domain)),
                unsigned(interface)});
    }

    static void resolverCalled(typename Api::Resolver *, AvahiIfIndex, AvahiProtocol, AvahiResolverEvent event, const char *, const char *,
        const char *, const char *hostName, const AvahiAddress *address, uint16_t port, AvahiStringList *, AvahiLookupResultFlags, void *userData)
    {
        auto *resolution = static_cast<Resolution *>(userData);
        AvahiLookups *owner = resolution->owner;
        if (event == AVAHI_RESOLVER_FAILURE) {
            // Avahi reports after five seconds that nobody answered, and goes on asking. When to give up is the caller's decision.
            if (Api::error(owner->m_context) != AVAHI_ERR_TIMEOUT)
                owner->answer(resolution->id, std::nullopt);
            return;
        }
        ResolvedService where;
        if (hostName)
            where.hostName = hostNameFromAvahi(hostName).value_or(QString());
        if (address && address->proto == AVAHI_PROTO_INET) {
            if (const auto text = hostAddressText(ntohl(address->data.ipv4.address)))
                where.addresses.append(*text);
        }
        where.port = port;
        owner->answer(resolution->id, where);
    }

    /// A connection that breaks while a call waits for its answer fails that call, and Avahi may never speak of it again. To be looked at only behind a
    /// call that failed: the library leaves an error of the bus behind some that did not.
    void loseWithConnection()
    {
        if (m_works && m_context && Api::isConnectionError(Api::error(m_context)))
            lose();
    }
    void endSearch(quint64 id)
    {
        if (!m_works)
            return;
        end(id);
        m_events.searchEnded(id);
    }
    void answer(quint64 id, const std::optional<ResolvedService> &where)
    {
        if (!m_works)
            return;
        end(id);
        m_events.resolved(id, where);
    }

    Events m_events;
    typename Api::Context *m_context = nullptr;
    bool m_works = true;
    std::map<quint64, Search> m_searches; // both keep their places in memory, which Avahi's callbacks are given
    std::map<quint64, Resolution> m_resolutions;
    AvahiPublications<Api> m_publications{m_events, [this] { loseWithConnection(); }};
};

} // namespace lanterna
