#include "platform/linux/WatcherLink.h"

#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/FakePanel.h"
#include "tests/support/PrivateBus.h"

#include <gtest/gtest.h>

#include <optional>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

const QString item = QStringLiteral("/StatusNotifierItem");

class RegisteringItem : public testing::Test
{
protected:
    void startItem()
    {
        link.emplace(program, item, dispatch, [this](const WatcherLink::Panel &now) { told.append(now); });
    }
    void startPanel(bool hosted = true, FakePanel::Manner manner = FakePanel::Manner::answers) { panel.emplace(desktop, hosted, manner); }
    bool hosted()
    {
        return turnLoopUntil([&] { return link->panel().hosted; });
    }
    bool registered(qsizetype times = 1)
    {
        return turnLoopUntil([&] { return panel->registrations().size() >= times; });
    }
    bool gone()
    {
        return turnLoopUntil([&] { return link->panel().watcher.isEmpty(); });
    }
    /// The panel's program ends, whatever it was doing.
    void vanish()
    {
        panel.reset();
        bus.drop(desktop);
    }
    /// Lets every message that is under way arrive.
    void settle() { callAndTurnLoop(program, busDaemonCall("GetId")); }

    PrivateBus bus;
    VirtualDispatch dispatch;
    QDBusConnection desktop = bus.connect();
    QDBusConnection program = bus.connect();
    std::optional<FakePanel> panel;
    std::optional<WatcherLink> link;
    QList<WatcherLink::Panel> told;
};

TEST_F(RegisteringItem, RegistersItsObjectPathWithARunningPanel)
{
    startPanel();
    startItem();
    ASSERT_TRUE(registered());
    ASSERT_TRUE(hosted());
    EXPECT_EQ(panel->registrations(), QStringList{program.baseService() + " " + item});
    EXPECT_EQ(link->panel().watcher, desktop.baseService());
}

TEST_F(RegisteringItem, RegistersWhenThePanelComesLater)
{
    startItem();
    settle();
    EXPECT_TRUE(told.isEmpty());
    startPanel();
    EXPECT_TRUE(registered());
    EXPECT_TRUE(hosted());
}

TEST_F(RegisteringItem, RegistersAgainWhenThePanelRestarts)
{
    startPanel();
    startItem();
    ASSERT_TRUE(registered());
    ASSERT_TRUE(hosted());
    panel.reset();
    ASSERT_TRUE(gone());
    EXPECT_FALSE(link->panel().hosted);
    startPanel();
    EXPECT_TRUE(registered());
    EXPECT_TRUE(hosted());
}

TEST_F(RegisteringItem, WatcherWithoutHostCountsAsNone)
{
    startPanel(false);
    startItem();
    ASSERT_TRUE(registered());
    settle();
    EXPECT_FALSE(link->panel().hosted);
    panel->setHosted(true);
    EXPECT_TRUE(hosted());
    panel->setHosted(false);
    EXPECT_TRUE(turnLoopUntil([&] { return !link->panel().hosted; }));
}

TEST_F(RegisteringItem, HostSignalsOfOthersAreIgnored)
{
    startPanel(false);
    startItem();
    ASSERT_TRUE(registered());
    QDBusConnection stranger = bus.connect();
    stranger.send(QDBusMessage::createSignal("/StatusNotifierWatcher", "org.kde.StatusNotifierWatcher", "StatusNotifierHostRegistered"));
    callAndTurnLoop(stranger, busDaemonCall("GetId"));
    settle();
    EXPECT_FALSE(link->panel().hosted);
}

TEST_F(RegisteringItem, WatcherThatVanishesInTheCallIsForgotten)
{
    startPanel(true, FakePanel::Manner::keepsSilent);
    startItem();
    ASSERT_TRUE(registered());
    vanish();
    EXPECT_TRUE(gone());
    EXPECT_FALSE(link->panel().hosted);
}

TEST_F(RegisteringItem, RefusedRegistrationIsTriedAgain)
{
    startPanel(true, FakePanel::Manner::refuses);
    startItem();
    ASSERT_TRUE(registered());
    settle();
    panel->setManner(FakePanel::Manner::answers);
    settle();
    dispatch.advance(2s);
    EXPECT_TRUE(registered(2));
    settle();
    dispatch.advance(1h);
    settle();
    EXPECT_EQ(panel->registrations().size(), 2);
}

TEST_F(RegisteringItem, DyingBusIsNoPanel)
{
    startPanel();
    startItem();
    ASSERT_TRUE(hosted());
    bus.kill();
    EXPECT_TRUE(turnLoopUntil([&] { return !program.isConnected(); }));
    dispatch.advance(1h);
    link.reset();
}

TEST_F(RegisteringItem, DroppedLinkHearsNoMore)
{
    startPanel(true, FakePanel::Manner::keepsSilent);
    startItem();
    ASSERT_TRUE(registered());
    link.reset();
    told.clear();
    vanish();
    settle();
    EXPECT_TRUE(told.isEmpty());
}

} // namespace
