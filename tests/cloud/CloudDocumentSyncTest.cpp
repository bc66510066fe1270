#include "cloud/CloudDocumentSync.h"

#include "tests/fakes/FakeRecordDatabase.h"
#include "tests/fakes/FakeSystemLog.h"
#include "tests/fakes/VirtualDispatch.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

const QString recordName = "userCustomizationsDict";

class CloudDocumentSyncTest : public testing::Test
{
protected:
    CloudDocumentSyncTest() { useNewDatabase(); }

    /// A database on the same store, as the setting would choose it.
    void useNewDatabase()
    {
        auto made = std::make_unique<FakeRecordDatabase>(dispatch, store);
        database = made.get();
        sync.setDatabase(std::move(made));
    }
    Record recordOf(const QByteArray &document, const QString &name = recordName)
    {
        Record record;
        record.recordName = name;
        record.recordType = "UserDictionary";
        record.texts.insert("dictName", "currentCustomizationsDict");
        record.assets.insert("dictAsset", document);
        return record;
    }
    [[nodiscard]] QByteArray storedDocument() const
    {
        const auto record = store->record(recordName);
        return record ? record->assets.value("dictAsset") : QByteArray();
    }
    [[nodiscard]] QJsonObject storedObject() const { return QJsonDocument::fromJson(storedDocument()).object(); }
    [[nodiscard]] qsizetype saves() const { return database->saves.size(); }
    [[nodiscard]] QVariantMap tables() const { return settings.dictionary("MACAddressesByNetworkSegment"); }

    /// The state after a first pass in the network "Harbour".
    void enterNetwork()
    {
        dict = QVariantMap{};
        settings.setValue("currentWiFiName", "Harbour");
        settings.setValue("iCloud_MAC_Sync", true);
        arpTable = {{"192.168.1.1", "02:00:00:00:00:01"}, {"192.168.1.255", "ff:ff:ff:ff:ff:ff"}};
    }

    QTemporaryDir folder;
    FakeSystemLog log;
    VirtualDispatch dispatch;
    SettingsStore settings{folder.path(), log};
    std::optional<QVariantMap> dict;
    ARPTable arpTable;
    QString fileError;
    QString keepError;
    QList<QByteArray> files;
    QList<QByteArray> unreadable;
    QList<QVariantMap> handedOver;
    QList<CloudOutcome> outcomes;
    std::shared_ptr<FakeRecordStore> store = std::make_shared<FakeRecordStore>();
    CloudDocumentSync sync{CloudDocumentPorts{dispatch, settings, log, dict, [this] { return arpTable; }, [] { return QString("en_US"); },
        [this](const QByteArray &document) {
            files.append(document);
            return fileError;
        },
        [this](const QByteArray &bytes) {
            unreadable.append(bytes);
            return keepError;
        },
        [this](const QVariantMap &document) { handedOver.append(document); }}};
    FakeRecordDatabase *database = nullptr;
};

} // namespace

TEST_F(CloudDocumentSyncTest, BurstOfUpdatesBecomesOneUpdateAndOneSave)
{
    enterNetwork();
    for (int i = 0; i < 3; ++i) {
        sync.saveMACAddressesToiCloud();
        dispatch.advance(4s);
    }
    EXPECT_TRUE(tables().isEmpty());
    dispatch.advance(1s);
    EXPECT_EQ(tables().keys(), QStringList{"Harbour"});
    dispatch.advance(3900ms);
    EXPECT_TRUE(database->calls.isEmpty());
    dispatch.advance(100ms);
    EXPECT_EQ(database->calls, (QStringList{"fetch userCustomizationsDict", "save userCustomizationsDict"}));
    EXPECT_FALSE(sync.isBusy());
}

TEST_F(CloudDocumentSyncTest, LaterUpdatePutsTheSaveOff)
{
    enterNetwork();
    sync.actualSaveMACAddressesToiCloud();
    dispatch.advance(3s);
    sync.actualSaveMACAddressesToiCloud();
    dispatch.advance(3s);
    EXPECT_TRUE(database->calls.isEmpty());
    dispatch.advance(1s);
    EXPECT_EQ(saves(), 1);
}

