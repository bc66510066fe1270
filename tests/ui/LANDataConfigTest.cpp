#include "ui/LANDataConfig.h"

#include "tests/ui/WindowFixture.h"

using namespace lanterna;

namespace
{

const QVariantMap table{{"192.168.1.2", "00:11:32:00:77:14"}, {"lastUpdate", "11!22!2026_01*42 +"}};
const QStringList thePair{QStringLiteral("PreferencesChanged"), QStringLiteral("updateMenubarData")};
const QStringList scan{QStringLiteral("TriggerImmediateScan")};
const QStringList stubChanged{QStringLiteral("WiFiStubChanged")};
const QStringList dictEdited{QStringLiteral("MACAddressesByNetworkSegmentDictEdited")};

class LANData : public WindowFixture
{
protected:
    LANData() { QObject::connect(&associated, &StoredSetting::edited, &program, &Program::postPreferencesChanged); }
    /// The panel's logic as the panel has it when it opens, and what it printed on opening.
    QString open()
    {
        testing::internal::CaptureStdout();
        begin(associated, "associatedWiFiNetwork", "current");
        begin(stub, "wiFiStubSSID", "");
        begin(real, "realWiFiAvailable", false);
        panel.setProperty("associatedWiFiNetwork", QVariant::fromValue(&associated));
        panel.setProperty("wiFiStubSSID", QVariant::fromValue(&stub));
        panel.setProperty("realWiFiAvailable", QVariant::fromValue(&real));
        panel.componentComplete();
        return QString::fromStdString(testing::internal::GetCapturedStdout());
    }
    /// Chooses in the picker; gives what was printed.
    QString choose(const char *tag)
    {
        testing::internal::CaptureStdout();
        panel.choose(QString::fromUtf8(tag));
        return QString::fromStdString(testing::internal::GetCapturedStdout());
    }
    void remove()
    {
        testing::internal::CaptureStdout();
        panel.askRemoval();
        panel.removeNetwork();
        (void)testing::internal::GetCapturedStdout();
    }
    void saveStub(const char *name)
    {
        testing::internal::CaptureStdout();
        panel.saveStub(QString::fromUtf8(name));
        (void)testing::internal::GetCapturedStdout();
    }
    QStringList labels() const
    {
        QStringList found;
        for (const QVariant &item : panel.items())
            found.append(item.toMap().value("text").toString());
        return found;
    }
    void store(const QStringList &networks)
    {
        QVariantMap tables;
        for (const QString &network : networks)
            tables.insert(network, table);
        settings.setValue("MACAddressesByNetworkSegment", tables);
        settings.setValue("recentICloudActivity", tables);
    }
    QStringList stored(const char *key) const { return settings.dictionary(QString::fromLatin1(key)).keys(); }

