#include "tests/app/ControllerFixture.h"

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class Display : public ControllerFixture
{
protected:
    /// A run that shows this mode, with these interfaces and the WAN address 203.0.113.7.
    void showing(qlonglong mode, const QList<std::pair<QString, QString>> &interfaces)
    {
        earlierRun(mode);
        set("WANIP", QStringLiteral("203.0.113.7"));
        set("WANLookupEnabled", true);
        startWith(interfaces);
    }
    void addressesChange(const QVariantMap &addresses) { notifications.post(localhostAddressesResolvedNotification, addresses); }
};

const QList<std::pair<QString, QString>> twoInterfaces{{"lo", "127.0.0.1"}, {"eth1", "10.0.0.5"}, {"eth0", "192.168.1.20"}};
const QList<std::pair<QString, QString>> oneInterface{{"lo", "127.0.0.1"}, {"eth0", "192.168.1.20"}};

TEST_F(Display, ModeOneShowsTheFirstAddressByName)
{
    showing(1, twoInterfaces);
    EXPECT_EQ(title(), "192.168.1.20");
    EXPECT_TRUE(log.contains(QStringLiteral("Active interfaces: first=eth0: 192.168.1.20, second=eth1: 10.0.0.5, count=2")));
}

TEST_F(Display, ModeTwoShowsTheWANAddress)
{
    replies[QStringLiteral("http://lan.example/lanterna.txt")].body = "http://lan.example/ip||[||]";
    replies[QStringLiteral("http://lan.example/ip")].body = "[203.0.113.7]";
    showing(2, oneInterface);
    EXPECT_EQ(title(), "203.0.113.7");
}

TEST_F(Display, ModeThreeShowsTheSecondAddress)
{
    showing(3, twoInterfaces);
    EXPECT_EQ(title(), "10.0.0.5");
}

TEST_F(Display, ModeThreeWithOneInterfaceShowsTheFirstAndSaysSo)
{
    showing(3, oneInterface);
    EXPECT_EQ(title(), "192.168.1.20");
    EXPECT_TRUE(log.contains(QStringLiteral("Secondary LAN selected but not available, showing primary instead")));
}

TEST_F(Display, ModeFourShowsTheTemplateIconAndNoText)
{
    showing(4, oneInterface);
    EXPECT_EQ(title(), QString());
    EXPECT_EQ(statusItem.content.image, StatusImage::templateIcon);
    EXPECT_EQ(stored("currentTitle"), "offline");
}

TEST_F(Display, AnyOtherModeBehavesAsOne)
{
    showing(9, oneInterface);
    EXPECT_EQ(title(), "192.168.1.20");
}

TEST_F(Display, InterfaceNamesStandInTitleAndRowsWhenAskedFor)
{
    set("showInterfaceName", true);
    showing(1, oneInterface);
    EXPECT_EQ(title(), "eth0: 192.168.1.20");
    EXPECT_EQ(statusItem.rowTitles().mid(2, 2), QStringList({"eth0: 192.168.1.20", "wan: offline"}));
}

TEST_F(Display, BeforeAnyAddressTheMenuWaits)
{
    NewMenuItem fresh(ports(), features());
    QStringList rows;
    for (const MenuItem &row : fresh.theMenu().items())
        rows.append(row.separator ? QStringLiteral("-") : row.title);
    EXPECT_EQ(rows,
        QStringList({"gathering...", "-", "gathering...", "*", "*", "-", "All Addresses", "Copy Displayed Address", "Show in Panel", "Toggle Display",
            "Refresh Now", "-", "Preferences…", "-", "Quit"}));
    EXPECT_FALSE(fresh.theMenu().items().at(0).selectable());
}

TEST_F(Display, TwoInterfacesMakeTheRowsFirstSecondAndWAN)
{
    showing(1, twoInterfaces);
    EXPECT_EQ(statusItem.rowTitles().mid(2, 4), QStringList({"192.168.1.20", "10.0.0.5", "offline", "-"}));
}

TEST_F(Display, OneInterfaceMakesTheRowsFirstWANAndAStar)
{
    showing(1, oneInterface);
    EXPECT_EQ(statusItem.rowTitles().mid(2, 4), QStringList({"192.168.1.20", "offline", "*", "-"}));
    EXPECT_FALSE(statusItem.row(QStringLiteral("*")).selectable());
}

