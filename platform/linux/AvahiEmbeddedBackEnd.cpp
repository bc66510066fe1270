#include "platform/linux/AvahiLookups.h"

#include <avahi-core/core.h>
#include <avahi-core/log.h>
#include <avahi-core/lookup.h>
#include <avahi-core/publish.h>

namespace lanterna
{

namespace
{

/// Records that are kept per interface. The library's own 4,096 would be full with about a thousand services, which come as three or four records
/// each, and what does not fit is not told. Looking for a record takes as long as there are others of its name, so there is an end to it.
constexpr unsigned mostCachedRecords = 8192;

struct EmbeddedApi {
    using Context = AvahiServer;
    using Browser = AvahiSServiceBrowser;
    using Resolver = AvahiSServiceResolver;
    using Group = AvahiSEntryGroup;

    // The calls that make and start in one abort the program when the name is not valid, so both are made in two steps.
    static Browser *browse(Context *server, const char *type, const char *domain, AvahiSServiceBrowserCallback callback, void *userData)
    {
        Browser *browser =
            avahi_s_service_browser_prepare(server, AVAHI_IF_UNSPEC, AVAHI_PROTO_INET, type, domain, AVAHI_LOOKUP_USE_MULTICAST, callback, userData);
        if (browser)
            avahi_s_service_browser_start(browser);
        return browser;
    }
    static Resolver *resolve(Context *server, AvahiIfIndex interface, const char *name, const char *type, const char *domain,
        AvahiSServiceResolverCallback callback, void *userData)
    {
        Resolver *resolver = avahi_s_service_resolver_prepare(server, interface, AVAHI_PROTO_INET, name, type, domain, AVAHI_PROTO_INET,
            AvahiLookupFlags(AVAHI_LOOKUP_USE_MULTICAST | AVAHI_LOOKUP_NO_TXT), callback, userData);
        if (resolver)
            avahi_s_service_resolver_start(resolver);
        return resolver;
    }
    static Group *newGroup(Context *server, AvahiGroupListener *listener) { return avahi_s_entry_group_new(server, groupCalled, listener); }
    static int addService(Context *server, Group *group, const AvahiServiceTerms &terms, quint16 port, AvahiStringList *text)
    {
        return avahi_server_add_service_strlst(server, group, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, AvahiPublishFlags(0), terms.name.constData(),
            terms.type.constData(), terms.givenDomain(), nullptr, port, text);
    }
    static int updateText(Context *server, Group *group, const AvahiServiceTerms &terms, AvahiStringList *text)
    {
        return avahi_server_update_service_txt_strlst(server, group, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, AvahiPublishFlags(0),
            terms.name.constData(), terms.type.constData(), terms.givenDomain(), text);
    }
    static int commit(Group *group) { return avahi_s_entry_group_commit(group); }
    static void reset(Group *group) { avahi_s_entry_group_reset(group); }
    static int error(Context *server) { return avahi_server_errno(server); }
    static bool isConnectionError(int) { return false; }
    static void free(Browser *browser) { avahi_s_service_browser_free(browser); }
    static void free(Resolver *resolver) { avahi_s_service_resolver_free(resolver); }
    static void free(Group *group) { avahi_s_entry_group_free(group); }
    static void free(Context *server) { avahi_server_free(server); }

private:
    static void groupCalled(AvahiServer *, AvahiSEntryGroup *, AvahiEntryGroupState state, void *listener)
    {
        static_cast<AvahiGroupListener *>(listener)->groupChanged(state);
    }
};

using EmbeddedLookups = AvahiLookups<EmbeddedApi>;

void serverCalled(AvahiServer *, AvahiServerState state, void *userData)
{
    if (state == AVAHI_SERVER_FAILURE)
        static_cast<EmbeddedLookups *>(userData)->lose();
}

/// What the library would print holds names as the network sent them.
void dropMessage(AvahiLogLevel, const char *) { }

} // namespace

std::unique_ptr<AvahiBackEnd> startEmbeddedAvahi(const AvahiPoll *loop, AvahiBackEnd::Events events)
{
    avahi_set_log_function(dropMessage);
    AvahiServerConfig config;
    avahi_server_config_init(&config);
    config.use_ipv4 = 1;
    config.use_ipv6 = 0;
    config.deny_interfaces = avahi_string_list_new("lo", nullptr);
    // The first would do alone: it refuses each record, those for "localhost" included, which no other switch covers.
    config.disable_publishing = 1;
    config.publish_hinfo = 0;
    config.publish_addresses = 0;
    config.publish_workstation = 0;
    config.publish_domain = 0;
    config.enable_reflector = 0;
    config.enable_wide_area = 0;
    config.disallow_other_stacks = 0; // other programs may have stacks, too, and they all hear the answers
    config.n_cache_entries_max = mostCachedRecords;
    auto lookups = std::make_unique<EmbeddedLookups>(std::move(events));
    AvahiServer *server = avahi_server_new(loop, &config, serverCalled, lookups.get(), nullptr);
    avahi_server_config_free(&config);
    if (!server)
        return nullptr;
    lookups->setContext(server);
    return lookups;
}

} // namespace lanterna
