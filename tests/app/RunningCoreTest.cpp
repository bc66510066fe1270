#include "app/RunningCore.h"
#include "scan/NetworkSnapshot.h"
#include "tests/app/ControllerFixture.h"
#include "tests/fakes/FakeLAN.h"
#include "tests/fakes/FakeRecordDatabase.h"
#include "tests/fakes/FakeStreamListener.h"
#include "tests/fakes/FakeWiFiClient.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class Core : public ControllerFixture
{
protected:
    Core()
    {
        for (const QString &name : {preferencesChangedNotification, updateMenubarDataNotification})
            observations.push_back(notifications.observe(name, [this, name](const Notification &) { posted.append(name); }));
    }
    ~Core() override { dispatch.endSleeps(); } // while what the sweeps use is still there
    CoreParts parts()
    {
        return {dispatch, settings, notifications, log, lan, lan, events, manager, wiFi, lan, lan, lan, lan, lan, publishing, statusItem, alerts,
            pasteboard, workspace, [] { return QString(); }, [] { return QString(); }, [] { return QStringLiteral("lighthouse"); },
            [this] { return listeners.make(); }, folder.filePath(QStringLiteral("history")), {},
            {[this] { return makeDatabase(); }, [] { return QStringLiteral("en_US"); }, [](const QByteArray &) { return QString(); },
                [](const QByteArray &) { return QString(); }},
            [this](const QString &key, bool) { changedKeys.append(key); },
            [this](const CloudOutcome &outcome) { cloudEnds.append(outcome.error ? int(outcome.error->code) : 0); }};
    }
    std::unique_ptr<RecordDatabase> makeDatabase()
    {
        ++databasesMade;
        auto made = std::make_unique<FakeRecordDatabase>(dispatch, store);
        database = made.get();
        return made;
    }
    [[nodiscard]] QJsonObject storedDocument() const
    {
        const auto record = store->record(QStringLiteral("userCustomizationsDict"));
        return record ? QJsonDocument::fromJson(record->assets.value(QStringLiteral("dictAsset"))).object() : QJsonObject();
    }
    void putDocument(const QByteArray &document) const
    {
        Record record{
            QStringLiteral("userCustomizationsDict"), QStringLiteral("UserDictionary"), {}, {{QStringLiteral("dictAsset"), document}}, {}, {}};
        store->put(record, dispatch.now());
    }
    /// Another process changes settings; this one notices.
    void changedElsewhere(const QList<std::pair<QString, QVariant>> &changes)
    {
        SettingsStore other(folder.path(), log);
        for (const auto &[key, value] : changes)
            other.setValue(key, value);
        settings.noticeChanges();
        dispatch.runReady();
    }

    /// Starts on a LAN with a printer, with the permission given, and lets the passes of the start end. The next one is hours away.
    void startOnLAN(RunningCore &core)
    {
        earlierRun();
        set("configurationURL", QString());
        set("WANLookupEnabled", false);
        set("updateFrequencyLAN", "36000");
        manager.status = LocationAuthorizationStatus::authorizedAlways;
        lan.add(QStringLiteral("eth0"), QStringLiteral("192.168.1.10"));
        FakeHost printer;
        printer.address = QStringLiteral("192.168.1.20");
        printer.mac = QStringLiteral("00:1b:a9:4e:00:14");
        printer.services = QStringList{QStringLiteral("_ipp._tcp.")};
        lan.hosts.append(printer);
        core.start(0, false);
        dispatch.advance(10min);
        settings.remove(QStringLiteral("latestLocalSnapshot"));
        log.clear();
    }
    [[nodiscard]] qsizetype sweeps() const { return log.count(QStringLiteral("Sweeping broadcast 192.168.1.255")); }

    std::shared_ptr<FakeRecordStore> store = std::make_shared<FakeRecordStore>();
    FakeRecordDatabase *database = nullptr; // the one in use
    int databasesMade = 0;
    FakeLAN lan{dispatch};
    FakeStreamListener::Machine listeners;
    FakeWiFiClient wiFi;
    FakeLocationManager manager;
    std::vector<NotificationCenter::Observation> observations;
    QStringList posted;
    QList<int> cloudEnds; // error codes, 0 for success
    QStringList changedKeys;
};

TEST_F(Core, APreferenceChangedByAnotherProcessPostsTheTwoNotificationsOnce)
{
    const RunningCore core(parts());
    changedElsewhere({{"whichIP", 2}, {"showInterfaceName", true}});
    EXPECT_EQ(posted, QStringList({preferencesChangedNotification, updateMenubarDataNotification}));
    settings.noticeChanges();
    dispatch.runReady();
    EXPECT_EQ(posted.size(), 2);
}

TEST_F(Core, OtherKeysChangedElsewherePostNothing)
{
    const RunningCore core(parts());
    changedElsewhere({{"WANIP", "203.0.113.7"}, {"nobodyDeclaredThis", 1}});
    EXPECT_EQ(posted, QStringList());
}

