#include "tests/app/ControllerFixture.h"

#include <QDir>
#include <QFile>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class StartUp : public ControllerFixture
{
protected:
    /// The log lines among `wanted`, in the order in which they were written.
    [[nodiscard]] QStringList inOrder(const QStringList &wanted) const
    {
        QStringList found;
        for (const QString &line : log.lines()) {
            if (wanted.contains(line) && !found.contains(line))
                found.append(line);
        }
        return found;
    }
    /// Starts on one interface, on which the host is announced.
    void startPresence()
    {
        kernel.addresses.clear();
        kernel.add(QStringLiteral("eth0"), QStringLiteral("192.168.1.20"));
        presenceOf({"eth0: 192.168.1.20"});
        start();
    }
    [[nodiscard]] QStringList seededKeys() const
    {
        QStringList keys = settings.keys();
        for (const char *other : {"configurationURL", "iCloud_MAC_Sync", "WANIP", "LANIP", "currentTitle", "previousNetworkAddresses"})
            keys.removeAll(QString::fromLatin1(other));
        return keys;
    }
};

TEST_F(StartUp, FirstLaunchSeedsExactlyTheEightValuesAndShowsTheWelcome)
{
    start();
    EXPECT_EQ(seededKeys(),
        QStringList({"first_run", "lan_or_wan", "rendezvous_frequency", "showCurrentUser", "showMACAddresses", "updateFrequencyLAN",
            "updateFrequencyWAN", "whichIP"}));
    EXPECT_EQ(stored("first_run"), "TRUE");
    EXPECT_EQ(stored("lan_or_wan"), "WAN");
    EXPECT_EQ(stored("updateFrequencyLAN"), "60");
    EXPECT_EQ(stored("updateFrequencyWAN"), "10");
    EXPECT_EQ(stored("rendezvous_frequency"), "30");
    EXPECT_EQ(stored("showMACAddresses"), "TRUE");
    EXPECT_EQ(stored("showCurrentUser"), "TRUE");
    EXPECT_EQ(stored("whichIP"), QVariant(4));
    EXPECT_EQ(calls("welcome"), 1);
    EXPECT_TRUE(log.contains(QStringLiteral("Lanterna: maiden voyage")));
}

TEST_F(StartUp, FirstLaunchEndsAsIconOnly)
{
    startWith({{"eth0", "192.168.1.20"}});
    EXPECT_TRUE(log.contains(QStringLiteral("which IP? 4")));
    EXPECT_EQ(statusItem.content.image, StatusImage::templateIcon);
    EXPECT_EQ(title(), QString());
}

TEST_F(StartUp, ALaterLaunchSeedsOnlyAbsentIntervals)
{
    earlierRun();
    set("updateFrequencyLAN", QStringLiteral("120"));
    start();
    EXPECT_EQ(stored("updateFrequencyLAN"), "120");
    EXPECT_EQ(stored("updateFrequencyWAN"), "10");
    EXPECT_FALSE(settings.contains(QStringLiteral("rendezvous_frequency")));
    EXPECT_FALSE(log.contains(QStringLiteral("Lanterna: maiden voyage")));
    EXPECT_EQ(calls("welcome"), 0);
}

TEST_F(StartUp, CloudSyncIsForcedOnAndTheCurrentNetworkForgotten)
{
    earlierRun();
    set("iCloud_MAC_Sync", false);
    set("currentWiFiName", QStringLiteral("Harbour"));
    set("currentDisplayedWiFiName", QStringLiteral("Harbour"));
    start();
    EXPECT_EQ(stored("iCloud_MAC_Sync"), QVariant(true));
    EXPECT_FALSE(stored("currentWiFiName").isValid());
    EXPECT_FALSE(stored("currentDisplayedWiFiName").isValid());
}

TEST_F(StartUp, AStoreWithoutAModeTakesTheLegacyChoice)
{
    set("first_run", QStringLiteral("TRUE"));
    set("whichIP", 0);
    set("lan_or_wan", QStringLiteral("LAN"));
    start();
    EXPECT_TRUE(log.contains(QStringLiteral("which IP? 1")));
    set("lan_or_wan", QStringLiteral("WAN"));
    start();
    EXPECT_TRUE(log.contains(QStringLiteral("which IP? 2")));
}