TEST_F(Display, NoInterfaceMakesTheRowsOfflineWANAndAStar)
{
    showing(1, {});
    EXPECT_EQ(title(), "offline");
    EXPECT_EQ(statusItem.rowTitles().mid(2, 4), QStringList({"offline", "offline", "*", "-"}));
    EXPECT_FALSE(statusItem.menu.items().at(2).selectable());
    EXPECT_TRUE(statusItem.menu.items().at(3).selectable());
    EXPECT_FALSE(stored("LANIP").isValid());
}

TEST_F(Display, ManyRedrawsLeaveTheMenuAtItsLength)
{
    showing(1, twoInterfaces);
    const int rows = statusItem.menu.count();
    for (int round = 0; round < 20; ++round) {
        kernel.addresses.clear();
        if (round % 3 > 0)
            kernel.add(QStringLiteral("eth0"), QStringLiteral("192.168.1.%1").arg(round));
        if (round % 3 > 1)
            kernel.add(QStringLiteral("eth1"), QStringLiteral("10.0.0.%1").arg(round));
        controller->findMyHost();
        settle();
        EXPECT_EQ(statusItem.menu.count(), rows);
    }
}

TEST_F(Display, UntilTheWANAddressIsKnownItIsBeingGathered)
{
    earlierRun();
    downloadTime = 10s;
    startWith(oneInterface);
    EXPECT_EQ(statusItem.rowTitles().at(3), "gathering...");
    EXPECT_EQ(stored("WANIP"), "gathering...");
}

TEST_F(Display, TheShownAddressesAreStored)
{
    showing(1, twoInterfaces);
    EXPECT_EQ(stored("LANIP"), "eth0: 192.168.1.20");
    EXPECT_EQ(stored("currentTitle"), "192.168.1.20");
    EXPECT_EQ(stored("previousNetworkAddresses").toMap(), QVariantMap({{"eth0", "eth0: 192.168.1.20"}, {"eth1", "eth1: 10.0.0.5"}}));
}

TEST_F(Display, TwoUpdatesATenthOfASecondApartDropTheSecond)
{
    showing(1, oneInterface);
    addressesChange({{"eth0", "eth0: 192.168.1.30"}});
    dispatch.advance(100ms);
    addressesChange({{"eth0", "eth0: 192.168.1.40"}});
    settle();
    EXPECT_EQ(title(), "192.168.1.30");
    EXPECT_EQ(log.count(QStringLiteral("already updatingDisplay - can't get new localhost")), 1);
}

TEST_F(Display, UpdatesTwoTenthsOfASecondApartBothCount)
{
    showing(1, oneInterface);
    addressesChange({{"eth0", "eth0: 192.168.1.30"}});
    dispatch.advance(200ms);
    addressesChange({{"eth0", "eth0: 192.168.1.40"}});
    settle();
    EXPECT_EQ(title(), "192.168.1.40");
}

TEST_F(Display, ARedrawWithoutKnownAddressesLooksThemUp)
{
    earlierRun();
    start();
    settings.remove(QStringLiteral("previousNetworkAddresses"));
    const int readings = kernel.readings;
    notifications.post(updateMenubarDataNotification);
    dispatch.runReady();
    EXPECT_TRUE(log.contains(QStringLiteral("No cached addresses, triggering fresh lookup")));
    EXPECT_EQ(kernel.readings, readings + 1);
}

TEST_F(Display, ARedrawUsesTheLastAddressesWithoutALookup)
{
    showing(1, oneInterface);
    const int readings = kernel.readings;
    set("showInterfaceName", true);
    notifications.post(updateMenubarDataNotification);
    settle();
    EXPECT_EQ(title(), "eth0: 192.168.1.20");
    EXPECT_EQ(kernel.readings, readings);
}

TEST_F(Display, ALongTitleIsClippedAndStandsWholeInTheTooltip)
{
    set("showInterfaceName", true);
    showing(1, {{"enp0s31f6anda", "192.168.100.200"}});
    EXPECT_EQ(title(), "enp0s31f6anda: 192.168...");
    EXPECT_EQ(statusItem.content.tooltip.section(u'\n', 0, 0), "enp0s31f6anda: 192.168.100.200");
}

