#include "platform/linux/AvahiBus.h"

#include <dbus/dbus.h>

#include <chrono>
#include <cstdlib>
#include <string_view>

namespace lanterna
{

namespace
{

constexpr const char *daemonName = "org.freedesktop.Avahi";
constexpr const char *ownerChange = "NameOwnerChanged";
constexpr const char *ownerChangeOfDaemon = "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',member='NameOwnerChanged',"
                                            "arg0='org.freedesktop.Avahi'";
constexpr const char *usualSystemBus = "unix:path=/var/run/dbus/system_bus_socket"; // in the D-Bus specification, "Well-known Message Bus Instances"
/// How long the bus may take for each of its answers.
constexpr std::chrono::milliseconds busTimeout{2000};

struct DropCall {
    void operator()(DBusPendingCall *call) const { dbus_pending_call_unref(call); }
};

} // namespace

void CloseBusConnection::operator()(DBusConnection *bus) const
{
    dbus_connection_close(bus);
    dbus_connection_unref(bus);
}

void DropBusMessage::operator()(DBusMessage *message) const
{
    dbus_message_unref(message);
}

BusConnection openSystemBus()
{
    const char *given = std::getenv("DBUS_SYSTEM_BUS_ADDRESS"); // NOLINT(concurrency-mt-unsafe): nobody sets it any more
    BusConnection bus(dbus_connection_open_private(given && *given ? given : usualSystemBus, nullptr));
    return bus && askBus(bus.get(), "Hello", nullptr) ? std::move(bus) : nullptr;
}

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

bool isAvahiOnBus(DBusConnection *bus)
{
    const BusMessage reply = askBus(bus, "NameHasOwner", daemonName);
    dbus_bool_t runs = FALSE;
    return reply && dbus_message_get_args(reply.get(), nullptr, DBUS_TYPE_BOOLEAN, &runs, DBUS_TYPE_INVALID) && runs;
}

bool askForAvahisComing(DBusConnection *bus)
{
    return askBus(bus, "AddMatch", ownerChangeOfDaemon) != nullptr;
}

bool isAvahisComing(DBusMessage *message)
{
    const char *name = nullptr;
    const char *before = nullptr;
    const char *now = nullptr;
    return dbus_message_is_signal(message, DBUS_INTERFACE_DBUS, ownerChange)
        && dbus_message_get_args(message, nullptr, DBUS_TYPE_STRING, &name, DBUS_TYPE_STRING, &before, DBUS_TYPE_STRING, &now, DBUS_TYPE_INVALID)
        && std::string_view(name) == daemonName && *now != '\0';
}

} // namespace lanterna
