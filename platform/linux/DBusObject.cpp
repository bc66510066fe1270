#include "platform/linux/DBusObject.h"

#include <QDBusError>
#include <QDBusVariant>

namespace lanterna
{

DBusObject::DBusObject(const QDBusConnection &bus, const QString &path, const QString &interface, const QString &introspection)
    : m_bus(bus), m_path(path), m_interface(interface), m_introspection(introspection)
{
    m_bus.registerVirtualObject(m_path, this);
}

DBusObject::~DBusObject()
{
    m_bus.unregisterObject(m_path);
}

QString DBusObject::introspect(const QString &path) const
{
    return path == m_path ? m_introspection : QString();
}

bool DBusObject::handleMessage(const QDBusMessage &message, const QDBusConnection &)
{
    if (message.type() != QDBusMessage::MethodCallMessage || message.path() != m_path)
        return false;
    if (message.interface() == QLatin1String("org.freedesktop.DBus.Properties"))
        return handleProperties(message);
    // A call may leave the interface out.
    if (message.interface() == m_interface || message.interface().isEmpty())
        return handleCall(message);
    return false;
}

bool DBusObject::handleProperties(const QDBusMessage &message)
{
    const QString member = message.member();
    const QString signature = message.signature();
    if (member == QLatin1String("GetAll") && signature == QLatin1String("s")) {
        const QString interface = message.arguments().at(0).toString();
        reply(message, {interface == m_interface || interface.isEmpty() ? busProperties() : QVariantMap()});
        return true;
    }
    if (member == QLatin1String("Get") && signature == QLatin1String("ss")) {
        const QString interface = message.arguments().at(0).toString();
        const QString name = message.arguments().at(1).toString();
        const QVariantMap properties = interface == m_interface || interface.isEmpty() ? busProperties() : QVariantMap();
        if (const auto found = properties.constFind(name); found != properties.cend())
            reply(message, {QVariant::fromValue(QDBusVariant(*found))});
        else
            replyError(message, QDBusError::UnknownProperty, QStringLiteral("there is no such property"));
        return true;
    }
    if (member == QLatin1String("Set") && signature == QLatin1String("ssv")) {
        replyError(message, QDBusError::PropertyReadOnly, QStringLiteral("the properties are read-only"));
        return true;
    }
    return false;
}

void DBusObject::reply(const QDBusMessage &call, const QVariantList &arguments)
{
    if (call.isReplyRequired())
        m_bus.send(call.createReply(arguments));
}

void DBusObject::replyError(const QDBusMessage &call, QDBusError::ErrorType type, const QString &text)
{
    if (call.isReplyRequired())
        m_bus.send(call.createErrorReply(type, text));
}

void DBusObject::sendSignal(const QString &name, const QVariantList &arguments)
{
    QDBusMessage signal = QDBusMessage::createSignal(m_path, m_interface, name);
    signal.setArguments(arguments);
    m_bus.send(signal);
}

} // namespace lanterna
