#include "platform/linux/DBusMenuExporter.h"

#include "platform/linux/BusCall.h"
#include "platform/linux/DBusMenuTypes.h"
#include "platform/linux/QtDispatch.h"
#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/PrivateBus.h"

#include <QDBusError>

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

const QString path = QStringLiteral("/MenuBar");
const QString interface = QStringLiteral("com.canonical.dbusmenu");

class ExportedMenu : public testing::Test
{
protected:
    ExportedMenu()
    {
        for (const char *name : {"LayoutUpdated", "ItemsPropertiesUpdated", "ItemActivationRequested"}) {
            signalWatches.push_back(std::make_unique<BusSignal>(
                panel, path, interface, QLatin1String(name), [this](const QDBusMessage &signal) { seen.append(signal); }));
        }
        menu.addItem(row("address:10.0.0.1", "10.0.0.1"));
        menu.addItem(MenuItem::separatorItem("line"));
        menu.addItem(row("quit", "Quit"));
        exporter.setMenu(menu);
        call("AboutToShow", {0});
        seen.clear();
    }

    MenuItem row(const QString &identity, const QString &title)
    {
        MenuItem item;
        item.identity = identity;
        item.title = title;
        item.action = [this](const MenuItem &clicked) { clicks.append(clicked.title); };
        return item;
    }
    QDBusMessage call(const char *method, const QVariantList &arguments, const QString &inInterface = interface)
    {
        QDBusMessage message = QDBusMessage::createMethodCall(program.baseService(), path, inInterface, QLatin1String(method));
        message.setArguments(arguments);
        return callAndTurnLoop(panel, message);
    }
    /// Everything that was sent before has arrived once this answers.
    void settle() { call("AboutToShow", {0}); }
    DBusMenuLayout layout(int parent = 0, int depth = -1, const QStringList &names = {})
    {
        return qdbus_cast<DBusMenuLayout>(call("GetLayout", {parent, depth, names}).arguments().value(1));
    }
    bool waitForClicks(qsizetype count)
    {
        return turnLoopUntil([&] { return clicks.size() >= count; });
    }
    QVariantList click(int id) { return {id, "clicked", QVariant::fromValue(QDBusVariant(0)), quint32{0}}; }

    PrivateBus bus;
    QtDispatch dispatch;
    QDBusConnection program = bus.connect();
    QDBusConnection panel = bus.connect();
    DBusMenuExporter exporter{program, path, dispatch};
    Menu menu;
    QList<QDBusMessage> seen;
    QStringList clicks;
    std::vector<std::unique_ptr<BusSignal>> signalWatches;
};

TEST_F(ExportedMenu, LayoutHoldsTheRowsInOrder)
{
    const DBusMenuLayout root = layout();
    ASSERT_EQ(root.children.size(), 3);
    EXPECT_EQ(root.id, 0);
    EXPECT_EQ(root.children.at(0).properties.value("label"), "10.0.0.1");
    EXPECT_EQ(root.children.at(1).properties.value("type"), "separator");
    EXPECT_EQ(root.children.at(2).properties.value("label"), "Quit");
}

TEST_F(ExportedMenu, LayoutGoesAsDeepAsAsked)
{
    MenuItem parent = row("all", "All");
    parent.children = {row("eth0", "eth0")};
    menu.insertItem(parent, 0);
    exporter.setMenu(menu);
    EXPECT_TRUE(layout(0, 0).children.isEmpty());
    EXPECT_TRUE(layout(0, 1).children.at(0).children.isEmpty());
    EXPECT_EQ(layout(0, 2).children.at(0).children.size(), 1);
    EXPECT_EQ(layout(layout().children.at(0).id).children.at(0).properties.value("label"), "eth0");
    EXPECT_EQ(layout(0, -1, {"type"}).children.at(0).properties.size(), 0);
}

TEST_F(ExportedMenu, EqualRebuildSendsNothing)
{
    exporter.setMenu(menu);
    settle();
    EXPECT_TRUE(seen.isEmpty());
}

TEST_F(ExportedMenu, ChangedTitleSendsOneUpdate)
{
    menu.itemWithIdentity("quit")->title = "Leave";
    exporter.setMenu(menu);
    settle();
    ASSERT_EQ(seen.size(), 1);
    EXPECT_EQ(seen.first().member(), "ItemsPropertiesUpdated");
    const auto updated = qdbus_cast<QList<DBusMenuRowProperties>>(seen.first().arguments().at(0));
    ASSERT_EQ(updated.size(), 1);
    EXPECT_EQ(updated.first().properties, (QVariantMap{{"label", "Leave"}}));
}