TEST_F(Core, ItsOwnWritesPostNothing)
{
    const RunningCore core(parts());
    set("whichIP", 3);
    settings.noticeChanges();
    dispatch.runReady();
    EXPECT_EQ(posted, QStringList());
}

TEST_F(Core, EveryChangedKeyIsToldOnTheMainQueue)
{
    const RunningCore core(parts());
    set("showInterfaceName", true);
    EXPECT_EQ(changedKeys, QStringList());
    dispatch.runReady();
    changedElsewhere({{"statusItemText", "icon"}});
    EXPECT_EQ(changedKeys, QStringList({"showInterfaceName", "statusItemText"}));
}

TEST_F(Core, AskingForTheResetAtTheStartOffersIt)
{
    RunningCore core(parts());
    core.start(0, true);
    ASSERT_EQ(alerts.shown.size(), 1);
    EXPECT_EQ(alerts.shown[0].message, "Reset Prefs");
}

TEST_F(Core, APassOfTheRunningProgramSweepsTwiceAndEndsWithASnapshot)
{
    RunningCore core(parts());
    startOnLAN(core);
    core.controller().triggerImmediateScan();
    dispatch.advance(31s);
    EXPECT_EQ(sweeps(), 1); // the scan of the class
    dispatch.advance(1s);
    EXPECT_EQ(sweeps(), 2); // the scan of the engine
    EXPECT_FALSE(stored("latestLocalSnapshot").isValid());
    dispatch.advance(36s);
    EXPECT_TRUE(stored("latestLocalSnapshot").toMap().value("devices").toString().contains("192.168.1.20"));
    EXPECT_EQ(stored("currentWiFiName"), "Subnet 192.168.1.x");
    EXPECT_TRUE(stored("MACAddressesByNetworkSegment").toMap().contains("Subnet 192.168.1.x"));
    EXPECT_TRUE(log.contains("RGFCoreScanEngine: network snapshot saved successfully"));
}

TEST_F(Core, WhatAPassFindsIsAnnouncedServedAndWrittenDown)
{
    RunningCore core(parts());
    startOnLAN(core);
    core.controller().triggerImmediateScan();
    dispatch.advance(2min);
    const QByteArray revision = QByteArray::number(qint64(stored("latestLocalSnapshot").toMap().value("dateEpoch").toDouble()));
    ASSERT_EQ(publishing.services.size(), 1);
    EXPECT_EQ(*publishing.services.first(), (ServiceRegistration{"lighthouse", "_rgfscanmac._tcp", {}, 40000, {{"rev", revision}}}));

    const auto client = listeners.connect();
    dispatch.runReady();
    ASSERT_TRUE(client->received);
    EXPECT_TRUE(client->received->contains("192.168.1.20")) << client->received->toStdString();

    const QDir history(folder.filePath("history"));
    ASSERT_EQ(history.entryList(QDir::Files).size(), 1);
    QFile file(history.filePath(history.entryList(QDir::Files).first()));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll().contains(R"("ip":"192.168.1.20")"));
}

TEST_F(Core, OverlappingPassesAllSweepAndTheEngineRefusesItsSecondScan)
{
    RunningCore core(parts());
    startOnLAN(core);
    core.controller().triggerImmediateScan();
    dispatch.advance(1s);
    core.controller().triggerImmediateScan();
    dispatch.advance(3s);
    EXPECT_EQ(sweeps(), 2);
    dispatch.advance(36s);
    EXPECT_TRUE(log.contains("RGFCoreScanEngine: snapshot error: Scan already in progress"));
    dispatch.advance(2min);
    EXPECT_TRUE(stored("latestLocalSnapshot").isValid());
}

TEST_F(Core, WhileFourSweepsRunANewAddressIsShown)
{
    RunningCore core(parts());
    startOnLAN(core);
    for (int pass = 0; pass < 4; ++pass)
        core.controller().triggerImmediateScan();
    dispatch.advance(2s);
    EXPECT_EQ(sweeps(), 4);
    lan.addresses.clear();
    lan.add(QStringLiteral("eth0"), QStringLiteral("192.168.1.99"));
    core.controller().findMyHost();
    dispatch.advance(1s);
    EXPECT_EQ(title(), "192.168.1.99");
}

TEST_F(Core, AScanAsksForTheLocationPermission)
{
    RunningCore core(parts());
    startOnLAN(core);
    manager.status = LocationAuthorizationStatus::notDetermined;
    core.controller().triggerImmediateScan();
    EXPECT_EQ(manager.requests, 1);
    EXPECT_EQ(sweeps(), 0);
    manager.decide(LocationAuthorizationStatus::denied);
    dispatch.advance(2s);
    EXPECT_EQ(sweeps(), 1);
    EXPECT_TRUE(log.contains("Location permission denied; Wi-Fi SSID unreadable — scanning anyway"));
}

