#include "platform/linux/DesktopNotices.h"
#include "platform/linux/SettingsPortal.h"

#include "platform/linux/DBusObject.h"
#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/PrivateBus.h"

#include <QDBusArgument>
#include <QDBusError>
#include <QDBusVariant>

#include <gtest/gtest.h>

#include <optional>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

/// A notification service that keeps what it was asked to show, and answers when told to.
class FakeNotifications : public DBusObject
{
public:
    explicit FakeNotifications(QDBusConnection bus) : DBusObject(bus, "/org/freedesktop/Notifications", "org.freedesktop.Notifications", QString())
    {
        bus.registerService("org.freedesktop.Notifications");
    }
    /// As services do: a notice that replaces another has its number, another the next one.
    void answerNext()
    {
        const QDBusMessage call = waiting.takeFirst();
        const quint32 replaced = call.arguments().value(1).toUInt();
        reply(call, {replaced != 0 ? replaced : ++lastId});
    }
    void invoke(quint32 id, const QString &action) { sendSignal("ActionInvoked", {id, action}); }
    QList<QVariantList> shown;
    QList<QDBusMessage> waiting;
    quint32 lastId = 76;
    std::optional<QStringList> capabilities{QStringList{"body", "body-markup"}}; ///< none: the call is unknown
    int questions = 0;

protected:
    QVariantMap busProperties() const override { return {}; }
    bool handleCall(const QDBusMessage &message) override
    {
        if (message.member() == QLatin1String("GetCapabilities")) {
            ++questions;
            if (capabilities)
                reply(message, {*capabilities});
            return capabilities.has_value();
        }
        shown.append(message.arguments());
        waiting.append(message);
        return true;
    }
};

class Notices : public testing::Test
{
protected:
    bool waitForShown(qsizetype count)
    {
        return turnLoopUntil([&] { return service.shown.size() >= count; });
    }
    PrivateBus bus;
    FakeNotifications service{bus.connect()};
    DesktopNotices notices{bus.connect()};
};

TEST_F(Notices, BodyIsPlainText)
{
    notices.show("a < b", "<b>x</b> & y");
    ASSERT_TRUE(waitForShown(1));
    EXPECT_EQ(service.shown.at(0).at(3), "a < b");
    EXPECT_EQ(service.shown.at(0).at(4), "&lt;b&gt;x&lt;/b&gt; &amp; y");
}

TEST_F(Notices, ServiceWithoutMarkupGetsTheTextItself)
{
    service.capabilities = QStringList{"body"};
    notices.show("title", "<b>x</b> & y");
    ASSERT_TRUE(waitForShown(1));
    EXPECT_EQ(service.shown.at(0).at(4), "<b>x</b> & y");
}

TEST_F(Notices, ServiceThatTellsNothingGetsItEscaped)
{
    service.capabilities.reset();
    notices.show("title", "<b>x</b>");
    ASSERT_TRUE(waitForShown(1));
    EXPECT_EQ(service.shown.at(0).at(4), "&lt;b&gt;x&lt;/b&gt;");
}

TEST_F(Notices, TextWithoutSpecialCharactersAsksNothing)
{
    notices.show("title", "192.168.1.20");
    ASSERT_TRUE(waitForShown(1));
    EXPECT_EQ(service.questions, 0);
}

TEST_F(Notices, BriefOneHasItsDurationAndIsKeptNowhere)
{
    notices.showBriefly("copied: \nTom & Jerry", 3500ms);
    ASSERT_TRUE(waitForShown(1));
    EXPECT_EQ(service.shown.at(0).at(3), "Lanterna");
    EXPECT_EQ(service.shown.at(0).at(4), "copied: \nTom &amp; Jerry");
    EXPECT_EQ(service.shown.at(0).at(7), 3500);
    EXPECT_EQ(qdbus_cast<QVariantMap>(service.shown.at(0).at(6)).value("transient"), true);
    notices.show("title", "192.168.1.20");
    ASSERT_TRUE(waitForShown(2));
    EXPECT_EQ(service.shown.at(1).at(7), -1);
    EXPECT_FALSE(qdbus_cast<QVariantMap>(service.shown.at(1).at(6)).contains("transient"));
}