TEST_F(StartUp, EventsOfTheStartComeInTheirOrder)
{
    start();
    const QStringList wanted{"hostname: lighthouse", "Lanterna: maiden voyage", "which IP? 4", "whatIsMyIPURL is nil or empty, cannot fetch WAN IP",
        "Lanterna...go!", "DEBUG changeMenuIcon: called", "getting external IP"};
    EXPECT_EQ(inOrder(wanted), wanted);
}

TEST_F(StartUp, TheFirstWANTickFindsNoEndpointAndTheLookupFollowsTheConfiguration)
{
    earlierRun();
    replies[QStringLiteral("http://lan.example/lanterna.txt")].body = "http://lan.example/ip||[||]";
    replies[QStringLiteral("http://lan.example/ip")].body = "[203.0.113.7]";
    start();
    EXPECT_EQ(log.count(QStringLiteral("whatIsMyIPURL is nil or empty, cannot fetch WAN IP")), 1);
    EXPECT_EQ(downloads, QStringList({"http://lan.example/lanterna.txt"}));
    dispatch.advance(1s);
    EXPECT_EQ(downloads, QStringList({"http://lan.example/lanterna.txt", "http://lan.example/ip"}));
    EXPECT_EQ(stored("WANIP"), "203.0.113.7");
}

TEST_F(StartUp, TheFirstLANPassComesWithTheWANReplyAndAfterFiveSeconds)
{
    earlierRun();
    start();
    EXPECT_EQ(lanPasses(), 0);
    dispatch.advance(4999ms);
    EXPECT_EQ(lanPasses(), 1); // the failed WAN lookup's
    dispatch.advance(1ms);
    EXPECT_EQ(lanPasses(), 2);
}

TEST_F(StartUp, TheWANTimerCountsInMinutes)
{
    earlierRun();
    set("updateFrequencyWAN", QStringLiteral("10"));
    start();
    dispatch.advance(599s);
    const auto before = downloads.size();
    dispatch.advance(1s);
    EXPECT_EQ(downloads.size(), before + 1);
}

TEST_F(StartUp, AWANPeriodOfSixHoursIs21600Seconds)
{
    earlierRun();
    set("updateFrequencyWAN", QStringLiteral("360"));
    start();
    dispatch.advance(21599s);
    const auto before = downloads.size();
    dispatch.advance(1s);
    EXPECT_EQ(downloads.size(), before + 1);
}

TEST_F(StartUp, ThePresencePeriodFollowsTheLANPeriodWheneverItsOwnKeyExists)
{
    earlierRun();
    set("rendezvous_frequency", QStringLiteral("30"));
    set("updateFrequencyLAN", QStringLiteral("120"));
    startPresence();
    const auto atStart = announcements();
    dispatch.advance(119s);
    EXPECT_EQ(announcements(), atStart);
    dispatch.advance(1s);
    EXPECT_EQ(announcements(), atStart + 1);
}

TEST_F(StartUp, WithoutThatKeyThePresencePeriodIsThirtySeconds)
{
    earlierRun();
    startPresence();
    const auto atStart = announcements();
    dispatch.advance(29s);
    EXPECT_EQ(announcements(), atStart);
    dispatch.advance(1s);
    EXPECT_EQ(announcements(), atStart + 1);
}

TEST_F(StartUp, APeriodBelowOneUsesTheBuiltInOneAndSaysSo)
{
    earlierRun();
    set("updateFrequencyLAN", QStringLiteral("-5"));
    set("updateFrequencyWAN", QStringLiteral("often"));
    start();
    EXPECT_TRUE(log.contains(QStringLiteral("updateFrequencyLAN is -5, using 60")));
    EXPECT_TRUE(log.contains(QStringLiteral("updateFrequencyWAN is 0, using 60")));
    dispatch.advance(10s);
    log.clear();
    dispatch.advance(60s);
    EXPECT_EQ(lanPasses(), 1);
}

TEST_F(StartUp, AWANPeriodThatIsNoneIsAnHour)
{
    const QString endpoint = QStringLiteral("http://lan.example/ip");
    replies[QStringLiteral("http://lan.example/lanterna.txt")].body = "http://lan.example/ip||[||]";
    earlierRun();
    for (const char *period : {"0", "-3", "abc", ""}) {
        set("updateFrequencyWAN", QString::fromLatin1(period));
        start();
        dispatch.advance(1s); // the configuration's own lookup
        EXPECT_EQ(timeBetween([&] { return downloads.count(endpoint); }), std::optional<std::chrono::seconds>(60min)) << period;
    }
}

