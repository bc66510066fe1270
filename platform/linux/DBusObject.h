#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QVariantMap>

namespace lanterna
{

/// An object on the bus with one interface of its own: answers Properties, and leaves the interface's methods to its kind.
///
/// The interface is written out as introspection text, so that exactly these signatures go out. Every call is checked against the signature before
/// its arguments are touched; whatever else arrives gets an error reply.
class DBusObject : public QDBusVirtualObject
{
public:
    DBusObject(const QDBusConnection &bus, const QString &path, const QString &interface, const QString &introspection);
    ~DBusObject() override;

    QString introspect(const QString &path) const override;
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

protected:
    /// All properties of the interface, each in its D-Bus type.
    [[nodiscard]] virtual QVariantMap busProperties() const = 0;
    /// One method call of the interface. Answers through `reply` or `replyError`; false for methods or signatures that do not exist.
    virtual bool handleCall(const QDBusMessage &message) = 0;

    void reply(const QDBusMessage &call, const QVariantList &arguments = {});
    void replyError(const QDBusMessage &call, QDBusError::ErrorType type, const QString &text);
    void sendSignal(const QString &name, const QVariantList &arguments = {});

private:
    bool handleProperties(const QDBusMessage &message);

    QDBusConnection m_bus;
    QString m_path;
    QString m_interface;
    QString m_introspection;
};

} // namespace lanterna
