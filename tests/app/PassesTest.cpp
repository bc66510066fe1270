#include "tests/app/ControllerFixture.h"

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class Passes : public ControllerFixture
{
protected:
    /// Starts and lets the passes of the start go by.
    void running()
    {
        earlierRun();
        startWith({{"eth0", "192.168.1.20"}});
        dispatch.advance(10s);
        log.clear();
    }
};

TEST_F(Passes, ABurstOfNetworkChangesIsOnePassThreeSecondsAfterTheLast)
{
    running();
    for (int event = 0; event < 3; ++event) {
        events.networkChanged();
        dispatch.advance(1s);
    }
    EXPECT_EQ(log.count(QStringLiteral("rescanSoonForHelperEvent: network-change")), 3);
    dispatch.advance(1999ms);
    EXPECT_EQ(lanPasses(), 0);
    dispatch.advance(1ms);
    EXPECT_EQ(lanPasses(), 1);
}

TEST_F(Passes, WakingIsLoggedUnderItsName)
{
    running();
    events.wokeFromSleep();
    dispatch.advance(3s);
    EXPECT_TRUE(log.contains(QStringLiteral("rescanSoonForHelperEvent: NSWorkspaceDidWakeNotification")));
    EXPECT_EQ(lanPasses(), 1);
}

TEST_F(Passes, AnEventReplacesTheDelayedPassOfTheStart)
{
    earlierRun();
    start();
    dispatch.advance(4s); // the WAN reply's pass has gone by
    log.clear();
    events.networkChanged();
    dispatch.advance(2999ms);
    EXPECT_EQ(lanPasses(), 0);
    dispatch.advance(1ms);
    EXPECT_EQ(lanPasses(), 1);
}

TEST_F(Passes, AWakeDropsASnapshotWhoseSubnetIsGoneAndSaysSoBeforeTheRescan)
{
    running();
    int announcements = 0;
    const auto observation = notifications.observe(snapshotSavedNotification, [&](const Notification &) {
        ++announcements;
        EXPECT_FALSE(stored("latestLocalSnapshot").isValid()); // whoever reads it now finds none
    });
    set("latestLocalSnapshot", QVariantMap{{"subnet", "10.9.8"}});
    subnetPrefixes = {"192.168.1"};
    events.wokeFromSleep();
    EXPECT_TRUE(log.contains(QStringLiteral("Network changed — invalidating stale snapshot (subnet '10.9.8' no longer local)")));
    EXPECT_FALSE(stored("latestLocalSnapshot").isValid());
    EXPECT_EQ(announcements, 1);
    EXPECT_EQ(lanPasses(), 0);
}

TEST_F(Passes, ASnapshotOfALocalSubnetStays)
{
    running();
    set("latestLocalSnapshot", QVariantMap{{"subnet", "192.168.1"}});
    subnetPrefixes = {"10.0.0", "192.168.1"};
    events.networkChanged();
    EXPECT_TRUE(stored("latestLocalSnapshot").isValid());
}

TEST_F(Passes, ASnapshotWhoseSubnetIsNoTextIsDropped)
{
    running();
    set("latestLocalSnapshot", QVariantMap{{"subnet", 7}});
    subnetPrefixes = {"7"};
    events.networkChanged();
    EXPECT_FALSE(stored("latestLocalSnapshot").isValid());
    EXPECT_TRUE(log.contains(QStringLiteral("Network changed — invalidating stale snapshot (subnet '' no longer local)")));
}

TEST_F(Passes, TriggeringAScanStartsAPassAtOnce)
{
    running();
    notifications.post(triggerImmediateScanNotification);
    EXPECT_EQ(log.lines().mid(0, 2), QStringList({"TriggerImmediateScan received — kicking a fresh LAN scan", "timerLAN"}));
}

TEST_F(Passes, APassStampsTheNetworksEntryAndDropsItsTable)
{
    running();
    set("currentWiFiName", QStringLiteral("Harbour"));
    set("MACAddressesByNetworkSegment",
        QVariantMap{{"Harbour", QVariantMap{{"192.168.1.9", "00:11:32:00:77:14"}}}, {"Attic", QVariantMap{{"lastUpdate", "x"}}}});
    controller->timerLAN();
    const QVariantMap table = stored("MACAddressesByNetworkSegment").toMap();
    const QString stamp = dispatch.now().toLocalTime().toString(QStringLiteral("MM/dd/yyyy HH:mm"));
    EXPECT_EQ(table.value(QStringLiteral("Harbour")).toMap(), QVariantMap({{"lastUpdate", stamp}}));
    EXPECT_EQ(table.value(QStringLiteral("Attic")).toMap(), QVariantMap({{"lastUpdate", "x"}}));
}

TEST_F(Passes, WithoutANetworkNameNothingIsStamped)
{
    running();
    controller->timerLAN();
    EXPECT_FALSE(stored("MACAddressesByNetworkSegment").isValid());
}