TEST_F(StartUp, ALANPeriodThatIsNoneIsAMinuteAndThePresenceFollowsIt)
{
    earlierRun();
    set("updateFrequencyWAN", QStringLiteral("360"));
    set("rendezvous_frequency", QStringLiteral("30"));
    for (const char *period : {"0", "-3", "abc", ""}) {
        set("updateFrequencyLAN", QString::fromLatin1(period));
        startPresence();
        dispatch.advance(10s); // the passes of the start
        EXPECT_EQ(timeBetween([this] { return lanPasses(); }), std::optional<std::chrono::seconds>(60s)) << period;
        EXPECT_EQ(timeBetween([this] { return announcements(); }), std::optional<std::chrono::seconds>(60s)) << period;
    }
}

TEST_F(StartUp, APeriodIsReadFromTheBeginningOfItsText)
{
    earlierRun();
    set("updateFrequencyWAN", QStringLiteral("360"));
    set("updateFrequencyLAN", QStringLiteral(" 45 seconds"));
    start();
    dispatch.advance(10s);
    EXPECT_EQ(timeBetween([this] { return lanPasses(); }), std::optional<std::chrono::seconds>(45s));
}

TEST_F(StartUp, HugePeriodsNeverOverflow)
{
    earlierRun();
    set("updateFrequencyLAN", QStringLiteral("99999999999999999999"));
    set("updateFrequencyWAN", QStringLiteral("9223372036854775807"));
    start();
    dispatch.advance(1h);
    EXPECT_EQ(lanPasses(), 2); // those of the start alone
}

TEST_F(StartUp, EveryStartedPartIsStartedOnce)
{
    earlierRun();
    presenceOf({"eth0: 192.168.1.20"}, true);
    start();
    for (const char *name : {"customisations", "launchAtLogin", "publisher"})
        EXPECT_EQ(calls(name), 1) << name;
    EXPECT_EQ(statusItem.starts, 1);
    EXPECT_EQ(browsing.watches.size(), 1);
    EXPECT_EQ(accountReads, 2); // for the presence: the timer's first firing and the set-up itself
}

TEST_F(StartUp, WithoutAnyOtherPartTheDisplayStillWorks)
{
    withFeatures = false;
    earlierRun();
    startWith({{"eth0", "192.168.1.20"}});
    dispatch.advance(10min);
    EXPECT_EQ(title(), "192.168.1.20");
    EXPECT_FALSE(statusItem.click(QStringLiteral("Preferences…")));
}

TEST_F(StartUp, ADayOfTimersPasses)
{
    earlierRun();
    replies[QStringLiteral("http://lan.example/lanterna.txt")].body = "http://lan.example/ip||[||]";
    replies[QStringLiteral("http://lan.example/ip")].body = "[203.0.113.7]";
    startWith({{"eth0", "192.168.1.20"}});
    dispatch.advance(24h);
    const int lookups = 1 + 24 * 6; // the configuration's, then one every ten minutes
    EXPECT_EQ(downloads.count(QStringLiteral("http://lan.example/ip")), lookups);
    EXPECT_EQ(lanPasses(), 24 * 60 + 1 + lookups);
    dispatch.advance(2s); // the last pass's snapshot
    EXPECT_EQ(calls("snapshot"), calls("scan"));
    EXPECT_EQ(calls("review"), 24 * 60);
    EXPECT_EQ(title(), "192.168.1.20");
}

TEST_F(StartUp, CommandAndOptionWithoutControlOfferTheReset)
{
    start(Workspace::commandKey | Workspace::optionKey);
    ASSERT_EQ(alerts.shown.size(), 1);
    EXPECT_EQ(alerts.shown[0].message, "Reset Prefs");
    EXPECT_EQ(alerts.shown[0].informativeText, "Are you sure you want to reset the prefs before launching?");
    EXPECT_EQ(alerts.shown[0].buttons, QStringList({"Cancel", "Reset"}));
    EXPECT_EQ(alerts.shown[0].defaultButton, 0);
    EXPECT_EQ(alerts.shown[0].cancelButton, 0);
    EXPECT_TRUE(browsing.watches.isEmpty()); // not before the answer
}

