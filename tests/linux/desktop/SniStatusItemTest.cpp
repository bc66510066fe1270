#include "platform/linux/desktop/SniStatusItem.h"

#include "platform/linux/BusCall.h"
#include "tests/fakes/FakeSystemLog.h"
#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/FakePanel.h"
#include "tests/support/PrivateBus.h"

#include <QDBusObjectPath>
#include <QDir>
#include <QImage>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class KeptNotices : public UserNotices
{
public:
    void showWithAction(const QString &title, const QString &body, const QString &, std::function<void()>) override { show(title, body); }
    void show(const QString &title, const QString &) override { titles.append(title); }
    void showBriefly(const QString &, std::chrono::milliseconds) override { }
    QStringList titles;
};

class ItemOnABus : public testing::Test
{
protected:
    ItemOnABus()
    {
        for (const char *name : {"NewIcon", "NewAttentionIcon", "NewStatus", "NewToolTip", "XAyatanaNewLabel"}) {
            signalWatches.push_back(std::make_unique<BusSignal>(
                desktop, path, interface, QLatin1String(name), [this](const QDBusMessage &signal) { seen.append(signal.member()); }));
        }
        item.setContent(title("eth0: 192.168.1.20"));
    }
    StatusItemContent title(const QString &text) { return {text, StatusImage::none, {}, text + "\nwan: 203.0.113.7"}; }
    void start()
    {
        item.start({[this] { ++middleClicks; }, [this](const QString &name) { appearances.append(name); }});
    }
    QVariant property(const char *name)
    {
        const QDBusMessage reply = callAndTurnLoop(desktop, propertyGetCall(program.baseService(), path, interface, name));
        return reply.arguments().value(0).value<QDBusVariant>().variant();
    }
    QList<SniPixmap> pixmaps(const char *name) { return qdbus_cast<QList<SniPixmap>>(property(name)); }
    QDBusMessage call(const char *method, const QVariantList &arguments)
    {
        QDBusMessage message = QDBusMessage::createMethodCall(program.baseService(), path, interface, QLatin1String(method));
        message.setArguments(arguments);
        const QDBusMessage reply = callAndTurnLoop(desktop, message);
        dispatch.runReady();
        return reply;
    }
    /// Everything that was sent before has arrived once this answers.
    QStringList signalsSoFar()
    {
        property("Status");
        return std::exchange(seen, {});
    }

    const QString path = SniStatusItem::itemPath;
    const QString interface = QStringLiteral("org.kde.StatusNotifierItem");
    PrivateBus bus;
    VirtualDispatch dispatch;
    FakeSystemLog log;
    KeptNotices notices;
    QTemporaryDir runtime;
    QString setting = QStringLiteral("auto");
    std::optional<QPointF> pointer;
    QDBusConnection program = bus.connect();
    QDBusConnection desktop = bus.connect();
    SniStatusItem item{
        {program, dispatch, log, notices, [this] { return setting; }, runtime.filePath("lanterna"), ProgramFiles(), {}, [this] { return pointer; }}};
    QStringList seen;
    QStringList appearances;
    int middleClicks = 0;
    std::vector<std::unique_ptr<BusSignal>> signalWatches;
};

TEST_F(ItemOnABus, HasEveryPropertyThatPanelsRead)
{
    const QDBusMessage reply = [&] {
        QDBusMessage message = QDBusMessage::createMethodCall(program.baseService(), path, "org.freedesktop.DBus.Properties", "GetAll");
        message.setArguments({interface});
        return callAndTurnLoop(desktop, message);
    }();
    const auto all = qdbus_cast<QVariantMap>(reply.arguments().value(0));
    EXPECT_EQ(all.size(), 21);
    EXPECT_EQ(all.value("ItemIsMenu"), true);
    EXPECT_EQ(all.value("Menu").value<QDBusObjectPath>().path(), "/MenuBar");
    EXPECT_EQ(all.value("Status"), "Active");
    EXPECT_EQ(all.value("OverlayIconName"), "");
}

TEST_F(ItemOnABus, UnknownPanelGetsLabelNameAndPixels)
{
    EXPECT_EQ(property("XAyatanaLabel"), "eth0: 192.168.1.20");
    EXPECT_EQ(property("XAyatanaLabelGuide"), "eth0: 255.255.255.255");
    const QString name = property("IconName").toString();
    EXPECT_TRUE(QDir::isAbsolutePath(name));
    EXPECT_EQ(QImage(name).size(), QSize(22, 22));
    ASSERT_FALSE(pixmaps("IconPixmap").isEmpty());
    EXPECT_EQ(pixmaps("IconPixmap").first().pixels.size(), qsizetype{4} * 16 * 16);
}

TEST_F(ItemOnABus, EqualContentSendsNothing)
{
    signalsSoFar();
    item.setContent(title("eth0: 192.168.1.20"));
    EXPECT_TRUE(signalsSoFar().isEmpty());
}

TEST_F(ItemOnABus, NewAddressSendsEachAspectOnce)
{
    signalsSoFar();
    item.setContent(title("eth0: 192.168.1.21"));
    QStringList sent = signalsSoFar();
    sent.sort();
    EXPECT_EQ(sent, (QStringList{"NewIcon", "NewToolTip", "XAyatanaNewLabel"}));
}