TEST_F(Display, TheNetworkNameTakesTheFirstRow)
{
    showing(1, oneInterface);
    set("currentWiFiName", QStringLiteral("Harbour"));
    notifications.post(updateMenubarDataNotification);
    settle();
    EXPECT_EQ(statusItem.rowTitles().at(0), "Harbour");
    EXPECT_EQ(statusItem.menu.items().at(0).subtitle, "");
    EXPECT_EQ(stored("currentDisplayedWiFiName"), "Harbour");
}

TEST_F(Display, AnotherAssociatedNetworkStandsBelowTheName)
{
    showing(1, oneInterface);
    set("currentWiFiName", QStringLiteral("Harbour"));
    set("associatedWiFiNetwork", QStringLiteral("Attic"));
    notifications.post(updateMenubarDataNotification);
    settle();
    EXPECT_EQ(statusItem.rowTitles().at(0), "Harbour");
    EXPECT_EQ(statusItem.menu.items().at(0).subtitle, "  → Attic");
}

TEST_F(Display, TheCurrentOrTheSameNetworkIsNoOther)
{
    showing(1, oneInterface);
    set("currentWiFiName", QStringLiteral("Harbour"));
    for (const char *associated : {"current", "Harbour", ""}) {
        set("associatedWiFiNetwork", QString::fromLatin1(associated));
        notifications.post(updateMenubarDataNotification);
        settle();
        EXPECT_EQ(statusItem.menu.items().at(0).subtitle, "") << associated;
    }
}

TEST_F(Display, EveryActiveInterfaceStandsInTheSubmenu)
{
    showing(1, {{"eth0", "192.168.1.20"}, {"eth1", "10.0.0.5"}, {"wlan0", "172.16.3.4"}});
    QStringList titles;
    for (const MenuItem &row : statusItem.row(QStringLiteral("All Addresses")).children)
        titles.append(row.title);
    EXPECT_EQ(titles, QStringList({"eth0: 192.168.1.20", "eth1: 10.0.0.5", "wlan0: 172.16.3.4"}));
}

TEST_F(Display, ChoosingAModeInTheMenuShowsItAndMovesTheMark)
{
    showing(1, twoInterfaces);
    EXPECT_TRUE(statusItem.row(QStringLiteral("Primary LAN IP")).checked);
    EXPECT_TRUE(statusItem.click(QStringLiteral("Secondary LAN IP")));
    settle();
    EXPECT_EQ(title(), "10.0.0.5");
    EXPECT_EQ(stored("whichIP"), QVariant(3));
    EXPECT_FALSE(statusItem.row(QStringLiteral("Primary LAN IP")).checked);
    EXPECT_TRUE(statusItem.row(QStringLiteral("Secondary LAN IP")).checked);
}

TEST_F(Display, TheInterfaceNamesRowTogglesTheNames)
{
    showing(1, oneInterface);
    EXPECT_TRUE(statusItem.click(QStringLiteral("Interface Names")));
    settle();
    EXPECT_EQ(title(), "eth0: 192.168.1.20");
    EXPECT_TRUE(statusItem.row(QStringLiteral("Interface Names")).checked);
    EXPECT_TRUE(statusItem.click(QStringLiteral("Interface Names")));
    settle();
    EXPECT_EQ(title(), "192.168.1.20");
}

TEST_F(Display, TogglingWithTwoInterfacesGoesFirstSecondWANFirst)
{
    showing(1, twoInterfaces);
    QStringList shown;
    for (int step = 0; step < 3; ++step) {
        EXPECT_TRUE(statusItem.click(QStringLiteral("Toggle Display")));
        dispatch.runReady();
        shown.append(title() + u'/' + stored("whichIP").toString());
    }
    EXPECT_EQ(shown, QStringList({"eth1: 10.0.0.5/3", "offline/2", "eth0: 192.168.1.20/1"}));
}

TEST_F(Display, TogglingWithOneInterfaceGoesBetweenLANAndWAN)
{
    set("showInterfaceName", true);
    showing(1, oneInterface);
    EXPECT_TRUE(statusItem.click(QStringLiteral("Toggle Display")));
    dispatch.runReady();
    EXPECT_EQ(title(), "wan: offline");
    EXPECT_TRUE(statusItem.click(QStringLiteral("Toggle Display")));
    dispatch.runReady();
    EXPECT_EQ(title(), "eth0: 192.168.1.20");
}