TEST_F(StartUp, ControlAsWellOrOneOfThemAloneOffersNothing)
{
    for (const quint64 keys : {Workspace::commandKey | Workspace::optionKey | Workspace::controlKey, Workspace::commandKey, Workspace::optionKey}) {
        start(keys);
        EXPECT_TRUE(alerts.shown.isEmpty()) << keys;
        EXPECT_EQ(browsing.watches.size(), 1) << keys;
    }
}

TEST_F(StartUp, AskingAgainWhileTheQuestionStandsAsksOnce)
{
    start(Workspace::commandKey | Workspace::optionKey);
    controller->offerReset([] {});
    EXPECT_EQ(alerts.shown.size(), 1);
}

TEST_F(StartUp, CancellingTheResetKeepsEverythingAndGoesOn)
{
    earlierRun();
    alerts.answer = 0;
    start(Workspace::commandKey | Workspace::optionKey);
    EXPECT_EQ(stored("first_run"), "TRUE");
    EXPECT_EQ(browsing.watches.size(), 1);
    EXPECT_EQ(workspace.terminations, 0);
}

TEST_F(StartUp, ResettingRemovesEveryKeySaysSoAndEndsTheProgram)
{
    earlierRun();
    alerts.answer = 1;
    start(Workspace::commandKey | Workspace::optionKey);
    EXPECT_TRUE(log.contains(QStringLiteral("removing prefKey: first_run")));
    EXPECT_TRUE(log.contains(QStringLiteral("reset successful")));
    EXPECT_FALSE(settings.contains(QStringLiteral("first_run")));
    for (const char *key : {"whichIP", "updateFrequencyLAN", "updateFrequencyWAN", "iCloud_MAC_Sync", "configurationURL"})
        EXPECT_FALSE(stored(key).isValid()) << key;
    EXPECT_EQ(workspace.terminations, 1);
    ASSERT_EQ(alerts.shown.size(), 2);
    EXPECT_EQ(alerts.shown[1].message, "Prefs deleted");
    EXPECT_EQ(alerts.shown[1].informativeText, "Please relaunch app after termination...");
}

TEST_F(StartUp, AResetThatCannotBeWrittenSaysSoAndStillEndsTheProgram)
{
    earlierRun();
    start();
    QDir(folder.path()).removeRecursively();
    QFile inTheWay(folder.path());
    ASSERT_TRUE(inTheWay.open(QIODevice::WriteOnly));
    alerts.answer = 0;
    controller->resetPrefs();
    dispatch.runReady();
    EXPECT_TRUE(log.contains(QStringLiteral("unable to reset Prefs")));
    EXPECT_FALSE(log.contains(QStringLiteral("reset successful")));
    EXPECT_EQ(workspace.terminations, 1);
    inTheWay.remove();
}

TEST_F(StartUp, TheReviewCountEndsForTheRunWhenItsPartSaysSo)
{
    earlierRun();
    reviewGoesOn = false;
    start();
    dispatch.advance(10min);
    EXPECT_EQ(calls("review"), 1);
}

TEST_F(StartUp, TheItemIsPutIntoThePanelOnce)
{
    earlierRun();
    start();
    controller->createStatusItem();
    EXPECT_EQ(statusItem.starts, 1);
    EXPECT_EQ(statusItem.titles.count(QStringLiteral("starting...")), 1);
}

TEST_F(StartUp, TerminatingForgetsTheNetworkKeysAndNothingElse)
{
    earlierRun();
    start();
    for (const char *key : {"currentWiFiName", "currentDisplayedWiFiName", "AppleTVNetwork"})
        set(key, QStringLiteral("Harbour"));
    set("MACAddressesByNetworkSegment", QVariantMap{{"Harbour", QVariantMap{}}});
    controller->applicationWillTerminate();
    for (const char *key : {"currentWiFiName", "currentDisplayedWiFiName", "AppleTVNetwork", "MACAddressesByNetworkSegment"})
        EXPECT_FALSE(stored(key).isValid()) << key;
    EXPECT_EQ(stored("first_run"), "TRUE");
}

} // namespace