TEST_F(Passes, TheSnapshotFollowsAfterTwoSecondsAndTheUploadAfterFive)
{
    running();
    set("showMACAddresses", QStringLiteral("TRUE"));
    const int snapshots = calls("snapshot");
    const int uploads = calls("upload");
    controller->timerLAN();
    dispatch.advance(1999ms);
    EXPECT_EQ(calls("snapshot"), snapshots);
    dispatch.advance(1ms);
    EXPECT_EQ(calls("snapshot"), snapshots + 1);
    EXPECT_TRUE(log.contains(QStringLiteral("RGFCoreScanEngine: network snapshot saved successfully")));
    dispatch.advance(2999ms);
    EXPECT_EQ(calls("upload"), uploads);
    dispatch.advance(1ms);
    EXPECT_EQ(calls("upload"), uploads + 1);
}

TEST_F(Passes, WithoutSharingThereIsASnapshotAndNoUpload)
{
    running();
    set("showMACAddresses", false);
    const int snapshots = calls("snapshot");
    const int uploads = calls("upload");
    controller->timerLAN();
    dispatch.advance(6s);
    EXPECT_EQ(calls("snapshot"), snapshots + 1);
    EXPECT_EQ(calls("upload"), uploads);
}

TEST_F(Passes, ASnapshotThatFailsIsLoggedAndTheNextPassTriesAgain)
{
    running();
    snapshotError = QStringLiteral("no network");
    const int snapshots = calls("snapshot");
    controller->timerLAN();
    dispatch.advance(2s);
    EXPECT_TRUE(log.contains(QStringLiteral("RGFCoreScanEngine: snapshot error: no network")));
    EXPECT_FALSE(log.contains(QStringLiteral("RGFCoreScanEngine: network snapshot saved successfully")));
    controller->timerLAN();
    dispatch.advance(2s);
    EXPECT_EQ(calls("snapshot"), snapshots + 2);
}

TEST_F(Passes, SnapshotAndUploadCountFromTheEndOfTheScan)
{
    running();
    set("showMACAddresses", QStringLiteral("TRUE"));
    scansAnswer = false;
    const int snapshots = calls("snapshot");
    const int uploads = calls("upload");
    controller->timerLAN();
    dispatch.advance(20s);
    EXPECT_EQ(calls("snapshot"), snapshots);
    ASSERT_EQ(openScans.size(), 1);
    openScans.first()({});
    dispatch.advance(2s);
    EXPECT_EQ(calls("snapshot"), snapshots + 1);
    EXPECT_EQ(calls("upload"), uploads);
    dispatch.advance(3s);
    EXPECT_EQ(calls("upload"), uploads + 1);
}

TEST_F(Passes, AScanThatEndsAfterTheControllerLeavesNoTrace)
{
    running();
    set("showMACAddresses", QStringLiteral("TRUE"));
    set("currentWiFiName", QStringLiteral("Harbour"));
    scansAnswer = false;
    controller->timerLAN();
    dispatch.runReady();
    const int snapshots = calls("snapshot");
    controller.reset();
    ASSERT_EQ(openScans.size(), 1);
    openScans.first()({});
    dispatch.advance(1min);
    EXPECT_FALSE(stored("MACAddressesByNetworkSegment").isValid());
    EXPECT_EQ(calls("snapshot"), snapshots);
}

TEST_F(Passes, WhatAPassStillOwesEndsWithTheController)
{
    running();
    set("showMACAddresses", QStringLiteral("TRUE"));
    controller->timerLAN();
    dispatch.runReady();
    const int snapshots = calls("snapshot");
    const int uploads = calls("upload");
    controller.reset();
    dispatch.advance(1min);
    EXPECT_EQ(calls("snapshot"), snapshots);
    EXPECT_EQ(calls("upload"), uploads);
}

TEST_F(Passes, AControllerThatIsGoneHearsNothing)
{
    running();
    controller.reset();
    log.clear();
    const int readings = kernel.readings;
    for (const QString &name : {locationAuthorizationChangedNotification, localhostAddressesResolvedNotification, macAddressesEditedNotification,
             preferencesChangedNotification, updateMenubarDataNotification, triggerImmediateScanNotification})
        notifications.post(name);
    dispatch.advance(1h);
    EXPECT_EQ(log.lines(), QStringList());
    EXPECT_EQ(kernel.readings, readings);
}

TEST_F(Passes, RefreshingAllLooksUpAddressesPresenceAndWAN)
{
    running();
    const int readings = kernel.readings;
    presenceOf({"eth0: 192.168.1.20"});
    const auto announced = announcements();
    const auto lookups = downloads.size();
    EXPECT_TRUE(statusItem.click(QStringLiteral("Refresh Now")));
    dispatch.advance(1ms);
    EXPECT_EQ(kernel.readings, readings + 1);
    EXPECT_EQ(announcements(), announced + 1);
    EXPECT_EQ(downloads.size(), lookups + 1);
}

} // namespace
