#include "tests/app/ControllerFixture.h"

using namespace lanterna;

namespace
{

class Location : public ControllerFixture
{
protected:
    void running()
    {
        earlierRun();
        startWith({{"eth0", "192.168.1.20"}});
        log.clear();
    }
    /// One scan's request; the answers are kept.
    void scan()
    {
        helper.requestAuthorizationWithCompletion([this](bool authorized) { answers.append(authorized); });
        dispatch.runReady();
    }
    [[nodiscard]] qsizetype warningRows() const { return statusItem.rowTitles().count(warning); }

    const QString warning = QStringLiteral("⚠️ Grant Location Access to Resume Scanning…");
    FakeLocationManager manager;
    LocationAuthHelper helper{manager, notifications, log};
    QList<bool> answers;
};

TEST_F(Location, DeniedPermissionInsertsOneWarningRowAboveQuit)
{
    running();
    manager.status = LocationAuthorizationStatus::denied;
    int posts = 0;
    const auto observation = notifications.observe(locationAuthorizationChangedNotification, [&](const Notification &) { ++posts; });
    for (int pass = 0; pass < 3; ++pass)
        scan();
    EXPECT_EQ(answers, QList<bool>({false, false, false}));
    EXPECT_EQ(posts, 3);
    EXPECT_EQ(warningRows(), 1);
    EXPECT_EQ(statusItem.rowTitles().mid(statusItem.menu.count() - 2), QStringList({warning, "Quit"}));
    EXPECT_EQ(log.count(QStringLiteral("NewMenuItem: location authorization -> NOT authorized")), 1);
    EXPECT_EQ(log.count(QStringLiteral("Location permission previously denied/restricted; not requesting again")), 3);
    EXPECT_EQ(manager.requests, 0);
}

TEST_F(Location, ANetworkNamedQuitDoesNotDrawTheWarningToTheTop)
{
    running();
    set("currentWiFiName", QStringLiteral("Quit"));
    controller->changeShowInterfaceName();
    settle();
    manager.status = LocationAuthorizationStatus::denied;
    scan();
    EXPECT_EQ(statusItem.rowTitles().indexOf(warning), statusItem.menu.count() - 2);
}

TEST_F(Location, WhileDeniedTheWarningTakesThePlaceOfEveryTitle)
{
    running();
    manager.status = LocationAuthorizationStatus::restricted;
    scan();
    EXPECT_EQ(statusItem.content.image, StatusImage::locationWarning);
    EXPECT_EQ(statusItem.content.accessibilityDescription, "Lanterna needs Location permission");
    controller->findMyHost();
    settle();
    EXPECT_EQ(statusItem.content.image, StatusImage::locationWarning);
    EXPECT_EQ(title(), QString());
}

TEST_F(Location, PermissionGrantedLaterBringsTheLastTitleBack)
{
    running();
    manager.status = LocationAuthorizationStatus::denied;
    scan();
    manager.decide(LocationAuthorizationStatus::authorizedAlways);
    dispatch.runReady();
    EXPECT_EQ(warningRows(), 0);
    EXPECT_EQ(title(), "192.168.1.20");
    EXPECT_EQ(statusItem.content.image, StatusImage::none);
    EXPECT_TRUE(log.contains(QStringLiteral("Location auth changed: 3 (authorized: 1)")));
    EXPECT_TRUE(log.contains(QStringLiteral("NewMenuItem: location authorization -> authorized")));
}

TEST_F(Location, AllowedWhenInUseIsNotEnoughAndAsksForMore)
{
    running();
    manager.status = LocationAuthorizationStatus::authorizedWhenInUse;
    scan();
    EXPECT_EQ(manager.requests, 1);
    EXPECT_TRUE(answers.isEmpty());
    EXPECT_TRUE(log.contains(QStringLiteral("Requesting location always authorization...")));
    manager.decide(LocationAuthorizationStatus::authorizedWhenInUse);
    EXPECT_EQ(answers, QList<bool>({false}));
}

TEST_F(Location, AnUndecidedPersonIsAskedAndTheAnswerEndsTheRequestOnce)
{
    running();
    scan();
    EXPECT_EQ(manager.requests, 1);
    manager.decide(LocationAuthorizationStatus::authorizedAlways);
    manager.decide(LocationAuthorizationStatus::authorizedAlways);
    EXPECT_EQ(answers, QList<bool>({true}));
}

TEST_F(Location, TheSameStateAgainCostsNothing)
{
    running();
    manager.status = LocationAuthorizationStatus::authorizedAlways;
    const auto titles = statusItem.titles.size();
    for (int pass = 0; pass < 5; ++pass)
        scan();
    EXPECT_EQ(statusItem.titles.size(), titles);
    EXPECT_EQ(log.count(QStringLiteral("Location authorization status: 3")), 5);
}

TEST_F(Location, BeforeTheFirstAnswerNoWarningShows)
{
    running();
    EXPECT_EQ(warningRows(), 0);
    EXPECT_EQ(statusItem.content.image, StatusImage::none);
}

TEST_F(Location, TheWarningRowLeadsToThePrivacySettings)
{
    running();
    manager.status = LocationAuthorizationStatus::denied;
    scan();
    alerts.answer = 0;
    EXPECT_TRUE(statusItem.click(warning));
    dispatch.runReady();
    ASSERT_EQ(alerts.shown.size(), 1);
    EXPECT_EQ(alerts.shown[0].message, "Location Permission Needed");
    EXPECT_EQ(alerts.shown[0].informativeText,
        "Lanterna reads your Wi-Fi network name via Location Services before it can scan the network and publish data to Rangefinder. "
        "Enable Location Services for Lanterna in System Settings, and scanning will resume automatically.");
    EXPECT_EQ(alerts.shown[0].buttons, QStringList({"Open System Settings", "Cancel"}));
    EXPECT_EQ(alerts.shown[0].cancelButton, 1);
    EXPECT_EQ(workspace.opened, QStringList({"x-apple.systempreferences:com.apple.preference.security?Privacy_LocationServices"}));
}

TEST_F(Location, PrivacySettingsThatNothingOpensAreLogged)
{
    running();
    workspace.opens = false;
    manager.status = LocationAuthorizationStatus::denied;
    scan();
    alerts.answer = 0;
    EXPECT_TRUE(statusItem.click(warning));
    dispatch.runReady();
    EXPECT_TRUE(log.contains(QStringLiteral("nothing here opens the privacy settings")));
}

TEST_F(Location, TheWarningTakesThePlaceOfTheIconTooUntilPermissionComes)
{
    earlierRun(iconOnly);
    startWith({{"eth0", "192.168.1.20"}});
    manager.status = LocationAuthorizationStatus::denied;
    scan();
    statusItem.events.appearanceChanged(QStringLiteral("light"));
    dispatch.runReady();
    EXPECT_EQ(statusItem.content.image, StatusImage::locationWarning);
    manager.decide(LocationAuthorizationStatus::authorizedAlways);
    dispatch.runReady();
    EXPECT_EQ(statusItem.content.image, StatusImage::templateIcon);
}

TEST_F(Location, CancellingTheAlertOpensNothing)
{
    running();
    manager.status = LocationAuthorizationStatus::denied;
    scan();
    alerts.answer = 1;
    EXPECT_TRUE(statusItem.click(warning));
    dispatch.runReady();
    EXPECT_TRUE(workspace.opened.isEmpty());
}

} // namespace
