#include "platform/linux/AvahiLibraries.h"
#include "platform/linux/AvahiLookups.h"

#include <avahi-common/alternative.h>
#include <avahi-common/malloc.h>

#include <array>
#include <climits>

#include <unistd.h>

namespace lanterna
{

namespace
{

/// Records that are kept per interface. The library's own 4,096 would be full with about a thousand services, which come as three or four records
/// each, and what does not fit is not told. Looking for a record takes as long as there are others of its name, so there is an end to it.
constexpr unsigned mostCachedRecords = 8192;

/// Nobody gets here without it.
const AvahiCoreLibrary &coreLibrary()
{
    return *AvahiCoreLibrary::loaded();
}

struct EmbeddedApi {
    using Context = AvahiServer;
    using Browser = AvahiSServiceBrowser;
    using Resolver = AvahiSServiceResolver;
    using Group = AvahiSEntryGroup;

    // The calls that make and start in one abort the program when the name is not valid, so both are made in two steps.
    static Browser *browse(Context *server, const char *type, const char *domain, AvahiSServiceBrowserCallback callback, void *userData)
    {
        Browser *browser = coreLibrary().sServiceBrowserPrepare(
            server, AVAHI_IF_UNSPEC, AVAHI_PROTO_INET, type, domain, AVAHI_LOOKUP_USE_MULTICAST, callback, userData);
        if (browser)
            coreLibrary().sServiceBrowserStart(browser);
        return browser;
    }
    static Resolver *resolve(Context *server, AvahiIfIndex interface, const char *name, const char *type, const char *domain,
        AvahiSServiceResolverCallback callback, void *userData)
    {
        Resolver *resolver = coreLibrary().sServiceResolverPrepare(server, interface, AVAHI_PROTO_INET, name, type, domain, AVAHI_PROTO_INET,
            AvahiLookupFlags(AVAHI_LOOKUP_USE_MULTICAST | AVAHI_LOOKUP_NO_TXT), callback, userData);
        if (resolver)
            coreLibrary().sServiceResolverStart(resolver);
        return resolver;
    }
    static Group *newGroup(Context *server, AvahiGroupListener *listener) { return coreLibrary().sEntryGroupNew(server, groupCalled, listener); }
    static int addService(Context *server, Group *group, const AvahiServiceTerms &terms, quint16 port, AvahiStringList *text)
    {
        return coreLibrary().serverAddServiceStrlst(server, group, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, AvahiPublishFlags(0), terms.name.constData(),
            terms.type.constData(), terms.givenDomain(), nullptr, port, text);
    }
    static int updateText(Context *server, Group *group, const AvahiServiceTerms &terms, AvahiStringList *text)
    {
        return coreLibrary().serverUpdateServiceTxtStrlst(server, group, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, AvahiPublishFlags(0),
            terms.name.constData(), terms.type.constData(), terms.givenDomain(), text);
    }
    static int commit(Group *group) { return coreLibrary().sEntryGroupCommit(group); }
    static void reset(Group *group) { coreLibrary().sEntryGroupReset(group); }
    static int error(Context *server) { return coreLibrary().serverErrno(server); }
    static bool isConnectionError(int) { return false; }
    static int free(Browser *browser)
    {
        coreLibrary().sServiceBrowserFree(browser);
        return 0;
    }
    static int free(Resolver *resolver)
    {
        coreLibrary().sServiceResolverFree(resolver);
        return 0;
    }
    static int free(Group *group)
    {
        coreLibrary().sEntryGroupFree(group);
        return 0;
    }
    static void free(Context *server) { coreLibrary().serverFree(server); }

private:
    static void groupCalled(AvahiServer *, AvahiSEntryGroup *, AvahiEntryGroupState state, void *listener)
    {
        static_cast<AvahiGroupListener *>(listener)->groupChanged(state);
    }
};

using EmbeddedLookups = AvahiLookups<EmbeddedApi>;

/// Gives the host another name; another host has its own. False when Avahi has none.
bool renameHost(AvahiServer *server)
{
    char *name = avahi_alternative_host_name(coreLibrary().serverGetHostName(server));
    const bool renamed = name && coreLibrary().serverSetHostName(server, name) >= 0;
    avahi_free(name);
    return renamed;
}

void serverCalled(AvahiServer *server, AvahiServerState state, void *userData)
{
    auto *lookups = static_cast<EmbeddedLookups *>(userData);
    switch (state) {
    case AVAHI_SERVER_FAILURE:
        lookups->lose();
        break;
    case AVAHI_SERVER_RUNNING:
        lookups->setHostNamed(true);
        break;
    case AVAHI_SERVER_COLLISION:
        lookups->setHostNamed(false);
        if (!renameHost(server))
            lookups->lose();
        break;
    case AVAHI_SERVER_REGISTERING:
        lookups->setHostNamed(false);
        break;
    case AVAHI_SERVER_INVALID:
        break;
    }
}

QByteArray systemHostName()
{
    std::array<char, HOST_NAME_MAX + 1> name{};
    gethostname(name.data(), name.size() - 1);
    return name.data();
}

/// What the library would print holds names as the network sent them.
void dropMessage(AvahiLogLevel, const char *) { }

} // namespace

std::unique_ptr<AvahiBackEnd> startEmbeddedAvahi(const AvahiPoll *loop, MdnsRole role, const QByteArray &hostName, AvahiBackEnd::Events events)
{
    if (!AvahiCoreLibrary::loaded())
        return nullptr;
    coreLibrary().setLogFunction(dropMessage);
    AvahiServerConfig config;
    coreLibrary().serverConfigInit(&config);
    const int responds = role == MdnsRole::responder ? 1 : 0;
    avahi_free(config.host_name);
    config.host_name = avahi_strdup((hostName.isEmpty() ? announcedHostLabel(systemHostName()) : hostName).constData());
    config.use_ipv4 = 1;
    config.use_ipv6 = responds;
    config.deny_interfaces = avahi_string_list_new("lo", nullptr);
    // The first would do alone: it refuses each record, those for "localhost" included, which no other switch covers. A responder has these, and
    // `mayReachMdnsStack` keeps the questions for them from it.
    config.disable_publishing = 1 - responds;
    config.publish_addresses = responds;
    config.publish_hinfo = 0;
    config.publish_workstation = 0;
    config.publish_domain = 0;
    config.enable_reflector = 0;
    config.enable_wide_area = 0;
    config.disallow_other_stacks = 0; // other programs may have stacks, too, and they all hear the answers
    config.n_cache_entries_max = mostCachedRecords;
    auto lookups = std::make_unique<EmbeddedLookups>(std::move(events));
    AvahiServer *server = coreLibrary().serverNew(loop, &config, serverCalled, lookups.get(), nullptr);
    coreLibrary().serverConfigFree(&config);
    if (!server)
        return nullptr;
    lookups->setContext(server);
    return lookups;
}

} // namespace lanterna