    StoredSetting associated;
    StoredSetting stub;
    StoredSetting real;
    LANDataConfig panel;

private:
    static void begin(StoredSetting &setting, const char *key, const QVariant &fallback)
    {
        setting.setProperty("key", QString::fromLatin1(key));
        setting.setProperty("fallback", fallback);
        setting.componentComplete();
    }
};

TEST_F(LANData, NetworksAreTheSortedKeysOfTheDictionary)
{
    store({"b", "Z", "a"});
    settings.setValue("associatedWiFiNetwork", "b");
    EXPECT_EQ(open(), "UserDefaults networks: [\"Z\", \"a\", \"b\"]\nCurrent associated network: b\n");
    EXPECT_EQ(panel.wifiNetworks(), QStringList({"Z", "a", "b"}));
    EXPECT_EQ(labels(), QStringList({"<Current connected WiFi network>", "Z", "a", "b", "Create WiFi Stub…"}));
    EXPECT_TRUE(posted.isEmpty());
}

TEST_F(LANData, MissingDictionaryLeavesTheFirstAndTheLastItem)
{
    EXPECT_EQ(open(), "No networks found in UserDefaults\n");
    EXPECT_EQ(labels(), QStringList({"<Current connected WiFi network>", "Create WiFi Stub…"}));
}

TEST_F(LANData, MalformedDictionaryCountsAsMissing)
{
    settings.setValue("MACAddressesByNetworkSegment", QVariantList{"HomeNet"});
    EXPECT_EQ(open(), "No networks found in UserDefaults\n");
    EXPECT_TRUE(panel.wifiNetworks().isEmpty());
}

TEST_F(LANData, EmptyDictionaryIsAnEmptyList)
{
    settings.setValue("MACAddressesByNetworkSegment", QVariantMap());
    EXPECT_EQ(open(), "UserDefaults networks: []\nCurrent associated network: current\n");
}

TEST_F(LANData, NamesFromTheNetworkCannotBreakThePrintedLine)
{
    store({"Home\nNet\x1b[2J"});
    EXPECT_EQ(open().count('\n'), 2);
}

TEST_F(LANData, QuotationMarksInNamesAreTold)
{
    store({"Ann's \"Net\" \\ 2"});
    EXPECT_EQ(open().section('\n', 0, 0), R"(UserDefaults networks: ["Ann's \"Net\" \\ 2"])");
}

TEST_F(LANData, StubsEntryIsLabelledAsOne)
{
    store({"HomeNet", "Office"});
    settings.setValue("wiFiStubSSID", "Office");
    open();
    EXPECT_EQ(labels().mid(1, 2), QStringList({"HomeNet", "Office (stub)"}));
    settings.setValue("wiFiStubSSID", "HomeNet");
    settle();
    EXPECT_EQ(labels().mid(1, 2), QStringList({"HomeNet (stub)", "Office"}));
}

TEST_F(LANData, ChoiceIsStoredAndScannedAtOnce)
{
    store({"HomeNet"});
    open();
    EXPECT_EQ(choose("HomeNet"), "Picker selection changed to: HomeNet\n");
    EXPECT_EQ(settings.text("associatedWiFiNetwork"), "HomeNet");
    EXPECT_EQ(panel.preCustomSelection(), "HomeNet");
    EXPECT_EQ(posted, thePair + scan);
}

TEST_F(LANData, ChoosingTheSameAgainDoesNothing)
{
    open();
    EXPECT_EQ(choose("current"), "");
    EXPECT_TRUE(posted.isEmpty());
}

TEST_F(LANData, ChoiceOfAnotherProcessIsOneToo)
{
    store({"HomeNet", "Office"});
    open();
    choose("HomeNet");
    settle();
    EXPECT_EQ(posted, thePair + scan) << "once, though the settings report it as well";
    posted.clear();
    testing::internal::CaptureStdout();
    changeElsewhere("associatedWiFiNetwork", "Office");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Picker selection changed to: Office\n");
    EXPECT_EQ(panel.preCustomSelection(), "Office");
    EXPECT_EQ(posted, scan);
    choose("__custom__");
    settle();
    EXPECT_EQ(settings.text("associatedWiFiNetwork"), "Office") << "not what was chosen here before";
    EXPECT_EQ(posted, scan);
}

TEST_F(LANData, ChoiceOfAnotherProcessJustBeforeTheEditorOpensStays)
{
    open();
    choose("HomeNet");
    choose("__custom__");
    testing::internal::CaptureStdout();
    SettingsStore(folder.path(), log).setValue("associatedWiFiNetwork", "Office");
    settings.noticeChanges();
    Q_EMIT program.settingChanged("associatedWiFiNetwork");
    (void)testing::internal::GetCapturedStdout();
    settle();
    EXPECT_TRUE(panel.showingStubCreator());
    EXPECT_EQ(settings.text("associatedWiFiNetwork"), "Office");
}

TEST_F(LANData, StubItemsTagOfAnotherProcessIsNoChoice)
{
    open();
    choose("HomeNet");
    posted.clear();
    changeElsewhere("associatedWiFiNetwork", "__custom__");
    EXPECT_EQ(panel.preCustomSelection(), "HomeNet");
    EXPECT_FALSE(panel.showingStubCreator());
    EXPECT_TRUE(posted.isEmpty());
}

TEST_F(LANData, CreatingAStubLeavesTheLastChoiceAndPostsNothing)
{
    store({"HomeNet"});
    open();
    choose("HomeNet");
    posted.clear();
    EXPECT_EQ(choose("__custom__"), "Picker selection changed to: __custom__\n");
    EXPECT_FALSE(panel.showingStubCreator()) << "on the main queue's next turn";
    EXPECT_EQ(settings.text("associatedWiFiNetwork"), "HomeNet");
    dispatch.runReady();
    EXPECT_TRUE(panel.showingStubCreator());
    EXPECT_EQ(settings.text("associatedWiFiNetwork"), "HomeNet");
    EXPECT_EQ(panel.preCustomSelection(), "HomeNet");
    EXPECT_TRUE(posted.isEmpty());
}

TEST_F(LANData, CreatingAStubFollowsTheConnectedNetworkWhereNothingWasChosen)
{
    open();
    choose("__custom__");
    dispatch.runReady();
    EXPECT_EQ(associated.value(), "current");
    EXPECT_TRUE(panel.showingStubCreator());
    EXPECT_TRUE(posted.isEmpty());
}

TEST_F(LANData, TheStubItemsTagIsNeverStored)
{
    open();
    QStringList storedValues;
    QObject::connect(&associated, &StoredSetting::valueChanged, [&] { storedValues.append(settings.text("associatedWiFiNetwork")); });
    choose("__custom__");
    dispatch.runReady();
    EXPECT_FALSE(storedValues.contains("__custom__"));
}

TEST_F(LANData, StoredStubItemsTagGoesWithTheNextChoiceOfIt)
{
    settings.setValue("associatedWiFiNetwork", "__custom__");
    open();
    EXPECT_FALSE(panel.networkSelected());
    choose("__custom__");
    dispatch.runReady();
    EXPECT_EQ(settings.text("associatedWiFiNetwork"), "current");
    EXPECT_FALSE(posted.contains("TriggerImmediateScan"));
}

TEST_F(LANData, PanelClosedBeforeTheNextTurnOpensNoEditor)
{
    auto closed = std::make_unique<LANDataConfig>();
    testing::internal::CaptureStdout();
    closed->choose("__custom__");
    (void)testing::internal::GetCapturedStdout();
    closed.reset();
    dispatch.runReady();
    EXPECT_FALSE(settings.contains("associatedWiFiNetwork"));
}

TEST_F(LANData, SavedStubIsSelectedAndAnnounced)
{
    open();
    saveStub("HomeNet");
    EXPECT_EQ(settings.text("wiFiStubSSID"), "HomeNet");
    EXPECT_EQ(settings.text("associatedWiFiNetwork"), "HomeNet");
    EXPECT_EQ(panel.preCustomSelection(), "HomeNet");
    EXPECT_EQ(panel.selectionText(), "HomeNet (stub)") << "though it is no item yet";
    // The scan comes of the picker's change, after the stub was announced.
    EXPECT_EQ(posted, thePair + stubChanged + scan);
}

TEST_F(LANData, SavingTheSelectedStubAgainStartsNoScan)
{
    open();
    saveStub("HomeNet");
    posted.clear();
    saveStub("HomeNet");
    EXPECT_EQ(posted, stubChanged);
}

TEST_F(LANData, RemovedStubIsEmptyTextAndKeepsTheSelection)
{
    settings.setValue("wiFiStubSSID", "HomeNet");
    settings.setValue("associatedWiFiNetwork", "HomeNet");
    open();
    panel.removeStub();
    EXPECT_EQ(settings.value("wiFiStubSSID"), QVariant(""));
    EXPECT_EQ(settings.text("associatedWiFiNetwork"), "HomeNet");
    EXPECT_EQ(posted, stubChanged);
}

TEST_F(LANData, RemovingNoStubDoesNothing)
{
    open();
    panel.removeStub();
    EXPECT_FALSE(settings.contains("wiFiStubSSID"));
    EXPECT_TRUE(posted.isEmpty());
}

TEST_F(LANData, RemovedNetworkIsGoneFromTablesAndActivity)
{
    store({"HomeNet", "Office"});
    settings.setValue("associatedWiFiNetwork", "Office");
    open();
    remove();
    EXPECT_EQ(stored("MACAddressesByNetworkSegment"), QStringList{"HomeNet"});
    EXPECT_EQ(stored("recentICloudActivity"), QStringList{"HomeNet"});
    EXPECT_EQ(settings.text("associatedWiFiNetwork"), "current");
    EXPECT_EQ(panel.preCustomSelection(), "current");
    EXPECT_EQ(panel.wifiNetworks(), QStringList({"HomeNet", "Office"})) << "the list is that of the opening";
    EXPECT_EQ(posted, thePair + dictEdited + scan);
}

TEST_F(LANData, RemovingTheStubsNetworkClearsTheStubFirst)
{
    store({"HomeNet"});
    settings.setValue("associatedWiFiNetwork", "HomeNet");
    settings.setValue("wiFiStubSSID", "HomeNet");
    open();
    remove();
    EXPECT_EQ(settings.value("wiFiStubSSID"), QVariant(""));
    EXPECT_EQ(posted, stubChanged + thePair + dictEdited + scan);
}

TEST_F(LANData, TablesAreEditedBeforeTheReceiverHears)
{
    store({"HomeNet", "Office"});
    settings.setValue("associatedWiFiNetwork", "Office");
    open();
    QStringList heard;
    const auto observation =
        notifications.observe("MACAddressesByNetworkSegmentDictEdited", [&](const Notification &) { heard = stored("recentICloudActivity"); });
    remove();
    EXPECT_EQ(heard, QStringList{"HomeNet"});
}

TEST_F(LANData, NothingIsRemovedWithoutASelectedNetwork)
{
    store({"current", "__custom__", "HomeNet"});
    settings.setValue("associatedWiFiNetwork", "HomeNet");
    open();
    int asked = 0;
    QObject::connect(&panel, &LANDataConfig::removalAsked, [&] { ++asked; });
    EXPECT_TRUE(panel.askRemoval());
    EXPECT_EQ(asked, 1);
    for (const char *selected : {"current", "", "__custom__"}) {
        changeElsewhere("associatedWiFiNetwork", QString::fromLatin1(selected));
        posted.clear();
        EXPECT_FALSE(panel.askRemoval());
        panel.removeNetwork();
        EXPECT_EQ(asked, 1) << selected;
        EXPECT_EQ(stored("MACAddressesByNetworkSegment"), QStringList({"HomeNet", "__custom__", "current"}));
        EXPECT_TRUE(posted.isEmpty());
    }
}

TEST_F(LANData, NetworkThatTheAlertNamedIsRemovedWhateverIsSelectedByThen)
{
    store({"HomeNet", "Office"});
    settings.setValue("associatedWiFiNetwork", "Office");
    open();
    panel.askRemoval();
    testing::internal::CaptureStdout();
    changeElsewhere("associatedWiFiNetwork", "HomeNet");
    panel.removeNetwork();
    (void)testing::internal::GetCapturedStdout();
    EXPECT_EQ(stored("MACAddressesByNetworkSegment"), QStringList{"HomeNet"});
    EXPECT_EQ(settings.text("associatedWiFiNetwork"), "HomeNet") << "which another process selected";
    EXPECT_EQ(panel.preCustomSelection(), "HomeNet");
    EXPECT_EQ(posted, scan + dictEdited);
}

TEST_F(LANData, RemovalWithoutActivityHandsOverTheTables)
{
    store({"HomeNet", "Office"});
    settings.remove("recentICloudActivity");
    settings.setValue("associatedWiFiNetwork", "Office");
    open();
    remove();
    EXPECT_EQ(stored("recentICloudActivity"), QStringList{"HomeNet"}) << "or the receiver would drop HomeNet as well";
}

// What the receiver makes of dictionaries that are none is its own matter; it hears of the removal in any case.
TEST_F(LANData, RemovalFromMalformedDictionariesWritesNeitherAndIsTold)
{
    settings.setValue("MACAddressesByNetworkSegment", "text");
    settings.setValue("recentICloudActivity", 7);
    settings.setValue("associatedWiFiNetwork", "Office");
    open();
    remove();
    EXPECT_EQ(settings.value("MACAddressesByNetworkSegment"), QVariant("text"));
    EXPECT_EQ(settings.value("recentICloudActivity"), QVariant(7LL));
    EXPECT_EQ(settings.text("associatedWiFiNetwork"), "current");
    EXPECT_EQ(posted, thePair + dictEdited + scan);
}

TEST_F(LANData, OnlyAStoredNetworkCanBeRemoved)
{
    open();
    for (const char *none : {"current", "", "__custom__"}) {
        settings.setValue("associatedWiFiNetwork", QString::fromLatin1(none));
        settle();
        EXPECT_FALSE(panel.networkSelected()) << none;
    }
    settings.setValue("associatedWiFiNetwork", "HomeNet");
    settle();
    EXPECT_TRUE(panel.networkSelected());
}

TEST_F(LANData, BannerAndWarningFollowStubAndWiFi)
{
    open();
    EXPECT_TRUE(panel.showingEthernetWarning());
    EXPECT_FALSE(panel.showingStubBanner());
    settings.setValue("wiFiStubSSID", "HomeNet");
    settle();
    EXPECT_FALSE(panel.showingEthernetWarning());
    EXPECT_TRUE(panel.showingStubBanner());
    EXPECT_EQ(panel.stubText(), "Using WiFi stub: HomeNet");
    settings.setValue("realWiFiAvailable", true);
    settle();
    EXPECT_FALSE(panel.showingEthernetWarning());
    EXPECT_FALSE(panel.showingStubBanner());
    settings.setValue("wiFiStubSSID", "");
    settle();
    EXPECT_FALSE(panel.showingEthernetWarning());
}

TEST_F(LANData, SettingsOfAWrongTypeCountAsAbsent)
{
    open();
    settings.setValue("associatedWiFiNetwork", QVariantMap{{"a", 1}});
    settings.setValue("wiFiStubSSID", QVariantList{"x"});
    settings.setValue("realWiFiAvailable", QVariantMap{});
    settle();
    EXPECT_FALSE(panel.networkSelected());
    EXPECT_TRUE(panel.showingEthernetWarning());
    EXPECT_EQ(choose("current"), "") << "it is selected already";
}

TEST_F(LANData, TextsOfTheAlerts)
{
    settings.setValue("associatedWiFiNetwork", "HomeNet");
    open();
    panel.askRemoval();
    EXPECT_EQ(panel.removalMessage(),
        "Remove \"HomeNet\" from the network list? Its locally cached MAC-address data for that network will be cleared. The selection will revert "
        "to "
        "<Current connected WiFi network>.");
    const QString privacy =
        "Data collected by Lanterna is only accessible to instances of Rangefinder associated with the owner's Apple ID and adheres to all "
        "of Apple's iCloud data security protocols.";
    EXPECT_EQ(panel.privacyMessage(), privacy);
    otherStore = "The records are kept on files.example.org.";
    EXPECT_EQ(panel.privacyMessage(), privacy + "\n\nThe records are kept on files.example.org.");
}

} // namespace