TEST_F(CloudDocumentSyncTest, UpdateFilesTheTableAndSaysSo)
{
    enterNetwork();
    sync.actualSaveMACAddressesToiCloud();
    const QVariantMap table = tables().value("Harbour").toMap();
    EXPECT_EQ(table.keys(), (QStringList{"192.168.1.1", "lastUpdate"}));
    EXPECT_EQ(dict, std::optional(tables()));
    EXPECT_TRUE(log.contains(
        "CKMacSync: updating MACAddressesByNetworkSegment (key: Harbour, currentWiFi: Harbour): " + table.value("lastUpdate").toString()));
    EXPECT_EQ(settings.dictionary("recentICloudActivity"), tables());
    EXPECT_EQ(settings.date("lastICloudActivityUpdateDate"), dispatch.now());
}

TEST_F(CloudDocumentSyncTest, WithoutSyncNothingIsNotedButTheDocumentIsSaved)
{
    enterNetwork();
    settings.setValue("iCloud_MAC_Sync", false);
    sync.actualSaveMACAddressesToiCloud();
    dispatch.advance(4s);
    EXPECT_FALSE(settings.contains("recentICloudActivity"));
    EXPECT_FALSE(settings.contains("lastICloudActivityUpdateDate"));
    EXPECT_EQ(saves(), 1);
}

TEST_F(CloudDocumentSyncTest, WithoutATableInMemoryNothingHappens)
{
    arpTable = {{"192.168.1.1", "02:00:00:00:00:01"}};
    sync.actualSaveMACAddressesToiCloud();
    dispatch.advance(10s);
    EXPECT_EQ(log.lines(), QStringList{"CKMacSync: no DB yet — MACAddressesByNetworkSegmentDict is nil"});
    EXPECT_TRUE(database->calls.isEmpty());
}

TEST_F(CloudDocumentSyncTest, NothingButBroadcastAddressesWritesNoTableKeepsTheEmptyKeyAndSaves)
{
    enterNetwork();
    arpTable = {{"192.168.1.255", "ff:ff:ff:ff:ff:ff"}};
    const QVariantMap named{{"", QVariantMap{{"10.0.0.1", "02:00:00:00:00:09"}}}};
    settings.setValue("MACAddressesByNetworkSegment", named);
    sync.actualSaveMACAddressesToiCloud();
    dispatch.advance(4s);
    EXPECT_EQ(tables(), named);
    EXPECT_TRUE(log.contains("CKMacSync: no devices discovered for 'Harbour' — skipping iCloud entry"));
    EXPECT_EQ(saves(), 1);
}

TEST_F(CloudDocumentSyncTest, EntryWithNothingButATimeIsRemovedWithOneLine)
{
    enterNetwork();
    settings.setValue("MACAddressesByNetworkSegment", QVariantMap{{"Attic", QVariantMap{{"lastUpdate", "11!15!2026_14*05 +"}}}});
    sync.actualSaveMACAddressesToiCloud();
    EXPECT_EQ(tables().keys(), QStringList{"Harbour"});
    EXPECT_EQ(log.count("cleanup: removing empty network entry 'Attic'"), 1);
}

TEST_F(CloudDocumentSyncTest, AssociatedNetworkOfTheNameCurrentIsTheConnectedOne)
{
    enterNetwork();
    settings.setValue("currentWiFiName", "Home");
    settings.setValue("associatedWiFiNetwork", "current");
    sync.actualSaveMACAddressesToiCloud();
    EXPECT_EQ(tables().keys(), QStringList{"Home"});
    EXPECT_TRUE(log.contains("associatedWifiNetwork from prefs (set by user or nil if default): current"));
}

TEST_F(CloudDocumentSyncTest, NetworkOfAMediaRemoteIsFiledTwice)
{
    enterNetwork();
    settings.setValue("AppleTVNetwork", true);
    sync.actualSaveMACAddressesToiCloud();
    EXPECT_EQ(tables().keys(), (QStringList{"AppleTVNetwork", "Harbour"}));
}

