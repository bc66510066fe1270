#include "platform/linux/DBusMenuExporter.h"

#include "platform/linux/DBusMenuTypes.h"

#include <QDBusError>

namespace lanterna
{

namespace
{

const QString menuInterface = QStringLiteral("com.canonical.dbusmenu");

constexpr const char *introspection = R"xml(<interface name="com.canonical.dbusmenu">
<property name="Version" type="u" access="read"/>
<property name="TextDirection" type="s" access="read"/>
<property name="Status" type="s" access="read"/>
<property name="IconThemePath" type="as" access="read"/>
<method name="GetLayout">
 <arg name="parentId" type="i" direction="in"/><arg name="recursionDepth" type="i" direction="in"/>
 <arg name="propertyNames" type="as" direction="in"/>
 <arg name="revision" type="u" direction="out"/><arg name="layout" type="(ia{sv}av)" direction="out"/>
</method>
<method name="GetGroupProperties">
 <arg name="ids" type="ai" direction="in"/><arg name="propertyNames" type="as" direction="in"/>
 <arg name="properties" type="a(ia{sv})" direction="out"/>
</method>
<method name="GetProperty">
 <arg name="id" type="i" direction="in"/><arg name="name" type="s" direction="in"/><arg name="value" type="v" direction="out"/>
</method>
<method name="Event">
 <arg name="id" type="i" direction="in"/><arg name="eventId" type="s" direction="in"/>
 <arg name="data" type="v" direction="in"/><arg name="timestamp" type="u" direction="in"/>
</method>
<method name="EventGroup">
 <arg name="events" type="a(isvu)" direction="in"/><arg name="idErrors" type="ai" direction="out"/>
</method>
<method name="AboutToShow">
 <arg name="id" type="i" direction="in"/><arg name="needUpdate" type="b" direction="out"/>
</method>
<method name="AboutToShowGroup">
 <arg name="ids" type="ai" direction="in"/><arg name="updatesNeeded" type="ai" direction="out"/><arg name="idErrors" type="ai" direction="out"/>
</method>
<signal name="ItemsPropertiesUpdated">
 <arg name="updatedProps" type="a(ia{sv})"/><arg name="removedProps" type="a(ias)"/>
</signal>
<signal name="LayoutUpdated"><arg name="revision" type="u"/><arg name="parent" type="i"/></signal>
<signal name="ItemActivationRequested"><arg name="id" type="i"/><arg name="timestamp" type="u"/></signal>
</interface>
)xml";

/// The subtree below a row; `depth` levels of children, all when negative.
DBusMenuLayout layoutOf(const DBusMenuModel &model, int id, int depth, const QStringList &names)
{
    DBusMenuLayout layout{id, model.properties(id, names), {}};
    if (depth == 0)
        return layout;
    for (const int child : model.children(id))
        layout.children.append(layoutOf(model, child, depth < 0 ? depth : depth - 1, names));
    return layout;
}

} // namespace

DBusMenuExporter::DBusMenuExporter(const QDBusConnection &bus, const QString &path, Dispatch &dispatch)
    : DBusObject((registerDBusMenuTypes(), bus), path, menuInterface, QLatin1String(introspection)), m_dispatch(dispatch),
      m_alive(std::make_shared<int>(0))
{
}

DBusMenuExporter::~DBusMenuExporter() = default;

void DBusMenuExporter::setMenu(const Menu &menu)
{
    const DBusMenuChange change = m_model.update(menu.items());
    if (!change.updated.isEmpty() || !change.removed.isEmpty()) {
        QList<DBusMenuRowProperties> updated;
        for (auto it = change.updated.begin(); it != change.updated.end(); ++it)
            updated.append({it.key(), it.value()});
        QList<DBusMenuRemovedProperties> removed;
        for (auto it = change.removed.begin(); it != change.removed.end(); ++it)
            removed.append({it.key(), it.value()});
        sendSignal(QStringLiteral("ItemsPropertiesUpdated"), {QVariant::fromValue(updated), QVariant::fromValue(removed)});
    }
    // Always from the root: several panels reread the whole menu whatever parent is named, and one that does not must still see every move.
    if (change.layout)
        sendSignal(QStringLiteral("LayoutUpdated"), {m_model.revision(), DBusMenuModel::rootId});
}

void DBusMenuExporter::requestOpen()
{
    sendSignal(QStringLiteral("ItemActivationRequested"), {DBusMenuModel::rootId, quint32{0}});
}

QVariantMap DBusMenuExporter::busProperties() const
{
    return {
        {QStringLiteral("Version"), quint32{3}},
        {QStringLiteral("TextDirection"), QStringLiteral("ltr")},
        {QStringLiteral("Status"), QStringLiteral("normal")},
        {QStringLiteral("IconThemePath"), QStringList()},
    };
}