TEST_F(ItemOnABus, WarningReplacesNameAndPixels)
{
    const QString before = property("IconName").toString();
    const QList<SniPixmap> pixels = pixmaps("IconPixmap");
    item.setContent({{}, StatusImage::locationWarning, "Needs permission", {}});
    EXPECT_EQ(property("Status"), "NeedsAttention");
    EXPECT_NE(property("IconName"), before);
    EXPECT_EQ(property("AttentionIconName"), property("IconName"));
    EXPECT_NE(pixmaps("IconPixmap"), pixels);
    EXPECT_EQ(property("XAyatanaLabel"), "");
    EXPECT_EQ(property("IconAccessibleDesc"), "Needs permission");
    EXPECT_EQ(qdbus_cast<SniToolTip>(property("ToolTip")).title, "Needs permission");
}

TEST_F(ItemOnABus, SettingIsReadAgain)
{
    setting = "icon";
    item.textSettingChanged();
    EXPECT_EQ(property("XAyatanaLabel"), "");
    setting = "label";
    item.textSettingChanged();
    EXPECT_EQ(property("XAyatanaLabel"), "eth0: 192.168.1.20");
    EXPECT_EQ(property("IconName"), "lanterna_menuitemTemplate-symbolic");
}

TEST_F(ItemOnABus, MiddleClickIsHandedOnAfterItsAnswer)
{
    start();
    EXPECT_EQ(call("SecondaryActivate", {0, 0}).type(), QDBusMessage::ReplyMessage);
    EXPECT_EQ(middleClicks, 1);
    EXPECT_EQ(call("XAyatanaSecondaryActivate", {quint32{5}}).type(), QDBusMessage::ReplyMessage);
    EXPECT_EQ(middleClicks, 2);
}

TEST_F(ItemOnABus, OtherClicksAreAnsweredAndDoNothing)
{
    start();
    for (const char *method : {"Activate", "ContextMenu"})
        EXPECT_EQ(call(method, {0, 0}).type(), QDBusMessage::ReplyMessage) << method;
    EXPECT_EQ(call("Scroll", {120, "vertical"}).type(), QDBusMessage::ReplyMessage);
    EXPECT_EQ(call("Activate", {"x"}).type(), QDBusMessage::ErrorMessage);
    EXPECT_EQ(middleClicks, 0);
}

TEST_F(ItemOnABus, PlaceOfTheLastClickIsKept)
{
    start();
    EXPECT_EQ(item.centreX(), std::nullopt);
    int x = 100;
    for (const char *method : {"Activate", "SecondaryActivate", "ContextMenu"}) {
        call(method, {++x, 14});
        EXPECT_EQ(item.centreX(), x) << method;
    }
    call("Activate", {0, 0}); // a panel that does not know
    call("Activate", {5000, 14}); // no monitor is there
    EXPECT_EQ(item.centreX(), x);
}

TEST_F(ItemOnABus, PlaceIsThePointersWhenThePanelOpensTheMenu)
{
    start();
    pointer = QPointF(640, 14);
    QDBusMessage message =
        QDBusMessage::createMethodCall(program.baseService(), SniStatusItem::menuPath, "com.canonical.dbusmenu", QStringLiteral("AboutToShow"));
    message.setArguments({0});
    callAndTurnLoop(desktop, message);
    pointer = QPointF(560, 200); // on a row
    EXPECT_EQ(item.centreX(), 640);
    dispatch.advance(61s);
    EXPECT_EQ(item.centreX(), 560);
}

TEST_F(ItemOnABus, MissingPanelIsToldOnce)
{
    start();
    dispatch.advance(4s);
    EXPECT_TRUE(notices.titles.isEmpty());
    dispatch.advance(1h);
    EXPECT_EQ(notices.titles, QStringList{"Lanterna is running"});
}

TEST_F(ItemOnABus, WatcherWithoutHostIsAMissingPanel)
{
    const FakePanel panel(desktop, false);
    start();
    ASSERT_TRUE(turnLoopUntil([&] { return !panel.registrations().isEmpty(); }));
    dispatch.advance(1h);
    EXPECT_EQ(notices.titles.size(), 1);
}

TEST_F(ItemOnABus, PanelThatComesAtLoginIsNotMissed)
{
    start();
    dispatch.advance(3s);
    const FakePanel panel(desktop);
    ASSERT_TRUE(turnLoopUntil([&] { return !panel.registrations().isEmpty(); }));
    property("Status");
    dispatch.advance(1h);
    EXPECT_TRUE(notices.titles.isEmpty());
}

TEST_F(ItemOnABus, BusThatDiesIsLoggedOnceAndSurvived)
{
    start();
    property("Status");
    bus.kill();
    ASSERT_TRUE(turnLoopUntil([&] { return !log.lines().isEmpty(); }));
    item.setContent(title("10.0.0.1"));
    item.setMenu(Menu());
    dispatch.advance(1h);
    EXPECT_EQ(log.lines().filter("session bus").size(), 1);
}

TEST_F(ItemOnABus, NoBusAtAllIsLoggedAndSurvived)
{
    SniStatusItem alone{{QDBusConnection("none"), dispatch, log, notices, nullptr, QString(), ProgramFiles()}};
    QStringList told;
    alone.start({nullptr, [&](const QString &name) { told.append(name); }});
    alone.setContent(title("10.0.0.1"));
    EXPECT_TRUE(turnLoopUntil([&] { return !told.isEmpty(); }));
    dispatch.advance(1h);
    EXPECT_EQ(log.lines().filter("session bus").size(), 1);
    EXPECT_EQ(notices.titles.size(), 1);
}

TEST_F(ItemOnABus, AppearanceIsToldWithoutAPortal)
{
    start();
    EXPECT_TRUE(turnLoopUntil([&] { return !appearances.isEmpty(); }));
    EXPECT_EQ(appearances, QStringList{"dark"});
}

} // namespace