TEST_F(Notices, BriefOneReplacesOnlyItsKind)
{
    notices.show("Lanterna is running", "");
    notices.showBriefly("first", 3500ms);
    ASSERT_TRUE(waitForShown(2));
    service.answerNext();
    service.answerNext();
    EXPECT_EQ(service.shown.at(1).at(1).toUInt(), 0u);
    notices.showBriefly("second", 3500ms);
    ASSERT_TRUE(waitForShown(3));
    EXPECT_EQ(service.shown.at(2).at(1).toUInt(), 78u);
}

TEST_F(Notices, LaterNoticeReplacesTheShownOne)
{
    notices.show("one", "");
    notices.show("two", "");
    notices.show("three", "");
    ASSERT_TRUE(waitForShown(1));
    EXPECT_EQ(service.shown.at(0).at(1).toUInt(), 0u);
    service.answerNext();
    ASSERT_TRUE(waitForShown(2));
    EXPECT_EQ(service.shown.at(1).at(1).toUInt(), 77u);
    EXPECT_EQ(service.shown.at(1).at(3), "three");
}

TEST_F(Notices, ButtonCallsOnceAndOnlyWhileItIsShown)
{
    int chosen = 0;
    notices.showWithAction("title", "body", "Sign in", [&] { ++chosen; });
    ASSERT_TRUE(waitForShown(1));
    EXPECT_EQ(service.shown.at(0).at(5).toStringList().value(1), "Sign in");
    const QString key = service.shown.at(0).at(5).toStringList().value(0);
    service.answerNext();
    service.invoke(76, key); // another program's
    service.invoke(77, "default");
    service.invoke(77, key);
    service.invoke(77, key);
    ASSERT_TRUE(turnLoopUntil([&] { return chosen > 0; }));
    notices.showWithAction("another", "", "Sign in", [&] { chosen += 10; });
    ASSERT_TRUE(waitForShown(2));
    service.answerNext();
    notices.showWithAction("a third", "", "Sign in", [&] { chosen += 100; });
    ASSERT_TRUE(waitForShown(3)); // and not answered
    service.invoke(77, key);
    notices.show("the last", ""); // sent after the signal was
    ASSERT_TRUE(waitForShown(4));
    EXPECT_EQ(chosen, 1);
}

TEST_F(Notices, ButtonOutlastsNoticesWithoutOne)
{
    int chosen = 0;
    notices.showWithAction("title", "body", "Sign in", [&] { ++chosen; });
    notices.show("Lanterna is running", "");
    notices.show("192.168.1.20", "");
    ASSERT_TRUE(waitForShown(2));
    EXPECT_EQ(service.shown.at(1).at(1).toUInt(), 0u) << "another notice, which replaces nothing";
    service.answerNext();
    service.answerNext();
    ASSERT_TRUE(waitForShown(3));
    EXPECT_EQ(service.shown.at(2).at(1).toUInt(), 78u);
    service.invoke(77, service.shown.at(0).at(5).toStringList().value(0));
    EXPECT_TRUE(turnLoopUntil([&] { return chosen == 1; }));
}

