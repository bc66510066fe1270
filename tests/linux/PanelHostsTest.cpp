#include "platform/linux/PanelHosts.h"

#include "tests/support/PrivateBus.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFileInfo>

using namespace lanterna;

namespace
{

using Label = PanelTraits::Label;
using Picture = PanelTraits::Picture;

TEST(PanelTraits, NamesCutByTheKernelAreKnown)
{
    EXPECT_EQ(panelTraits("ayatana-indicat").label, Label::draws);
    EXPECT_EQ(panelTraits("ayatana-indicator-application-service").label, Label::draws);
    EXPECT_EQ(panelTraits("ayatana").label, Label::unknown);
}

TEST(PanelTraits, TrayWithoutTextIsKnownToIgnoreLabels)
{
    EXPECT_EQ(panelTraits("waybar"), (PanelTraits{Label::ignores, Picture::pixmap}));
    EXPECT_EQ(panelTraits("some-new-panel"), PanelTraits());
    EXPECT_EQ(panelTraits(""), PanelTraits());
}

TEST(PanelTraits, MateDrawsLabelsInEachOfItsTrays)
{
    EXPECT_EQ(panelTraits("mate-panel").label, Label::draws);
    EXPECT_EQ(panelTraits("notification-area-applet").label, Label::draws);
    EXPECT_EQ(panelTraits("notification-ar").label, Label::draws);
}

TEST(PanelTraits, PanelWithTextMayStillDrawPixmapsBest)
{
    EXPECT_EQ(panelTraits("gnome-shell"), (PanelTraits{Label::draws, Picture::pixmap}));
}

TEST(PanelTraits, PanelsThatDisagreeAreUnknownTogether)
{
    EXPECT_EQ(commonPanelTraits({"waybar", "lxqt-panel"}).label, Label::ignores);
    EXPECT_EQ(commonPanelTraits({"waybar", "gnome-shell"}).label, Label::unknown);
    EXPECT_EQ(commonPanelTraits({"waybar", "some-new-panel"}).label, Label::unknown);
    EXPECT_EQ(commonPanelTraits({}), PanelTraits());
}

TEST(ProcessName, ComesFromTheCommandLineAndElseFromComm)
{
    EXPECT_EQ(processNameFrom("ayatana-indicat\n", QByteArray("/usr/libexec/ayatana-indicator-application-service\0", 51)),
        "ayatana-indicator-application-service");
    EXPECT_EQ(processNameFrom("waybar\n", ""), "waybar");
    EXPECT_EQ(processNameFrom("", ""), "");
}

TEST(ProcessName, PluginOfAPanelIsThePanel)
{
    const QByteArray commandLine("/usr/lib/x86_64-linux-gnu/xfce4/panel/wrapper-2.0\0/usr/lib/libsystray.so\0", 73);
    EXPECT_EQ(processNameFrom("panel-6-systray\n", commandLine), "xfce4-panel");
}

TEST(HostNames, OnlyAnnouncedHostsCount)
{
    const QStringList names{":1.4", "org.kde.StatusNotifierHost-77", "org.kde.StatusNotifierWatcher", "org.freedesktop.StatusNotifierHost-9-1"};
    EXPECT_EQ(hostNames(names), (QStringList{"org.kde.StatusNotifierHost-77", "org.freedesktop.StatusNotifierHost-9-1"}));
}

class PanelsOnABus : public testing::Test
{
protected:
    QStringList found(const QString &watcher)
    {
        std::optional<QStringList> answer;
        hosts.lookUp(watcher, [&](const QStringList &names) { answer = names; });
        EXPECT_TRUE(turnLoopUntil([&] { return answer.has_value(); }));
        return answer.value_or(QStringList());
    }
    PrivateBus bus;
    QDBusConnection program = bus.connect();
    PanelHosts hosts{program};
};

TEST_F(PanelsOnABus, WatcherAndHostsAreNamedByTheirProcess)
{
    QDBusConnection host = bus.connect();
    host.registerService("org.kde.StatusNotifierHost-1");
    const QString self = QFileInfo(QCoreApplication::applicationFilePath()).fileName();
    EXPECT_EQ(found(host.baseService()), (QStringList{self, self}));
}

TEST_F(PanelsOnABus, WatcherThatLeftHasNoName)
{
    EXPECT_EQ(found(":1.4711"), QStringList());
}

TEST_F(PanelsOnABus, DeadBusAnswersWithNothing)
{
    bus.kill();
    EXPECT_EQ(found(":1.1"), QStringList());
}

} // namespace