TEST_F(CloudDocumentSyncTest, FirstSaveCreatesTheRecord)
{
    dict = QVariantMap{{"Harbour", QVariantMap{{"192.168.1.1", "02:00:00:00:00:01"}}}};
    sync.saveCustomizationsToCloudKitDelayed();
    dispatch.runReady();
    const auto record = store->record(recordName);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->recordType, "UserDictionary");
    EXPECT_EQ(record->texts, (QMap<QString, QString>{{"dictName", "currentCustomizationsDict"}}));
    EXPECT_EQ(storedDocument(), R"({"MACAddressesByNetworkSegment":{"Harbour":{"192.168.1.1":"02:00:00:00:00:01"}}})");
    EXPECT_EQ(files, QList{storedDocument()});
    const QString date = record->modificationDate.toString("yyyy-MM-dd HH:mm:ss") + " +0000";
    EXPECT_EQ(log.lines(), QStringList{"CKMacSync: save successful. modificationDate: " + date});
}

TEST_F(CloudDocumentSyncTest, MembersOfOthersSurviveTheNextSaveByteForByte)
{
    const QByteArray others = R"("foo":{"n":12345678901234567890,"n":1e400,"n": [ ]})";
    database->put(recordOf("{" + others + R"(,"MACAddressesByNetworkSegment":{"old":1}})"));
    dict = QVariantMap{};
    sync.saveCustomizationsToCloudKitDelayed();
    dispatch.runReady();
    EXPECT_TRUE(storedDocument().contains(others)) << storedDocument().toStdString();
    EXPECT_FALSE(storedDocument().contains("old"));
}

TEST_F(CloudDocumentSyncTest, SnapshotWithDevicesIsPublishedAndTheLastGoodOneStays)
{
    settings.setValue("latestLocalSnapshot", QVariantMap{{"devices", "a line"}, {"ssid", "Harbour"}});
    sync.saveCustomizationsToCloudKitDelayed();
    dispatch.runReady();
    EXPECT_EQ(storedObject().value("CurrentNetworkStatus_Lanterna").toObject().value("ssid"), "Harbour");
    settings.setValue("latestLocalSnapshot", QVariantMap{{"devices", ""}, {"ssid", "Empty"}});
    sync.saveCustomizationsToCloudKitDelayed();
    dispatch.runReady();
    EXPECT_EQ(storedObject().value("CurrentNetworkStatus_Lanterna").toObject().value("ssid"), "Harbour");
    EXPECT_EQ(log.count("CKMacSync: latestLocalSnapshot has no devices — not publishing CurrentNetworkStatus_Lanterna"), 1);
    settings.remove("latestLocalSnapshot");
    sync.saveCustomizationsToCloudKitDelayed();
    dispatch.runReady();
    EXPECT_EQ(storedObject().value("CurrentNetworkStatus_Lanterna").toObject().value("ssid"), "Harbour");
    EXPECT_EQ(log.count("CKMacSync: latestLocalSnapshot has no devices — not publishing CurrentNetworkStatus_Lanterna"), 1);
}

TEST_F(CloudDocumentSyncTest, FetchErrorIsLoggedAndTheCreationThatFollowsOverwritesNothing)
{
    const QByteArray before = R"({"foo":1})";
    database->put(recordOf(before));
    database->failNextFetch({RecordErrorCode::networkFailure, "The connection broke off.", {}});
    dict = QVariantMap{};
    sync.saveCustomizationsToCloudKitDelayed();
    dispatch.runReady();
    EXPECT_EQ(storedDocument(), before);
    EXPECT_EQ(log.lines().value(0), "CKMacSync: Error fetching existing record before save: The connection broke off.");
    EXPECT_TRUE(log.lines().value(1).startsWith("CKMacSync: Error saving: "));
}

TEST_F(CloudDocumentSyncTest, RateLimitIsToldWithItsSecondsAndNothingIsRepeated)
{
    database->failNextSave({RecordErrorCode::requestRateLimited, "Request was throttled.", 110207});
    sync.setObserver([this](const CloudOutcome &outcome) { outcomes.append(outcome); });
    sync.saveCustomizationsToCloudKitDelayed();
    dispatch.advance(1h);
    EXPECT_EQ(log.lines(), (QStringList{"CKMacSync: Rate limited, retry after: 110207 seconds", "CKMacSync: Error saving: Request was throttled."}));
    EXPECT_EQ(saves(), 1);
    ASSERT_EQ(outcomes.size(), 1);
    EXPECT_EQ(outcomes[0].error->code, RecordErrorCode::requestRateLimited);
}