TEST_F(Display, TogglingFromTheIconChangesNothing)
{
    showing(4, twoInterfaces);
    EXPECT_TRUE(statusItem.click(QStringLiteral("Toggle Display")));
    dispatch.runReady();
    EXPECT_EQ(stored("whichIP"), QVariant(4));
    EXPECT_EQ(title(), QString());
}

TEST_F(Display, TogglingFromTheSecondAddressWithOneInterfaceChangesNothing)
{
    showing(3, oneInterface);
    EXPECT_TRUE(statusItem.click(QStringLiteral("Toggle Display")));
    dispatch.runReady();
    EXPECT_EQ(stored("whichIP"), QVariant(3));
    EXPECT_EQ(title(), "192.168.1.20");
}

TEST_F(Display, TogglingWithoutAnyAddressSaysOfflineBothWays)
{
    set("showInterfaceName", true);
    showing(1, {});
    settings.remove(QStringLiteral("WANIP"));
    log.clear();
    EXPECT_TRUE(statusItem.click(QStringLiteral("Toggle Display")));
    dispatch.runReady();
    EXPECT_EQ(title(), "wan: offline");
    EXPECT_EQ(log.count(QStringLiteral("wan: offline")), 1);
    EXPECT_TRUE(statusItem.click(QStringLiteral("Toggle Display")));
    dispatch.runReady();
    EXPECT_EQ(title(), "offline");
}

TEST_F(Display, AStoredInterfaceListComesBeforeTheLiveOne)
{
    set("nics", QVariantList{"en7: 172.16.0.1", "en8: 172.16.0.2"});
    showing(1, twoInterfaces);
    EXPECT_TRUE(statusItem.click(QStringLiteral("Toggle Display")));
    dispatch.runReady();
    EXPECT_EQ(title(), "en8: 172.16.0.2");
}

TEST_F(Display, AStoredInterfaceListOfTheWrongKindCountsAsAbsent)
{
    set("nics", QStringLiteral("en7: 172.16.0.1"));
    showing(1, twoInterfaces);
    EXPECT_TRUE(statusItem.click(QStringLiteral("Toggle Display")));
    dispatch.runReady();
    EXPECT_EQ(title(), "eth1: 10.0.0.5");
}

TEST_F(Display, TheSubmenuShowsTheLiveListWhateverIsStored)
{
    set("nics", QVariantList{"en7: 172.16.0.1", "en8: 172.16.0.2"});
    showing(1, oneInterface);
    EXPECT_TRUE(statusItem.click(QStringLiteral("Toggle Display")));
    dispatch.runReady();
    ASSERT_EQ(statusItem.row(QStringLiteral("All Addresses")).children.size(), 1);
    EXPECT_EQ(statusItem.row(QStringLiteral("All Addresses")).children.at(0).title, "eth0: 192.168.1.20");
}

TEST_F(Display, TheMarkStandsAtTheModeFromTheStart)
{
    earlierRun(4);
    start();
    EXPECT_TRUE(statusItem.row(QStringLiteral("Icon Only (no IP)")).checked);
    EXPECT_FALSE(statusItem.row(QStringLiteral("Primary LAN IP")).checked);
}

TEST_F(Display, ClickingAnAddressRowCopiesTheBareAddress)
{
    set("showInterfaceName", true);
    showing(1, oneInterface);
    EXPECT_TRUE(statusItem.click(QStringLiteral("eth0: 192.168.1.20")));
    EXPECT_EQ(pasteboard.texts, QStringList({"192.168.1.20"}));
    EXPECT_TRUE(log.contains(QStringLiteral("copyToClipboardFromItem: eth0: 192.168.1.20")));
}

TEST_F(Display, ARowWithoutANameCopiesTheWordItself)
{
    showing(1, oneInterface);
    EXPECT_TRUE(statusItem.click(QStringLiteral("offline")));
    EXPECT_EQ(pasteboard.texts, QStringList({"offline"}));
}

