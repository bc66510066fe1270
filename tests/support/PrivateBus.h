#pragma once

#include "tests/support/BusProcess.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QTemporaryDir>

#include <functional>

namespace lanterna
{

/// A message bus of the test's own: a real dbus-daemon on a socket in a temporary folder, without any service that it could start but for one that a
/// test names.
class PrivateBus
{
public:
    /// `activatableName` can be started, by a program that ends at once.
    explicit PrivateBus(const QString &activatableName = {});
    ~PrivateBus();
    PrivateBus(const PrivateBus &) = delete;
    PrivateBus &operator=(const PrivateBus &) = delete;

    [[nodiscard]] const QString &address() const { return m_address; }
    /// A new connection, with its own unique name.
    QDBusConnection connect();
    /// Takes a connection off the bus, as the end of its program would. It must be the last that refers to it.
    void drop(QDBusConnection &connection);
    /// Ends the bus under its clients.
    void kill();

private:
    QTemporaryDir m_folder;
    BusProcess m_daemon;
    QString m_address;
    QStringList m_connections;
};

/// Turns the event loop until the condition holds; false after ten seconds.
bool turnLoopUntil(const std::function<bool()> &condition);
/// Sends a call and turns the event loop until its reply, or the error, is there.
QDBusMessage callAndTurnLoop(const QDBusConnection &from, const QDBusMessage &call);

} // namespace lanterna
