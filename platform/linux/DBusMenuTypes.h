#pragma once

#include <QDBusArgument>
#include <QDBusVariant>
#include <QList>
#include <QMetaType>
#include <QStringList>
#include <QVariantMap>

namespace lanterna
{

/// A row with its children, `(ia{sv}av)`.
struct DBusMenuLayout {
    int id = 0;
    QVariantMap properties;
    QList<DBusMenuLayout> children;
};

/// A row's properties, `(ia{sv})`.
struct DBusMenuRowProperties {
    int id = 0;
    QVariantMap properties;
};

/// Names of a row's properties that are back at their default, `(ias)`.
struct DBusMenuRemovedProperties {
    int id = 0;
    QStringList names;
};

/// Something that happened to a row, `(isvu)`.
struct DBusMenuEvent {
    int id = 0;
    QString name;
    QDBusVariant data;
    quint32 timestamp = 0;
};

QDBusArgument &operator<<(QDBusArgument &argument, const DBusMenuLayout &layout);
const QDBusArgument &operator>>(const QDBusArgument &argument, DBusMenuLayout &layout);
QDBusArgument &operator<<(QDBusArgument &argument, const DBusMenuRowProperties &row);
const QDBusArgument &operator>>(const QDBusArgument &argument, DBusMenuRowProperties &row);
QDBusArgument &operator<<(QDBusArgument &argument, const DBusMenuRemovedProperties &row);
const QDBusArgument &operator>>(const QDBusArgument &argument, DBusMenuRemovedProperties &row);
QDBusArgument &operator<<(QDBusArgument &argument, const DBusMenuEvent &event);
const QDBusArgument &operator>>(const QDBusArgument &argument, DBusMenuEvent &event);

/// Makes the types known to QtDBus; needed once before the first of them is sent or read. Repeated calls do no harm.
void registerDBusMenuTypes();

} // namespace lanterna

Q_DECLARE_METATYPE(lanterna::DBusMenuLayout)
Q_DECLARE_METATYPE(lanterna::DBusMenuRowProperties)
Q_DECLARE_METATYPE(lanterna::DBusMenuRemovedProperties)
Q_DECLARE_METATYPE(lanterna::DBusMenuEvent)