TEST_F(CloudDocumentSyncTest, StoredBytesThatAreNoDocumentAreKeptAsideAndReplaced)
{
    for (const char *bytes : {"[1,2]", "{\"cut\":", "\xff\xfe"}) {
        unreadable.clear();
        database->put(recordOf(bytes));
        dict = QVariantMap{};
        sync.saveCustomizationsToCloudKitDelayed();
        dispatch.runReady();
        EXPECT_EQ(unreadable, QList<QByteArray>{bytes});
        EXPECT_EQ(storedDocument(), R"({"MACAddressesByNetworkSegment":{}})");
    }
}

TEST_F(CloudDocumentSyncTest, StoredBytesThatCannotBeKeptAsideAreNotReplaced)
{
    database->put(recordOf("[1,2]"));
    keepError = "No space left on device";
    dict = QVariantMap{};
    sync.saveCustomizationsToCloudKitDelayed();
    dispatch.runReady();
    EXPECT_EQ(storedDocument(), "[1,2]");
    EXPECT_TRUE(log.contains("CKMacSync: not saving over a document that is unreadable and could not be kept: No space left on device"));
    EXPECT_FALSE(sync.isBusy());
}

TEST_F(CloudDocumentSyncTest, DocumentThatCannotBeWrittenToAFileClearsTheAsset)
{
    database->put(recordOf("{}"));
    fileError = "No space left on device";
    sync.saveCustomizationsToCloudKitDelayed();
    dispatch.runReady();
    EXPECT_TRUE(log.contains("Error writing data to file: No space left on device"));
    EXPECT_FALSE(store->record(recordName)->assets.contains("dictAsset"));
}

TEST_F(CloudDocumentSyncTest, TableThatJSONCannotHoldEndsTheSave)
{
    dict = QVariantMap{{"Harbour", QVariantMap{{"lastUpdate", QDateTime::currentDateTimeUtc()}}}};
    sync.saveCustomizationsToCloudKitDelayed();
    dispatch.runReady();
    ASSERT_EQ(log.lines().size(), 1);
    EXPECT_TRUE(log.lines()[0].startsWith("CKMacSync: Error converting NSDictionary to JSON: "));
    EXPECT_EQ(database->calls, QStringList{"fetch userCustomizationsDict"});
    EXPECT_FALSE(sync.isBusy());
}

TEST_F(CloudDocumentSyncTest, SaveDuringASaveFollowsItWithWhatIsNewThen)
{
    dict = QVariantMap{};
    database->delay = 2s;
    sync.saveCustomizationsToCloudKitDelayed();
    dispatch.advance(1s);
    sync.saveCustomizationsToCloudKitDelayed();
    sync.saveCustomizationsToCloudKitDelayed();
    dispatch.advance(3s);
    dict = QVariantMap{{"Later", 1}};
    dispatch.advance(10s);
    EXPECT_EQ(saves(), 2);
    EXPECT_TRUE(log.lines().filter("Error").isEmpty()) << log.lines().join('\n').toStdString();
    EXPECT_TRUE(storedDocument().contains("Later"));
}

TEST_F(CloudDocumentSyncTest, ImportTakesTheTablesAndHandsTheDocumentOver)
{
    settings.setValue("MACAddressesByNetworkSegment", QVariantMap{{"Local", 1}});
    database->put(recordOf(R"({"MACAddressesByNetworkSegment":{"Cloud":{"10.0.0.1":"02:00:00:00:00:01"}},"foo":"bar"})"));
    sync.getCustomDictFromCloudKitDelayed();
    EXPECT_TRUE(sync.isBusy());
    dispatch.runReady();
    EXPECT_FALSE(sync.isBusy());
    EXPECT_EQ(tables().keys(), QStringList{"Cloud"});
    EXPECT_EQ(dict, std::optional(tables()));
    ASSERT_EQ(handedOver.size(), 1);
    EXPECT_EQ(handedOver[0].value("foo"), "bar");
    EXPECT_EQ(log.lines(), (QStringList{"getCustomDictFromCloudKit", "cloudKit downloaded initial dictionary with keys: 2"}));
    dispatch.advance(1h);
    EXPECT_EQ(saves(), 0) << "an import never saves";
}

