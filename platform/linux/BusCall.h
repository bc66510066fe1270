#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>

#include <chrono>
#include <functional>

namespace lanterna
{

/// How long another program on the bus may take. Longer than a busy desktop needs at login, shorter than a person waits.
constexpr std::chrono::milliseconds busTimeout{5000};

/// Sends a call and hands its reply, or the error message, to `done` on the main thread. Never blocks. Nothing is delivered once `context` is gone.
/// A dead bus and a silent program answer with an error as well.
void callBus(const QDBusConnection &bus, const QDBusMessage &call, QObject *context, std::function<void(const QDBusMessage &reply)> done,
    std::chrono::milliseconds timeout = busTimeout);

/// A call to the bus itself (org.freedesktop.DBus).
QDBusMessage busDaemonCall(const QString &method, const QVariantList &arguments = {});
/// A read of one property.
QDBusMessage propertyGetCall(const QString &service, const QString &path, const QString &interface, const QString &property);

/// Receives one kind of signal for as long as it lives. Main thread only.
///
/// Matches any sender (a match on a well-known name would ask the bus for its owner and wait): the handler looks at `message.service()`, the
/// sender's unique name, where the sender matters.
class BusSignal : public QObject
{
    Q_OBJECT
public:
    BusSignal(const QDBusConnection &bus, const QString &path, const QString &interface, const QString &name,
        std::function<void(const QDBusMessage &signal)> handler, QObject *parent = nullptr);
    ~BusSignal() override;

private:
    Q_SLOT void deliver(const QDBusMessage &signal);

    QDBusConnection m_bus;
    QString m_path;
    QString m_interface;
    QString m_name;
    std::function<void(const QDBusMessage &)> m_handler;
};

} // namespace lanterna