TEST_F(Display, CopyingTheDisplayedAddressFollowsTheMode)
{
    showing(3, twoInterfaces);
    EXPECT_TRUE(statusItem.click(QStringLiteral("Copy Displayed Address")));
    set("whichIP", 2);
    notifications.post(preferencesChangedNotification);
    settle();
    EXPECT_TRUE(statusItem.click(QStringLiteral("Copy Displayed Address")));
    EXPECT_EQ(pasteboard.texts, QStringList({"10.0.0.5", "offline"}));
}

TEST_F(Display, CopyingWhileOnlyTheIconShowsClearsThePasteboard)
{
    showing(4, twoInterfaces);
    EXPECT_TRUE(statusItem.click(QStringLiteral("Copy Displayed Address")));
    EXPECT_EQ(pasteboard.texts, QStringList({""}));
}

TEST_F(Display, AMiddleClickCopiesTheShownAddressAndNeverAWord)
{
    showing(1, oneInterface);
    statusItem.events.middleClicked();
    kernel.addresses.clear();
    controller->findMyHost();
    settle();
    EXPECT_EQ(title(), "offline");
    statusItem.events.middleClicked();
    EXPECT_EQ(pasteboard.texts, QStringList({"192.168.1.20"}));
}

TEST_F(Display, AChangeOfAppearanceRedrawsTheStoredTitle)
{
    showing(1, oneInterface);
    log.clear();
    statusItem.events.appearanceChanged(QStringLiteral("Light"));
    dispatch.runReady();
    EXPECT_EQ(log.lines(),
        QStringList({"DEBUG changeMenuIcon: called", "DEBUG changeMenuIcon: whichIP = 1",
            "DEBUG changeMenuIcon: currentTitle from defaults = 192.168.1.20", "DEBUG changeMenuIcon: setting attributedTitle to: 192.168.1.20"}));
    EXPECT_EQ(title(), "192.168.1.20");
}

TEST_F(Display, AChangeOfAppearanceInIconModeShowsTheTemplateIconAgain)
{
    showing(4, oneInterface);
    log.clear();
    statusItem.events.appearanceChanged(QStringLiteral("dark"));
    dispatch.runReady();
    EXPECT_TRUE(log.contains(QStringLiteral("DEBUG changeMenuIcon: using image mode")));
    EXPECT_EQ(statusItem.content.image, StatusImage::templateIcon);
}

TEST_F(Display, OtherKeyPathsOfTheItemAreIgnored)
{
    showing(1, oneInterface);
    log.clear();
    controller->observeValueForKeyPath(QStringLiteral("visible"), QStringLiteral("dark"));
    dispatch.runReady();
    EXPECT_EQ(log.lines(), QStringList());
}

TEST_F(Display, AClipboardThatCannotBeSetIsLogged)
{
    showing(1, oneInterface);
    pasteboard.works = false;
    EXPECT_TRUE(statusItem.click(QStringLiteral("192.168.1.20")));
    dispatch.runReady();
    EXPECT_TRUE(log.contains(QStringLiteral("the clipboard could not be set")));
}

TEST_F(Display, AnEqualRebuildShowsTheSameRows)
{
    showing(1, twoInterfaces);
    const Menu before = statusItem.menu;
    const int readings = kernel.readings;
    controller->findMyHost();
    settle();
    ASSERT_EQ(kernel.readings, readings + 1);
    ASSERT_EQ(statusItem.menu.count(), before.count());
    for (int row = 0; row < before.count(); ++row)
        EXPECT_TRUE(before.items().at(row).looksLike(statusItem.menu.items().at(row))) << row;
}

TEST_F(Display, QuitEndsTheProgram)
{
    showing(1, oneInterface);
    EXPECT_TRUE(statusItem.click(QStringLiteral("Quit")));
    EXPECT_EQ(workspace.terminations, 1);
}

TEST_F(Display, ARedrawThatWaitsNeverBringsOldAddressesBack)
{
    earlierRun();
    startWith({{"eth0", "192.168.1.20"}});
    controller->changeShowInterfaceName(); // by a scan, say, on another thread
    set("previousNetworkAddresses", QVariantMap{{"eth0", "eth0: 192.168.1.99"}});
    settle();
    EXPECT_EQ(title(), "192.168.1.99");
}

} // namespace
