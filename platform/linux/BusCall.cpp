#include "platform/linux/BusCall.h"

#include <QDBusError>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>

#include <utility>

namespace lanterna
{

void callBus(const QDBusConnection &bus, const QDBusMessage &call, QObject *context, std::function<void(const QDBusMessage &reply)> done,
    std::chrono::milliseconds timeout)
{
    if (!bus.isConnected()) {
        // A call that cannot be sent never reports back by itself.
        const QDBusMessage error = QDBusMessage::createError(QDBusError::Disconnected, QStringLiteral("there is no bus"));
        QMetaObject::invokeMethod(
            context, [done = std::move(done), error] { done(error); }, Qt::QueuedConnection);
        return;
    }
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, static_cast<int>(timeout.count())), context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context, [done = std::move(done)](QDBusPendingCallWatcher *finished) {
        finished->deleteLater();
        done(finished->reply());
    });
}

QDBusMessage busDaemonCall(const QString &method, const QVariantList &arguments)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"), QStringLiteral("org.freedesktop.DBus"), method);
    call.setArguments(arguments);
    return call;
}

QDBusMessage propertyGetCall(const QString &service, const QString &path, const QString &interface, const QString &property)
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    call.setArguments({interface, property});
    return call;
}

BusSignal::BusSignal(const QDBusConnection &bus, const QString &path, const QString &interface, const QString &name,
    std::function<void(const QDBusMessage &signal)> handler, QObject *parent)
    : QObject(parent), m_bus(bus), m_path(path), m_interface(interface), m_name(name), m_handler(std::move(handler))
{
    m_bus.connect(QString(), m_path, m_interface, m_name, this, SLOT(deliver(QDBusMessage)));
}

BusSignal::~BusSignal()
{
    m_bus.disconnect(QString(), m_path, m_interface, m_name, this, SLOT(deliver(QDBusMessage)));
}

void BusSignal::deliver(const QDBusMessage &signal)
{
    m_handler(signal);
}

} // namespace lanterna
