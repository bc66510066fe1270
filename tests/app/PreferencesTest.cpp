#include "tests/app/ControllerFixture.h"

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class Preferences : public ControllerFixture
{
protected:
    void running()
    {
        earlierRun();
        startWith({{"eth0", "192.168.1.20"}, {"eth1", "10.0.0.5"}});
        dispatch.advance(10s);
        log.clear();
    }
    void changed() { notifications.post(preferencesChangedNotification); }
};

TEST_F(Preferences, AChangedModeShowsAtOnce)
{
    running();
    set("whichIP", 3);
    changed();
    settle();
    EXPECT_EQ(title(), "10.0.0.5");
}

TEST_F(Preferences, AnAbsentModeBehavesAsTheFirst)
{
    running();
    set("whichIP", 3);
    changed();
    settle();
    settings.remove(QStringLiteral("whichIP"));
    changed();
    settle();
    EXPECT_EQ(title(), "192.168.1.20");
}

TEST_F(Preferences, ANewLANPeriodCountsFromTheChangeAndIsNotFiredAtOnce)
{
    running();
    set("updateFrequencyLAN", QStringLiteral("30"));
    changed();
    dispatch.advance(29999ms);
    EXPECT_EQ(lanPasses(), 0);
    dispatch.advance(1ms);
    EXPECT_EQ(lanPasses(), 1);
}

TEST_F(Preferences, ANewWANPeriodCountsInMinutes)
{
    running();
    set("updateFrequencyWAN", QStringLiteral("30"));
    changed();
    const auto before = downloads.size();
    dispatch.advance(30min - 1ms);
    EXPECT_EQ(downloads.size(), before);
    dispatch.advance(1ms);
    EXPECT_EQ(downloads.size(), before + 1);
}

TEST_F(Preferences, ANewPeriodThatIsNoneCountsAsTheBuiltInOne)
{
    running();
    set("updateFrequencyLAN", QStringLiteral("0"));
    set("updateFrequencyWAN", QStringLiteral("-3"));
    changed();
    EXPECT_EQ(timeBetween([this] { return downloads.size(); }), std::optional<std::chrono::seconds>(60min));
    dispatch.advance(10s); // the pass that the lookup made
    EXPECT_EQ(timeBetween([this] { return lanPasses(); }), std::optional<std::chrono::seconds>(60s));
}

TEST_F(Preferences, AnAbsentPeriodLeavesTheTimerAlone)
{
    running();
    settings.remove(QStringLiteral("updateFrequencyLAN"));
    changed();
    dispatch.advance(49400ms); // it was set 10.6 s ago
    EXPECT_EQ(lanPasses(), 1);
}

TEST_F(Preferences, TheLegacyPopUpsOfferTheirChoicesAndShowWhatIsStored)
{
    running();
    const LegacyPreferences &legacy = controller->legacyPreferences();
    EXPECT_EQ(legacy.lan_or_wan.items, QStringList({"", "WAN", "LAN"}));
    EXPECT_EQ(legacy.updateFrequencyLAN.items, QStringList({"(seconds)", "30", "60", "120", "300"}));
    EXPECT_EQ(legacy.updateFrequencyWAN.items, QStringList({"(minutes)", "10", "30", "60", "360"}));
    EXPECT_TRUE(legacy.rendezvous_frequency.items.isEmpty());
    EXPECT_EQ(legacy.updateFrequencyLAN.title, "60");
    EXPECT_EQ(legacy.updateFrequencyWAN.title, "10");
}

TEST_F(Preferences, TheLegacyLANPopUpStoresItsTitleAndFiresWithTheOldPeriod)
{
    running();
    PopUpButton &popUp = controller->legacyPreferences().updateFrequencyLAN;
    popUp.title = QStringLiteral("300");
    controller->prefsChanged(popUp);
    EXPECT_EQ(stored("updateFrequencyLAN"), "300");
    EXPECT_EQ(log.lines().mid(0, 2), QStringList({"300", "timerLAN"}));
    log.clear();
    dispatch.advance(60s);
    EXPECT_EQ(lanPasses(), 1); // the period in force is still 60 s
}

TEST_F(Preferences, TheLegacyWANPopUpStoresItsTitleAndFires)
{
    running();
    PopUpButton &popUp = controller->legacyPreferences().updateFrequencyWAN;
    popUp.title = QStringLiteral("360");
    const auto before = downloads.size();
    controller->prefsChanged(popUp);
    EXPECT_EQ(stored("updateFrequencyWAN"), "360");
    EXPECT_EQ(downloads.size(), before + 1);
}

TEST_F(Preferences, TheLegacyDisplayPopUpStoresItsTitle)
{
    running();
    PopUpButton &popUp = controller->legacyPreferences().lan_or_wan;
    popUp.title = QStringLiteral("LAN");
    controller->prefsChanged(popUp);
    EXPECT_EQ(stored("lan_or_wan"), "LAN");
}

TEST_F(Preferences, AnotherSenderChangesNothing)
{
    running();
    PopUpButton stranger{{}, QStringLiteral("7")};
    const QStringList before = settings.keys();
    controller->prefsChanged(stranger);
    EXPECT_EQ(settings.keys(), before);
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(Preferences, AnEditedMACTableTakesThePlaceOfTheStoredOne)
{
    running();
    set("MACAddressesByNetworkSegment", QVariantMap{{"Harbour", QVariantMap{}}, {"Attic", QVariantMap{}}});
    set("recentICloudActivity", QVariantMap{{"Attic", QVariantMap{{"lastUpdate", "x"}}}});
    notifications.post(macAddressesEditedNotification);
    EXPECT_EQ(stored("MACAddressesByNetworkSegment").toMap().keys(), QStringList({"Attic"}));
    EXPECT_EQ(stored("lastICloudActivityUpdateDate").toDateTime(), dispatch.now());
    EXPECT_EQ(calls("saveCustomisations"), 1);
    EXPECT_TRUE(log.contains(QStringLiteral("macAddressBySegmentChanged oldDict: [\"Attic\",\"Harbour\"]")));
    EXPECT_TRUE(log.contains(QStringLiteral("macAddressBySegmentChanged editedDict: [\"Attic\"]")));
}

TEST_F(Preferences, WithoutCloudSyncAnEditedTableIsNotUploaded)
{
    running();
    set("iCloud_MAC_Sync", false);
    notifications.post(macAddressesEditedNotification);
    EXPECT_EQ(calls("saveCustomisations"), 0);
    EXPECT_FALSE(stored("lastICloudActivityUpdateDate").isValid());
}

TEST_F(Preferences, AnEditThatLeavesNoTableRemovesTheStoredOne)
{
    running();
    set("MACAddressesByNetworkSegment", QVariantMap{{"Harbour", QVariantMap{}}});
    notifications.post(macAddressesEditedNotification);
    EXPECT_FALSE(stored("MACAddressesByNetworkSegment").isValid());
    EXPECT_TRUE(log.contains(QStringLiteral("macAddressBySegmentChanged editedDict: (null)")));
}

TEST_F(Preferences, WithoutAWindowOpeningThemIsLogged)
{
    running();
    controller->openPrefsWindow();
    EXPECT_TRUE(log.contains(QStringLiteral("ERROR: Could not find PreferencesWindowController class")));
}

} // namespace
