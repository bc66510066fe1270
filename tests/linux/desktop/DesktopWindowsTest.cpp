#include "platform/linux/desktop/DesktopWindows.h"

#include "tests/fakes/FakeSystemLog.h"
#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/MemoryFolder.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

class NoScreens : public ScreenLayout
{
public:
    [[nodiscard]] QList<Monitor> monitors() const override { return {}; }
    [[nodiscard]] bool blends() const override { return true; }
};

/// Windows whose library is not there: the one log line tells that it was wanted.
class MissingWindows : public testing::Test
{
protected:
    const QString wanted = QStringLiteral("the window library cannot be loaded: not installed");
    MemoryFolder folder;
    FakeSystemLog log;
    VirtualDispatch dispatch;
    NotificationCenter notifications;
    NoScreens screens;
    SettingsStore settings{folder.path(), log};
    DesktopWindows windows{{dispatch, settings, notifications, log, screens, {}, {}}, QString(), [] { return WindowLook(); }};
};

TEST_F(MissingWindows, WelcomeCardIsWantedWhileItsFlagIsAbsent)
{
    windows.showWelcomePopoverIfNeeded();
    EXPECT_EQ(log.lines(), QStringList(wanted));
}

TEST_F(MissingWindows, WelcomeCardIsWantedWhileItsFlagIsFalse)
{
    settings.setValue(QStringLiteral("hasShownWelcomePopover"), false);
    windows.showWelcomePopoverIfNeeded();
    EXPECT_EQ(log.lines(), QStringList(wanted));
}

TEST_F(MissingWindows, AcknowledgedWelcomeCardLoadsNothing)
{
    settings.setValue(QStringLiteral("hasShownWelcomePopover"), true);
    windows.showWelcomePopoverIfNeeded();
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(MissingWindows, MessageIsNotClaimedToBeShown)
{
    EXPECT_FALSE(windows.showMessage(QStringLiteral("copied"), 100));
    EXPECT_EQ(log.lines(), QStringList(wanted));
}

TEST_F(MissingWindows, MessageInAWaylandSessionLoadsNothing)
{
    qputenv("WAYLAND_DISPLAY", "wayland-9");
    EXPECT_FALSE(windows.showMessage(QStringLiteral("copied"), 100));
    qunsetenv("WAYLAND_DISPLAY");
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(MissingWindows, ChangesLoadNothing)
{
    windows.lookChanged();
    windows.settingChanged(QStringLiteral("whichIP"));
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(MissingWindows, PreferencesThatCannotBeShownAreLogged)
{
    windows.showPreferencesWindow();
    EXPECT_EQ(log.lines(), QStringList({wanted, QStringLiteral("ERROR: Could not find PreferencesWindowController class")}));
}

} // namespace