TEST_F(ExportedMenu, NewRowSendsOneLayoutUpdate)
{
    menu.insertItem(row("warning", "Warning"), 2);
    exporter.setMenu(menu);
    settle();
    ASSERT_EQ(seen.size(), 1);
    EXPECT_EQ(seen.first().member(), "LayoutUpdated");
    EXPECT_EQ(seen.first().arguments().at(0).toUInt(), call("GetLayout", {0, 0, QStringList()}).arguments().at(0).toUInt());
}

TEST_F(ExportedMenu, ClickIsAnsweredBeforeItsAction)
{
    bool answeredFirst = false;
    MenuItem slow = row("slow", "Slow");
    bool answered = false;
    slow.action = [&](const MenuItem &item) {
        answeredFirst = answered || turnLoopUntil([&] { return answered; });
        clicks.append(item.title);
    };
    menu.addItem(slow);
    exporter.setMenu(menu);
    QDBusMessage message = QDBusMessage::createMethodCall(program.baseService(), path, interface, "Event");
    message.setArguments(click(layout().children.last().id));
    QObject context;
    callBus(panel, message, &context, [&](const QDBusMessage &) { answered = true; });
    ASSERT_TRUE(waitForClicks(1));
    EXPECT_TRUE(answeredFirst);
}

TEST_F(ExportedMenu, ClickThatCrossesARefreshActsOnWhatWasSeen)
{
    const int seenRow = layout().children.at(0).id;
    menu.removeItemAtIndex(0);
    menu.insertItem(row("address:10.0.0.2", "10.0.0.2"), 0);
    exporter.setMenu(menu);
    EXPECT_EQ(call("Event", click(seenRow)).type(), QDBusMessage::ReplyMessage);
    ASSERT_TRUE(waitForClicks(1));
    EXPECT_EQ(clicks, QStringList{"10.0.0.1"});
}

TEST_F(ExportedMenu, GroupOfEventsClicksTheKnownRowsAndNamesTheOthers)
{
    const QDBusVariant nothing(0);
    const QList<DBusMenuEvent> events{{layout().children.at(2).id, "clicked", nothing, 0}, {4711, "clicked", nothing, 0}, {0, "opened", nothing, 0}};
    const QDBusMessage reply = call("EventGroup", {QVariant::fromValue(events)});
    EXPECT_EQ(qdbus_cast<QList<int>>(reply.arguments().value(0)), QList<int>{4711});
    ASSERT_TRUE(waitForClicks(1));
    EXPECT_EQ(clicks, QStringList{"Quit"});
}

TEST_F(ExportedMenu, OpeningIsToldHoweverAPanelSaysIt)
{
    int openings = 0;
    exporter.observeOpening([&] { ++openings; });
    const QVariant group = QVariant::fromValue(QList<int>{0});
    const QVariant opened = QVariant::fromValue(QList<DBusMenuEvent>{{0, "opened", QDBusVariant(0), 0}});
    int expected = 0;
    for (const auto &[method, arguments] : QList<std::pair<const char *, QVariantList>>{{"AboutToShow", {0}}, {"AboutToShowGroup", {group}},
             {"Event", {0, "opened", QVariant::fromValue(QDBusVariant(0)), quint32{0}}}, {"EventGroup", {opened}}}) {
        call(method, arguments);
        EXPECT_EQ(openings, ++expected) << method;
    }
}

TEST_F(ExportedMenu, SubmenusAndOtherEventsAreNoOpening)
{
    int openings = 0;
    exporter.observeOpening([&] { ++openings; });
    const int row = layout().children.at(0).id;
    call("AboutToShow", {row});
    call("AboutToShow", {4711});
    call("AboutToShowGroup", {QVariant::fromValue(QList<int>{row})});
    call("Event", {0, "closed", QVariant::fromValue(QDBusVariant(0)), quint32{0}});
    EXPECT_EQ(openings, 0);
}