TEST_F(CloudDocumentSyncTest, DocumentWithoutTablesLeavesThoseHereAndIsHandedOver)
{
    const QVariantMap local{{"Local", QVariantMap{{"10.0.0.1", "02:00:00:00:00:01"}}}};
    settings.setValue("MACAddressesByNetworkSegment", local);
    database->put(recordOf(R"({"foo":1})"));
    sync.getCustomDictFromCloudKitDelayed();
    dispatch.runReady();
    EXPECT_EQ(tables(), local);
    EXPECT_FALSE(dict);
    EXPECT_EQ(handedOver.size(), 1);
}

TEST_F(CloudDocumentSyncTest, OfTwoRecordsTheLatersTablesWin)
{
    database->put(recordOf(R"({"MACAddressesByNetworkSegment":{"First":{}}})", "first"));
    database->put(recordOf(R"({"MACAddressesByNetworkSegment":{"Second":{}}})", "second"));
    sync.getCustomDictFromCloudKitDelayed();
    dispatch.runReady();
    EXPECT_EQ(tables().keys(), QStringList{"Second"});
    EXPECT_EQ(handedOver.size(), 2);
}

TEST_F(CloudDocumentSyncTest, RecordsWithoutAnAssetAreSkippedAndBadOnesAreTold)
{
    Record bare = recordOf({}, "bare");
    bare.assets.clear();
    database->put(bare);
    database->put(recordOf("[1]", "array"));
    database->put(recordOf({}, "cut"));
    database->put(recordOf(R"({"foo":1})", "good"));
    sync.getCustomDictFromCloudKitDelayed();
    dispatch.runReady();
    EXPECT_EQ(handedOver.size(), 1);
    EXPECT_EQ(log.lines().filter("cloud Error: JSON is not a dictionary").size(), 2);
    EXPECT_TRUE(log.contains("cloud Error: JSON is not a dictionary (type: array, error: (null))")) << log.lines().join('\n').toStdString();
}

TEST_F(CloudDocumentSyncTest, QueryErrorIsTold)
{
    database->failNextQuery({RecordErrorCode::notAuthenticated, "Nobody is signed in.", {}});
    sync.setObserver([this](const CloudOutcome &outcome) { outcomes.append(outcome); });
    sync.getCustomDictFromCloudKitDelayed();
    dispatch.runReady();
    ASSERT_EQ(outcomes.size(), 1);
    EXPECT_EQ(outcomes[0].call, CloudOutcome::Call::import);
    EXPECT_EQ(outcomes[0].error->code, RecordErrorCode::notAuthenticated);
    EXPECT_EQ(log.lines(), (QStringList{"getCustomDictFromCloudKit", "cloud Error retrieving records: Nobody is signed in. (9)"}));
    EXPECT_FALSE(sync.isBusy());
}

TEST_F(CloudDocumentSyncTest, OtherDatabaseForgetsWhatIsUnderWay)
{
    dict = QVariantMap{};
    database->holdBack();
    sync.getCustomDictFromCloudKitDelayed();
    sync.saveCustomizationsToCloudKitDelayed();
    dispatch.runReady();
    store = std::make_shared<FakeRecordStore>();
    useNewDatabase();
    EXPECT_FALSE(sync.isBusy());
    sync.saveCustomizationsToCloudKitDelayed();
    dispatch.runReady();
    EXPECT_EQ(saves(), 1);
    EXPECT_FALSE(storedDocument().isEmpty());
}