/// A settings portal, of the newer or the older kind.
class FakePortal : public DBusObject
{
public:
    FakePortal(QDBusConnection bus, uint scheme, bool older)
        : DBusObject(bus, "/org/freedesktop/portal/desktop", "org.freedesktop.portal.Settings", QString()), m_scheme(scheme), m_older(older)
    {
        bus.registerService("org.freedesktop.portal.Desktop");
    }
    void change(const QVariant &value, const QString &key = "color-scheme", const QString &nameSpace = "org.freedesktop.appearance")
    {
        sendSignal("SettingChanged", {nameSpace, key, QVariant::fromValue(QDBusVariant(value))});
    }
    QVariant animations; ///< invalid: the key is not known

protected:
    QVariantMap busProperties() const override { return {}; }
    bool handleCall(const QDBusMessage &message) override
    {
        const QString key = message.arguments().value(1).toString();
        const QVariant plain = key == "color-scheme" ? QVariant(m_scheme) : key == "enable-animations" ? animations : QVariant();
        if (!plain.isValid())
            return false;
        const QVariant value = QVariant::fromValue(QDBusVariant(plain));
        if (message.member() == QLatin1String("ReadOne") && !m_older)
            reply(message, {value});
        else if (message.member() == QLatin1String("Read"))
            reply(message, {QVariant::fromValue(QDBusVariant(value))});
        else
            return false;
        return true;
    }

private:
    uint m_scheme;
    bool m_older;
};

class Appearance : public testing::Test
{
protected:
    void watch()
    {
        portal.emplace(bus.connect(), dispatch, SettingsPortal::Events{[this](const QString &name) { told.append(name); }, [this] { ++wishes; }});
    }
    bool waitForTold(qsizetype count)
    {
        return turnLoopUntil([&] { return told.size() >= count; });
    }
    PrivateBus bus;
    VirtualDispatch dispatch;
    QStringList told;
    int wishes = 0; ///< how often the windows were told
    std::optional<SettingsPortal> portal;
};

TEST_F(Appearance, FollowsThePortalLive)
{
    FakePortal service(bus.connect(), 2, false);
    watch();
    ASSERT_TRUE(waitForTold(1));
    service.change(1u);
    ASSERT_TRUE(waitForTold(2));
    service.change(2u, "accent-color");
    service.change(1u);
    service.change(0u);
    ASSERT_TRUE(waitForTold(3));
    EXPECT_EQ(told, (QStringList{"light", "dark", "light"}));
}

TEST_F(Appearance, LessMovementIsFollowedLive)
{
    FakePortal service(bus.connect(), 2, false);
    service.animations = false;
    watch();
    EXPECT_TRUE(portal->animated());
    ASSERT_TRUE(turnLoopUntil([&] { return !portal->animated(); }));
    service.change(true, "enable-animations", "org.gnome.desktop.interface");
    ASSERT_TRUE(turnLoopUntil([&] { return portal->animated(); }));
    const int before = wishes;
    service.change(1u, "reduced-motion");
    ASSERT_TRUE(turnLoopUntil([&] { return wishes > before; }));
    EXPECT_FALSE(portal->animated());
}

TEST_F(Appearance, OlderPortalIsReadToo)
{
    FakePortal service(bus.connect(), 1, true);
    watch();
    ASSERT_TRUE(waitForTold(1));
    EXPECT_EQ(told, QStringList{"dark"});
}

TEST_F(Appearance, IsDarkWithoutAPortal)
{
    watch();
    ASSERT_TRUE(waitForTold(1));
    dispatch.advance(1min);
    EXPECT_EQ(told, QStringList{"dark"});
}

TEST_F(Appearance, SilentPortalIsNotWaitedFor)
{
    QDBusConnection silent = bus.connect();
    FakeNotifications keepsQuiet(silent);
    silent.registerService("org.freedesktop.portal.Desktop");
    watch();
    dispatch.advance(1s);
    EXPECT_EQ(told, QStringList{"dark"});
}

TEST(ColourScheme, OnlyOneMeansDark)
{
    EXPECT_EQ(appearanceFromColourScheme(1u), "dark");
    EXPECT_EQ(appearanceFromColourScheme(0u), "light");
    EXPECT_EQ(appearanceFromColourScheme(2u), "light");
    EXPECT_EQ(appearanceFromColourScheme(QVariant::fromValue(QDBusVariant(QVariant::fromValue(QDBusVariant(1u))))), "dark");
    EXPECT_EQ(appearanceFromColourScheme("nonsense"), "");
    EXPECT_EQ(appearanceFromColourScheme(QVariant()), "");
}

} // namespace
