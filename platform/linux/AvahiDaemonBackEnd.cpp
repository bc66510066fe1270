#include "platform/linux/AvahiBus.h"
#include "platform/linux/AvahiLibraries.h"
#include "platform/linux/AvahiLookups.h"

namespace lanterna
{

namespace
{

/// Nobody gets here without it.
const AvahiClientLibrary &clientLibrary()
{
    return *AvahiClientLibrary::loaded();
}

struct DaemonApi {
    using Context = AvahiClient;
    using Browser = AvahiServiceBrowser;
    using Resolver = AvahiServiceResolver;
    using Group = AvahiEntryGroup;

    static Browser *browse(Context *client, const char *type, const char *domain, AvahiServiceBrowserCallback callback, void *userData)
    {
        return clientLibrary().serviceBrowserNew(
            client, AVAHI_IF_UNSPEC, AVAHI_PROTO_INET, type, domain, AVAHI_LOOKUP_USE_MULTICAST, callback, userData);
    }
    static Resolver *resolve(Context *client, AvahiIfIndex interface, const char *name, const char *type, const char *domain,
        AvahiServiceResolverCallback callback, void *userData)
    {
        return clientLibrary().serviceResolverNew(client, interface, AVAHI_PROTO_INET, name, type, domain, AVAHI_PROTO_INET,
            AvahiLookupFlags(AVAHI_LOOKUP_USE_MULTICAST | AVAHI_LOOKUP_NO_TXT), callback, userData);
    }
    static Group *newGroup(Context *client, AvahiGroupListener *listener) { return clientLibrary().entryGroupNew(client, groupCalled, listener); }
    static int addService(Context *, Group *group, const AvahiServiceTerms &terms, quint16 port, AvahiStringList *text)
    {
        return clientLibrary().entryGroupAddServiceStrlst(group, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, AvahiPublishFlags(0), terms.name.constData(),
            terms.type.constData(), terms.givenDomain(), nullptr, port, text);
    }
    static int updateText(Context *, Group *group, const AvahiServiceTerms &terms, AvahiStringList *text)
    {
        return clientLibrary().entryGroupUpdateServiceTxtStrlst(group, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, AvahiPublishFlags(0),
            terms.name.constData(), terms.type.constData(), terms.givenDomain(), text);
    }
    static int commit(Group *group) { return clientLibrary().entryGroupCommit(group); }
    static void reset(Group *group) { clientLibrary().entryGroupReset(group); }
    static int error(Context *client) { return clientLibrary().clientErrno(client); }
    static bool isConnectionError(int error)
    {
        return error == AVAHI_ERR_DBUS_ERROR || error == AVAHI_ERR_DISCONNECTED || error == AVAHI_ERR_NO_DAEMON || error == AVAHI_ERR_BAD_STATE;
    }
    static int free(Browser *browser) { return clientLibrary().serviceBrowserFree(browser); }
    static int free(Resolver *resolver) { return clientLibrary().serviceResolverFree(resolver); }
    static int free(Group *group) { return clientLibrary().entryGroupFree(group); }
    static void free(Context *client) { clientLibrary().clientFree(client); }

private:
    static void groupCalled(AvahiEntryGroup *, AvahiEntryGroupState state, void *listener)
    {
        static_cast<AvahiGroupListener *>(listener)->groupChanged(state);
    }
};

using DaemonLookups = AvahiLookups<DaemonApi>;

void clientCalled(AvahiClient *client, AvahiClientState state, void *userData)
{
    auto *lookups = static_cast<DaemonLookups *>(userData);
    switch (state) {
    case AVAHI_CLIENT_FAILURE: // the daemon left the bus, or the bus its clients
        lookups->lose();
        break;
    case AVAHI_CLIENT_S_RUNNING:
        if (const char *name = clientLibrary().clientGetHostName(client))
            lookups->tellHostName(name);
        lookups->setHostNamed(true);
        break;
    case AVAHI_CLIENT_S_REGISTERING: // the daemon looks for another name of its host
    case AVAHI_CLIENT_S_COLLISION:
        lookups->setHostNamed(false);
        break;
    case AVAHI_CLIENT_CONNECTING:
        break;
    }
}

} // namespace

std::unique_ptr<AvahiBackEnd> connectToAvahiDaemon(const AvahiPoll *loop, AvahiBackEnd::Events events)
{
    // Connecting to a daemon that is not on the bus would have the bus start it, even where the administrator stopped it.
    const BusConnection bus = openSystemBus();
    if (!AvahiClientLibrary::loaded() || !bus || !isAvahiOnBus(bus.get()))
        return nullptr;
    auto lookups = std::make_unique<DaemonLookups>(std::move(events));
    AvahiClient *client = clientLibrary().clientNew(loop, AvahiClientFlags(0), clientCalled, lookups.get(), nullptr);
    if (!client)
        return nullptr;
    lookups->setContext(client);
    return lookups;
}

} // namespace lanterna