TEST_F(ExportedMenu, GroupPropertiesOfNoIdsAreThoseOfAllRows)
{
    const auto all =
        qdbus_cast<QList<DBusMenuRowProperties>>(call("GetGroupProperties", {QVariant::fromValue(QList<int>()), QStringList()}).arguments().value(0));
    EXPECT_EQ(all.size(), 4);
    const auto one = qdbus_cast<QList<DBusMenuRowProperties>>(
        call("GetGroupProperties", {QVariant::fromValue(QList<int>{layout().children.at(2).id, 4711, -1}), QStringList("label")})
            .arguments()
            .value(0));
    ASSERT_EQ(one.size(), 1);
    EXPECT_EQ(one.first().properties, (QVariantMap{{"label", "Quit"}}));
}

TEST_F(ExportedMenu, UnknownRowsAndWrongTypesGetErrors)
{
    const auto refused = [&](const char *method, const QVariantList &arguments) {
        return call(method, arguments).type() == QDBusMessage::ErrorMessage;
    };
    EXPECT_TRUE(refused("Event", click(4711)));
    EXPECT_TRUE(refused("Event", click(-1)));
    EXPECT_TRUE(refused("Event", {"clicked", 1, 2, 3}));
    EXPECT_TRUE(refused("Event", {}));
    EXPECT_TRUE(refused("EventGroup", {1}));
    EXPECT_TRUE(refused("GetLayout", {4711, -1, QStringList()}));
    EXPECT_TRUE(refused("GetLayout", {"0", "x", 1}));
    EXPECT_TRUE(refused("GetProperty", {4711, "label"}));
    EXPECT_TRUE(refused("GetProperty", {0, QString(100000, 'x')}));
    EXPECT_TRUE(refused("AboutToShow", {4711}));
    EXPECT_TRUE(refused("AboutToShow", {"0"}));
    EXPECT_TRUE(refused("NoSuchMethod", {}));
    EXPECT_TRUE(seen.isEmpty());
    EXPECT_EQ(layout().children.size(), 3);
}

TEST_F(ExportedMenu, TooManyEventsAreRefusedWhole)
{
    const QDBusVariant nothing(0);
    const QList<DBusMenuEvent> events(DBusMenuExporter::eventLimit + 1, {layout().children.at(2).id, "clicked", nothing, 0});
    EXPECT_EQ(QDBusError(call("EventGroup", {QVariant::fromValue(events)})).type(), QDBusError::LimitsExceeded);
    settle();
    EXPECT_TRUE(clicks.isEmpty());
}

TEST_F(ExportedMenu, IntrospectionHoldsTheNestedSignatures)
{
    const QString text = call("Introspect", {}, "org.freedesktop.DBus.Introspectable").arguments().value(0).toString();
    EXPECT_TRUE(text.contains("<method name=\"EventGroup\">"));
    EXPECT_TRUE(text.contains("type=\"a(isvu)\""));
    EXPECT_TRUE(text.contains("<signal name=\"ItemsPropertiesUpdated\">"));
    EXPECT_TRUE(text.contains("type=\"a(ias)\""));
}

TEST_F(ExportedMenu, RepliesHaveTheIntrospectedSignatures)
{
    EXPECT_EQ(call("GetLayout", {0, -1, QStringList()}).signature(), "u(ia{sv}av)");
    EXPECT_EQ(call("GetGroupProperties", {QVariant::fromValue(QList<int>()), QStringList()}).signature(), "a(ia{sv})");
    EXPECT_EQ(call("GetProperty", {layout().children.at(0).id, "label"}).signature(), "v");
    EXPECT_EQ(call("AboutToShow", {0}).signature(), "b");
    EXPECT_EQ(call("AboutToShowGroup", {QVariant::fromValue(QList<int>{0, 4711})}).signature(), "aiai");
    EXPECT_EQ(call("EventGroup", {QVariant::fromValue(QList<DBusMenuEvent>())}).signature(), "ai");
    EXPECT_EQ(call("Get", {interface, "IconThemePath"}, "org.freedesktop.DBus.Properties").signature(), "v");
    EXPECT_EQ(call("GetAll", {interface}, "org.freedesktop.DBus.Properties").signature(), "a{sv}");
}

TEST_F(ExportedMenu, ActionsThatWaitEndWithTheMenu)
{
    VirtualDispatch held;
    auto other = std::make_unique<DBusMenuExporter>(program, "/Other", held);
    other->setMenu(menu);
    QDBusMessage message = QDBusMessage::createMethodCall(program.baseService(), "/Other", interface, "Event");
    message.setArguments(click(3));
    ASSERT_EQ(callAndTurnLoop(panel, message).type(), QDBusMessage::ReplyMessage);
    other.reset();
    held.runReady();
    EXPECT_TRUE(clicks.isEmpty());
}

} // namespace