TEST_F(Core, ASnapshotThatAnotherProcessSavedOrRemovedIsAnnounced)
{
    const RunningCore core(parts());
    int announced = 0;
    const auto observation = notifications.observe(snapshotSavedNotification, [&](const Notification &notification) {
        ++announced;
        EXPECT_TRUE(notification.userInfo.isEmpty());
    });
    changedElsewhere({{"latestLocalSnapshot", QVariantMap{{"ssid", "x"}}}, {"latestSnapshotMacSig", "1"}});
    EXPECT_EQ(announced, 1);
    EXPECT_EQ(posted, QStringList());
    changedElsewhere({{"latestLocalSnapshot", QVariant()}}); // removed
    EXPECT_EQ(announced, 2);
    set("latestLocalSnapshot", QVariantMap{{"ssid", "own"}});
    dispatch.runReady();
    EXPECT_EQ(announced, 2);
}

TEST_F(Core, TheProgramMayEndInMidScan)
{
    auto core = std::make_unique<RunningCore>(parts());
    startOnLAN(*core);
    core->controller().triggerImmediateScan();
    dispatch.advance(10s);
    EXPECT_EQ(sweeps(), 1);
    core->terminate();
    core.reset();
    dispatch.endSleeps();
    dispatch.advance(2min);
    EXPECT_FALSE(stored("latestLocalSnapshot").isValid());
}

TEST_F(Core, ASweepThatOutlivesTheCoreEndsInSilence)
{
    auto core = std::make_unique<RunningCore>(parts());
    startOnLAN(*core);
    core->controller().triggerImmediateScan();
    dispatch.advance(10s);
    core.reset();
    dispatch.advance(2min);
    EXPECT_TRUE(log.contains("Found 1 devices"));
    EXPECT_FALSE(log.contains("RGFCoreScanEngine: starting network scan"));
}

TEST_F(Core, PassPutsTablesAndSnapshotIntoTheOwnersDocument)
{
    RunningCore core(parts());
    startOnLAN(core);
    set("showMACAddresses", true);
    for (int passes = 0; passes < 2; ++passes) { // a pass's snapshot is made while its tables are saved, and goes out with the next
        core.controller().timerLAN();
        dispatch.advance(3min);
    }
    const QJsonObject document = storedDocument();
    const QString network = stored("currentWiFiName").toString();
    const QJsonObject table = document.value("MACAddressesByNetworkSegment").toObject().value(network).toObject();
    EXPECT_EQ(table.keys(), (QStringList{"192.168.1.20", "lastUpdate"}));
    EXPECT_TRUE(document.value("CurrentNetworkStatus_Lanterna").toObject().value("devices").toString().contains("192.168.1.20"));
    EXPECT_TRUE(settings.date("cloudLastSave").isValid());
    EXPECT_FALSE(settings.contains("cloudLastError"));
}

TEST_F(Core, StartReadsTheOwnersDocument)
{
    putDocument(R"({"Harbour":{"192.168.1.20 ":"x"},"MACAddressesByNetworkSegment":{"Cloud":{"10.0.0.9":"02:00:00:00:00:09"}}})");
    RunningCore core(parts());
    core.start(0, false);
    dispatch.runReady();
    EXPECT_EQ(settings.dictionary("MACAddressesByNetworkSegment").keys(), QStringList{"Cloud"});
    EXPECT_TRUE(settings.contains("LastImportedCloudKitDict"));
    EXPECT_EQ(database->calls.first(), "query UserDictionary");
}

TEST_F(Core, OtherDatabaseIsReadAsAtLaunchOnceForSeveralChanges)
{
    RunningCore core(parts());
    core.start(0, false);
    dispatch.runReady();
    const int before = databasesMade;
    changedElsewhere({{"cloudBackend", "webdav"}, {"cloudWebDAVURL", "https://cloud.example/"}, {"cloudWebDAVUser", "keeper"}});
    dispatch.advance(100ms);
    EXPECT_EQ(databasesMade, before + 1);
    EXPECT_EQ(database->calls, QStringList{"query UserDictionary"});
    EXPECT_TRUE(database->saves.isEmpty());
}

TEST_F(Core, FailureOfTheCloudIsKeptInWordsUntilTheNextSuccess)
{
    RunningCore core(parts());
    core.start(0, false);
    dispatch.runReady();
    database->failNextSave({RecordErrorCode::quotaExceeded, "There is no room.", {}});
    core.sharedCloud().saveCustomizationsToCloudKitDelayed();
    dispatch.runReady();
    EXPECT_EQ(settings.text("cloudLastError"), "There is no room. (25)");
    core.sharedCloud().saveCustomizationsToCloudKitDelayed();
    dispatch.runReady();
    EXPECT_FALSE(settings.contains("cloudLastError"));
    EXPECT_EQ(cloudEnds, QList<int>({0, int(RecordErrorCode::quotaExceeded), 0})) << "the import at the start, and two saves";
    EXPECT_EQ(databasesMade, 1) << "what is noted of a save is no other choice of a database";
}

} // namespace