bool DBusMenuExporter::handleCall(const QDBusMessage &message)
{
    struct Method {
        const char *name;
        const char *signature;
        void (DBusMenuExporter::*handler)(const QDBusMessage &);
    };
    static constexpr Method methods[] = {
        {"GetLayout", "iias", &DBusMenuExporter::getLayout},
        {"GetGroupProperties", "aias", &DBusMenuExporter::getGroupProperties},
        {"GetProperty", "is", &DBusMenuExporter::getProperty},
        {"Event", "isvu", &DBusMenuExporter::handleEvent},
        {"EventGroup", "a(isvu)", &DBusMenuExporter::eventGroup},
        {"AboutToShow", "i", &DBusMenuExporter::aboutToShow},
        {"AboutToShowGroup", "ai", &DBusMenuExporter::aboutToShowGroup},
    };
    for (const Method &method : methods) {
        if (message.member() == QLatin1String(method.name) && message.signature() == QLatin1String(method.signature)) {
            (this->*method.handler)(message);
            return true;
        }
    }
    return false;
}

void DBusMenuExporter::getLayout(const QDBusMessage &message)
{
    const QVariantList arguments = message.arguments();
    const int parent = arguments.at(0).toInt();
    if (!m_model.contains(parent)) {
        replyError(message, QDBusError::InvalidArgs, QStringLiteral("there is no such row"));
        return;
    }
    const DBusMenuLayout layout = layoutOf(m_model, parent, arguments.at(1).toInt(), arguments.at(2).toStringList());
    reply(message, {m_model.revision(), QVariant::fromValue(layout)});
}

void DBusMenuExporter::getGroupProperties(const QDBusMessage &message)
{
    const auto asked = qdbus_cast<QList<int>>(message.arguments().at(0));
    const QStringList names = message.arguments().at(1).toStringList();
    QList<DBusMenuRowProperties> rows;
    // Walking our own rows keeps the answer small, however often a caller repeats an id.
    for (const int id : m_model.ids()) {
        if (asked.isEmpty() || asked.contains(id))
            rows.append({id, m_model.properties(id, names)});
    }
    reply(message, {QVariant::fromValue(rows)});
}

void DBusMenuExporter::getProperty(const QDBusMessage &message)
{
    const QVariantMap properties = m_model.properties(message.arguments().at(0).toInt());
    if (const auto found = properties.constFind(message.arguments().at(1).toString()); found != properties.cend())
        reply(message, {QVariant::fromValue(QDBusVariant(*found))});
    else
        replyError(message, QDBusError::InvalidArgs, QStringLiteral("there is no such row or property"));
}

void DBusMenuExporter::handleEvent(const QDBusMessage &message)
{
    const int id = message.arguments().at(0).toInt();
    if (!m_model.knows(id)) {
        replyError(message, QDBusError::InvalidArgs, QStringLiteral("there is no such row"));
        return;
    }
    reply(message);
    const QString event = message.arguments().at(1).toString();
    if (event == QLatin1String("clicked"))
        click(id);
    else if (event == QLatin1String("opened"))
        noteOpening(id);
}

void DBusMenuExporter::eventGroup(const QDBusMessage &message)
{
    const auto events = qdbus_cast<QList<DBusMenuEvent>>(message.arguments().at(0));
    if (events.size() > eventLimit) {
        replyError(message, QDBusError::LimitsExceeded, QStringLiteral("too many events"));
        return;
    }
    QList<int> unknown;
    for (const DBusMenuEvent &event : events) {
        if (!m_model.knows(event.id))
            unknown.append(event.id);
    }
    if (!events.isEmpty() && unknown.size() == events.size()) {
        replyError(message, QDBusError::InvalidArgs, QStringLiteral("none of the rows exists"));
        return;
    }
    reply(message, {QVariant::fromValue(unknown)});
    for (const DBusMenuEvent &event : events) {
        if (event.name == QLatin1String("clicked"))
            click(event.id);
        else if (event.name == QLatin1String("opened"))
            noteOpening(event.id);
    }
}

void DBusMenuExporter::aboutToShow(const QDBusMessage &message)
{
    const int id = message.arguments().at(0).toInt();
    if (m_model.knows(id))
        reply(message, {false});
    else
        replyError(message, QDBusError::InvalidArgs, QStringLiteral("there is no such row"));
    noteOpening(id);
}

void DBusMenuExporter::aboutToShowGroup(const QDBusMessage &message)
{
    const auto ids = qdbus_cast<QList<int>>(message.arguments().at(0));
    QList<int> unknown;
    for (const int id : ids) {
        if (!m_model.knows(id))
            unknown.append(id);
    }
    reply(message, {QVariant::fromValue(QList<int>()), QVariant::fromValue(unknown)});
    if (ids.contains(DBusMenuModel::rootId))
        noteOpening(DBusMenuModel::rootId);
}

void DBusMenuExporter::noteOpening(int id)
{
    if (id == DBusMenuModel::rootId && m_opening)
        m_opening();
}

void DBusMenuExporter::click(int id)
{
    const std::optional<MenuItem> item = m_model.clicked(id);
    if (!item)
        return;
    m_dispatch.mainAsync([item, alive = std::weak_ptr(m_alive)] {
        if (!alive.expired())
            item->action(*item);
    });
}

} // namespace lanterna
