#pragma once

#include <memory>

struct DBusConnection;
struct DBusMessage;

namespace lanterna
{

// The system bus, as far as it knows whether avahi-daemon runs. For the thread of an `AvahiLoop`, in connections that nobody else sees. The bus may take
// two seconds for each of its answers; it takes well under a millisecond.

struct CloseBusConnection {
    void operator()(DBusConnection *bus) const;
};
struct DropBusMessage {
    void operator()(DBusMessage *message) const;
};
using BusConnection = std::unique_ptr<DBusConnection, CloseBusConnection>;
using BusMessage = std::unique_ptr<DBusMessage, DropBusMessage>;

/// A connection of its own. None where there is no bus, or none that answers in time.
BusConnection openSystemBus();
/// The bus's own answer to a call with at most one text; none when it does not answer in time, or with an error.
BusMessage askBus(DBusConnection *bus, const char *method, const char *argument);
/// Whether the daemon is on the bus.
bool isAvahiOnBus(DBusConnection *bus);
/// Has the bus tell when the daemon comes and goes (`isAvahisComing`). False when it does not answer.
bool askForAvahisComing(DBusConnection *bus);
/// Whether a message says that the daemon has come.
bool isAvahisComing(DBusMessage *message);

} // namespace lanterna
