#include "platform/linux/AvahiLibraries.h"
#include "platform/linux/AvahiLookups.h"

#include <dbus/dbus.h>

#include <chrono>
#include <cstdlib>

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
    static void free(Browser *browser) { clientLibrary().serviceBrowserFree(browser); }
    static void free(Resolver *resolver) { clientLibrary().serviceResolverFree(resolver); }
    static void free(Group *group) { clientLibrary().entryGroupFree(group); }
    static void free(Context *client) { clientLibrary().clientFree(client); }

private:
    static void groupCalled(AvahiEntryGroup *, AvahiEntryGroupState state, void *listener)
    {
        static_cast<AvahiGroupListener *>(listener)->groupChanged(state);
    }
};

using DaemonLookups = AvahiLookups<DaemonApi>;

constexpr const char *daemonName = "org.freedesktop.Avahi";
constexpr const char *usualSystemBus = "unix:path=/var/run/dbus/system_bus_socket"; // in the D-Bus specification, "Well-known Message Bus Instances"
/// How long the bus may take for each of its answers. It takes well under a millisecond.
constexpr std::chrono::milliseconds busTimeout{2000};

struct CloseConnection {
    void operator()(DBusConnection *bus) const
    {
        dbus_connection_close(bus);
        dbus_connection_unref(bus);
    }
};
struct DropMessage {
    void operator()(DBusMessage *message) const { dbus_message_unref(message); }
};
using BusConnection = std::unique_ptr<DBusConnection, CloseConnection>;
using BusMessage = std::unique_ptr<DBusMessage, DropMessage>;
struct DropCall {
    void operator()(DBusPendingCall *call) const { dbus_pending_call_unref(call); }
};

/// The bus's own answer to a call; none when it does not answer in time, or with an error.
BusMessage askBus(DBusConnection *bus, const char *method, const char *argument)
{
    const BusMessage call(dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, method));
    if (!call || (argument && !dbus_message_append_args(call.get(), DBUS_TYPE_STRING, &argument, DBUS_TYPE_INVALID)))
        return nullptr;
    // The library's own blocking call waits without end while a bus that hangs does not let it in.
    DBusPendingCall *sent = nullptr;
    if (!dbus_connection_send_with_reply(bus, call.get(), &sent, DBUS_TIMEOUT_INFINITE) || !sent)
        return nullptr;
    const std::unique_ptr<DBusPendingCall, DropCall> pending(sent);
    const auto deadline = std::chrono::steady_clock::now() + busTimeout;
    while (!dbus_pending_call_get_completed(sent)) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0 || !dbus_connection_read_write_dispatch(bus, int(left.count())))
            return nullptr;
    }
    BusMessage reply(dbus_pending_call_steal_reply(sent));
    return reply && dbus_message_get_type(reply.get()) == DBUS_MESSAGE_TYPE_METHOD_RETURN ? std::move(reply) : nullptr;
}

/// Whether the daemon is on the system bus. Connecting to one that is not would have the bus start it, even where the administrator stopped it.
bool daemonRuns()
{
    const char *given = std::getenv("DBUS_SYSTEM_BUS_ADDRESS"); // NOLINT(concurrency-mt-unsafe): nobody sets it any more
    const BusConnection bus(dbus_connection_open_private(given && *given ? given : usualSystemBus, nullptr));
    if (!bus || !askBus(bus.get(), "Hello", nullptr))
        return false;
    const BusMessage reply = askBus(bus.get(), "NameHasOwner", daemonName);
    dbus_bool_t runs = FALSE;
    return reply && dbus_message_get_args(reply.get(), nullptr, DBUS_TYPE_BOOLEAN, &runs, DBUS_TYPE_INVALID) && runs;
}

void clientCalled(AvahiClient *, AvahiClientState state, void *userData)
{
    auto *lookups = static_cast<DaemonLookups *>(userData);
    switch (state) {
    case AVAHI_CLIENT_FAILURE: // the daemon left the bus, or the bus its clients
        lookups->lose();
        break;
    case AVAHI_CLIENT_S_RUNNING:
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
    if (!AvahiClientLibrary::loaded() || !daemonRuns())
        return nullptr;
    auto lookups = std::make_unique<DaemonLookups>(std::move(events));
    AvahiClient *client = clientLibrary().clientNew(loop, AvahiClientFlags(0), clientCalled, lookups.get(), nullptr);
    if (!client)
        return nullptr;
    lookups->setContext(client);
    return lookups;
}

} // namespace lanterna