TEST_F(CloudDocumentSyncTest, OtherDatabaseIsReadBeforeAnythingIsSavedToIt)
{
    enterNetwork();
    sync.actualSaveMACAddressesToiCloud(); // whose save waits
    store = std::make_shared<FakeRecordStore>();
    useNewDatabase();
    database->put(recordOf(R"({"MACAddressesByNetworkSegment":{"Cloud":{"10.0.0.1":"02:00:00:00:00:01"}}})"));
    database->delay = 20s;
    sync.getCustomDictFromCloudKitDelayed();
    sync.saveCustomizationsToCloudKitDelayed();
    dispatch.advance(19s);
    EXPECT_EQ(database->calls, QStringList{"query UserDictionary"});
    dispatch.advance(2min);
    EXPECT_EQ(saves(), 1);
    EXPECT_EQ(storedObject().value("MACAddressesByNetworkSegment").toObject().keys(), QStringList{"Cloud"});
}

TEST_F(CloudDocumentSyncTest, ObserverHearsWhatTheTroubleIs)
{
    sync.setObserver([this](const CloudOutcome &outcome) { outcomes.append(outcome); });
    database->put(recordOf("{}"));
    database->failNextFetch({RecordErrorCode::networkFailure, "The connection broke off.", {}});
    sync.saveCustomizationsToCloudKitDelayed();
    dispatch.runReady();
    fileError = "No space left on device";
    sync.saveCustomizationsToCloudKitDelayed();
    dispatch.runReady();
    ASSERT_EQ(outcomes.size(), 2);
    EXPECT_EQ(outcomes[0].error->description, "The connection broke off.") << "not that the creation was refused";
    EXPECT_EQ(outcomes[1].error->description, "The document was cleared, for its file could not be written: No space left on device");
}

TEST_F(CloudDocumentSyncTest, FailureStandsUntilASaveSucceeds)
{
    const QDateTime now = dispatch.now();
    noteCloudOutcome(settings, "embedded", {CloudOutcome::Call::save, now, RecordError{RecordErrorCode::quotaExceeded, "There is no room.", {}}});
    noteCloudOutcome(settings, "embedded", {CloudOutcome::Call::import, now, {}});
    EXPECT_EQ(settings.text("cloudLastError"), "There is no room. (25)");
    EXPECT_FALSE(settings.contains("cloudLastSave"));
    noteCloudOutcome(settings, "embedded", {CloudOutcome::Call::save, now, {}});
    EXPECT_FALSE(settings.contains("cloudLastError"));
    EXPECT_EQ(settings.date("cloudLastSave"), now);
}

TEST_F(CloudDocumentSyncTest, WhatWasNotedOfAnotherStoreIsDropped)
{
    noteCloudOutcome(settings, "embedded", {CloudOutcome::Call::save, dispatch.now(), {}});
    noteCloudOutcome(
        settings, "embedded", {CloudOutcome::Call::save, dispatch.now(), RecordError{RecordErrorCode::quotaExceeded, "There is no room.", {}}});
    noteCloudOutcome(settings, "webdav https://cloud.example/", {CloudOutcome::Call::import, dispatch.now(), {}});
    EXPECT_FALSE(settings.contains("cloudLastError"));
    EXPECT_FALSE(settings.contains("cloudLastSave"));
    EXPECT_EQ(settings.text("cloudLastStore"), "webdav https://cloud.example/");
}

TEST_F(CloudDocumentSyncTest, WithoutADatabaseNothingIsSaved)
{
    sync.setDatabase(nullptr);
    sync.saveCustomizationsToCloudKitDelayed();
    sync.getCustomDictFromCloudKitDelayed();
    dispatch.runReady();
    EXPECT_FALSE(sync.isBusy());
}

TEST_F(CloudDocumentSyncTest, MostRecentDateIsThatOfTheNetworkOrOfItsFasterBand)
{
    settings.setValue("currentWiFiName", "Home");
    const QVariantMap faster{{"Home 5GHz", QVariantMap{{"lastUpdate", "11!15!2026_14*05 +"}}}};
    sync.processICloudDataToExtractMostRecentDate(faster, "import");
    EXPECT_EQ(log.lines(), QStringList{"CloudKit import date: 11/15/2026 14:05 source: import"});
    sync.processICloudDataToExtractMostRecentDate({{"Other", QVariantMap{{"lastUpdate", "x"}}}}, "import");
    settings.remove("currentWiFiName");
    sync.processICloudDataToExtractMostRecentDate(faster, "import");
    EXPECT_EQ(log.lines().size(), 1);
}
