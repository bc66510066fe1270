#include "scan/NetworkSnapshot.h"
#include "scan/RangefinderCoreScanEngine.h"
#include "tests/scan/ScanFixture.h"

#include <thread>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

constexpr auto sweepTime = 29s + 908ms; // broadcast ping, 254 hosts, the wait for the last replies

class ScanEngine : public ScanFixture
{
protected:
    ScanEngine() { standardInterface(); }

    void startScan()
    {
        engine.scanNetworkWithCompletion([this](const QList<RGFCoreScanDevice> &found, const QString &error) {
            ++completions;
            devices = found;
            lastError = error;
        });
    }
    /// A whole scan.
    void scan()
    {
        startScan();
        dispatch.advance(1min);
        ASSERT_EQ(completions, 1);
    }
    FakeHost &printer()
    {
        FakeHost &host = addHost("192.168.1.20", "00:1b:a9:4e:00:14");
        host.name = "printer.lan";
        host.localName = "printer.local.";
        host.services = {"_ipp._tcp.", "_http._tcp."};
        return host;
    }

    RangefinderCoreScanEngine engine{ports()};
    QList<RGFCoreScanDevice> devices;
    QString lastError;
    int completions = 0;
};

TEST_F(ScanEngine, FindsNamesTestsAndClassifiesTheDevices)
{
    printer();
    scan();
    ASSERT_EQ(devices.size(), 1);
    EXPECT_EQ(devices[0].formattedDeviceString("now"),
        "\"printer.lan\"|*|Printer|*|192.168.1.20|*|00:1B:A9:4E:00:14|*|UNKNOWN|*|printer.local.|*|\"UNKNOWN\"|*|now|*|ping: 1|*||*|"
        "_http._tcp.,_ipp._tcp.|*|No notes found");
    EXPECT_EQ(lastError, "");
    EXPECT_FALSE(engine.isScanning());
}

TEST_F(ScanEngine, LogsItsStages)
{
    printer();
    scan();
    QStringList lines = log.lines();
    lines.removeIf([](const QString &line) { return !line.startsWith("RGFCoreScanEngine"); });
    EXPECT_EQ(lines,
        QStringList({"RGFCoreScanEngine: starting network scan", "RGFCoreScanEngine: ARP scan found 1 hosts",
            "RGFCoreScanEngine: DNS resolved 1 hostnames, 1 pingable", "RGFCoreScanEngine: finalizing scan (Bonjour found services for 1 IPs)",
            "RGFCoreScanEngine: scan complete with 1 devices:"}));
}

TEST_F(ScanEngine, ASecondScanIsRefusedAtOnceAndTheFirstGoesOn)
{
    startScan();
    dispatch.advance(10s);
    QString refusal;
    qsizetype found = -1;
    engine.scanNetworkWithCompletion([&](const QList<RGFCoreScanDevice> &none, const QString &error) {
        found = none.size();
        refusal = error;
    });
    EXPECT_EQ(refusal, "Scan already in progress"); // no time has passed
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(log.contains("RGFCoreScanEngine: scan already in progress, skipping"));
    EXPECT_TRUE(engine.isScanning());
    dispatch.advance(1min);
    EXPECT_EQ(completions, 1);
    startScan();
    EXPECT_TRUE(engine.isScanning());
}

TEST_F(ScanEngine, TestsTheThreePortsForAFifthOfASecondEach)
{
    printer();
    scan();
    EXPECT_EQ(lan.lastTest.ports, (std::vector<quint16>{80, 62078, 5000}));
    EXPECT_EQ(lan.lastTest.patience, 200ms);
}

TEST_F(ScanEngine, BrowsesTheTypesInTheirOrderForFourSecondsAndResolvesForThree)
{
    printer();
    startScan();
    dispatch.advance(sweepTime + 600ms);
    EXPECT_EQ(lan.searches,
        QStringList({"_airplay._tcp.", "_raop._tcp.", "_companion-link._tcp.", "_smb._tcp.", "_afpovertcp._tcp.", "_http._tcp.", "_ipp._tcp.",
            "_printer._tcp.", "_pdl-datastream._tcp.", "_scanner._tcp.", "_ssh._tcp.", "_rfb._tcp.", "_homekit._tcp.", "_hap._tcp.",
            "_sleep-proxy._udp.", "_apple-mobdev2._tcp.", "_remotepairing._tcp.", "_dacp._tcp.", "_touch-able._tcp.", "_appletv-v2._tcp.",
            "_mediaremotetv._tcp.", "_googlecast._tcp.", "_spotify-connect._tcp.", "_sonos._tcp."}));
    EXPECT_EQ(lan.openSearches, 24);
    EXPECT_EQ(lan.searchDomains, QStringList({"local."}));
    dispatch.advance(3999ms);
    EXPECT_EQ(completions, 0);
    EXPECT_EQ(lan.lastTimeout, 3s);
    dispatch.advance(1ms);
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(lan.openSearches, 0);
}

TEST_F(ScanEngine, GoesOnAtOnceWhenAllHostsHaveAnswered)
{
    printer();
    startScan();
    dispatch.advance(sweepTime + 600ms - 1ms); // three ports of 0.2 s
    EXPECT_TRUE(lan.searches.isEmpty());
    dispatch.advance(1ms);
    EXPECT_FALSE(lan.searches.isEmpty());
}

TEST_F(ScanEngine, CutsNamesAndTestsOffAfterFiveSeconds)
{
    printer().nameDelay.reset(); // a mute name server
    FakeHost &slow = addHost("192.168.1.21", "02:00:00:00:00:01");
    slow.name = "slow.lan";
    slow.nameDelay = 4900ms;
    FakeHost &late = addHost("192.168.1.22", "02:00:00:00:00:02");
    late.name = "late.lan";
    late.nameDelay = 5100ms;
    startScan();
    dispatch.advance(sweepTime + 5s - 1ms);
    EXPECT_TRUE(lan.searches.isEmpty());
    dispatch.advance(1ms);
    EXPECT_FALSE(lan.searches.isEmpty());
    dispatch.advance(10s);
    ASSERT_EQ(devices.size(), 3);
    EXPECT_EQ(devices[0].hostname, "UNKNOWN");
    EXPECT_EQ(devices[1].hostname, "slow.lan");
    EXPECT_EQ(devices[2].hostname, "UNKNOWN"); // its late answer is lost
    EXPECT_TRUE(log.contains("RGFCoreScanEngine: DNS resolved 1 hostnames, 3 pingable"));
}

TEST_F(ScanEngine, AHostThatDoesNotAnswerTheTestIsThereWithoutPing)
{
    printer().tcp.reset();
    scan();
    ASSERT_EQ(devices.size(), 1);
    EXPECT_FALSE(devices[0].isPingable);
}

TEST_F(ScanEngine, AServiceThatDoesNotResolveInTimeIsLeftOut)
{
    printer().resolved = 3100ms;
    scan();
    EXPECT_EQ(devices.value(0).services, "");
    EXPECT_EQ(devices.value(0).dnsEntry, "printer.lan");
}

TEST_F(ScanEngine, AServiceFoundTwiceIsListedOnce)
{
    printer().services = {"_ipp._tcp."};
    lan.hosts.append(lan.hosts.last()); // announced a second time, on another interface
    scan();
    EXPECT_EQ(devices.value(0).services, "_ipp._tcp.");
}

TEST_F(ScanEngine, AServiceWithoutAnAddressIsIgnoredAndOneWithTwoIsAtItsFirst)
{
    printer().serviceAddresses = QStringList();
    addHost("192.168.1.21", "02:00:00:00:00:01");
    addHost("192.168.1.22", "02:00:00:00:00:02").services = {"_ssh._tcp."};
    lan.hosts.last().serviceAddresses = QStringList{"192.168.1.21", "192.168.1.22"};
    scan();
    ASSERT_EQ(devices.size(), 3);
    EXPECT_EQ(devices[0].services, "");
    EXPECT_EQ(devices[1].services, "_ssh._tcp.");
    EXPECT_EQ(devices[1].dnsEntry, "UNKNOWN"); // it has no host name
    EXPECT_EQ(devices[2].services, "");
}

TEST_F(ScanEngine, ASecondFinalisationOfTheSameScanDoesNothing)
{
    printer();
    scan();
    log.clear();
    engine.finalizeScanWithARPResults({{"10.0.0.1", "02:00:00:00:00:01"}}, {});
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(engine.devices().size(), 1);
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(ScanEngine, TheNextScanMayStartFromTheCompletion)
{
    printer();
    engine.scanNetworkWithCompletion([this](const QList<RGFCoreScanDevice> &found, const QString &) {
        startScan();
        EXPECT_EQ(found.size(), 1);
    });
    dispatch.advance(2min);
    EXPECT_EQ(completions, 1);
    EXPECT_EQ(devices.size(), 1);
}

TEST_F(ScanEngine, TheFirstBonjourNameOfAnAddressWins)
{
    printer();
    lan.hosts.append(lan.hosts.last());
    lan.hosts.last().localName = "other.local.";
    lan.hosts.last().found = 200ms;
    lan.hosts.last().services = {"_ssh._tcp."};
    scan();
    EXPECT_EQ(devices.value(0).dnsEntry, "printer.local.");
    EXPECT_EQ(devices.value(0).services, "_http._tcp.,_ipp._tcp.,_ssh._tcp.");
}

TEST_F(ScanEngine, ControlCharactersOfABonjourNameAreDropped)
{
    FakeHost &host = printer();
    host.name.clear();
    host.localName = QStringLiteral("bad\x1b[2J\n\x9bname.local.");
    scan();
    EXPECT_EQ(devices.value(0).deviceName, "bad[2Jname.local");
    completions = 0;
    lan.hosts[0].name = QStringLiteral("turned\u202ename\u2028.lan");
    scan();
    EXPECT_EQ(devices.value(0).hostname, "turnedname.lan");
}

TEST_F(ScanEngine, AnEmptyScanStillBrowsesAndEndsWithAnEmptyList)
{
    scan();
    EXPECT_EQ(devices.size(), 0);
    EXPECT_EQ(lastError, "");
    EXPECT_EQ(lan.searches.size(), 24);
}

TEST_F(ScanEngine, WithoutANetworkItEndsWithAnEmptyList)
{
    lan.addresses.clear();
    lan.routes = QStringLiteral("");
    scan();
    EXPECT_TRUE(devices.isEmpty());
    EXPECT_TRUE(lan.seen.isEmpty());
}

TEST_F(ScanEngine, AnEarlierScansServicesAreForgotten)
{
    printer();
    scan();
    lan.hosts[0].services.clear();
    completions = 0;
    scan();
    EXPECT_EQ(devices.value(0).services, "");
}

TEST_F(ScanEngine, AnEngineThatGoesInMidScanIsNeverCalledAgain)
{
    printer();
    for (const auto moment : {1000ms, 29000ms, 30000ms, 31000ms}) {
        auto other = std::make_unique<RangefinderCoreScanEngine>(ports());
        other->scanNetworkWithCompletion([](const QList<RGFCoreScanDevice> &, const QString &) { FAIL() << "called after its end"; });
        dispatch.advance(moment);
        other.reset();
        dispatch.advance(1min);
    }
    EXPECT_EQ(lan.openSearches, 0);
}

class Saving : public ScanEngine
{
protected:
    void scanAndSave()
    {
        engine.scanAndSaveSnapshotWithCompletion([this](bool success, const QString &error) {
            saved = success;
            saveError = error;
        });
        dispatch.advance(1min);
    }
    QString saveError;
    [[nodiscard]] QVariantMap snapshot() const { return stored("latestLocalSnapshot").toMap(); }
    std::optional<bool> saved;
};

TEST_F(Saving, StoresRecordsAndAnnouncesTheSnapshot)
{
    printer();
    QList<Notification> announced;
    std::thread::id thread;
    const auto observation = notifications.observe(snapshotSavedNotification, [&](const Notification &notification) {
        EXPECT_EQ(snapshot().value("ssid"), "Subnet 192.168.1.x"); // stored already
        EXPECT_EQ(recorded.size(), 1); // recorded already
        EXPECT_FALSE(stored("latestSnapshotMacSig").isValid()); // not yet
        thread = std::this_thread::get_id();
        announced.append(notification);
    });
    scanAndSave();
    EXPECT_EQ(saved, true);
    EXPECT_EQ(snapshot().value("subnet"), "192.168.1");
    EXPECT_EQ(stored("latestSnapshotMacSig"), snapshot().value("macSig"));
    EXPECT_EQ(recorded, QVariantList({snapshot()}));
    ASSERT_EQ(announced.size(), 1);
    EXPECT_EQ(thread, std::this_thread::get_id());
    EXPECT_FALSE(announced[0].object.isValid());
    EXPECT_EQ(announced[0].userInfo, QVariantMap({{"ssid", "Subnet 192.168.1.x"}, {"snapshot", snapshot()}}));
    const QString signature = snapshot().value("macSig").toString();
    EXPECT_TRUE(log.contains("RGFCoreScanEngine: saved snapshot to latestLocalSnapshot for SSID 'Subnet 192.168.1.x'"));
    EXPECT_TRUE(log.contains("RGFCoreScanEngine: snapshot CHANGED (sig=" + signature + ") SSID 'Subnet 192.168.1.x' (1 devices)"));
}

TEST_F(Saving, AnUnchangedTableIsSavedAllTheSame)
{
    printer();
    scanAndSave();
    const double first = snapshot().value("dateEpoch").toDouble();
    scanAndSave();
    EXPECT_GT(snapshot().value("dateEpoch").toDouble(), first);
    const QString signature = snapshot().value("macSig").toString();
    EXPECT_TRUE(log.contains("RGFCoreScanEngine: snapshot unchanged — pushed anyway (sig=" + signature + ") SSID 'Subnet 192.168.1.x' (1 devices)"));
    EXPECT_EQ(recorded.size(), 2);
}

TEST_F(Saving, AnEmptyScanNeverOverwritesTheLastSnapshot)
{
    set("latestLocalSnapshot", QVariantMap{{"ssid", "kept"}});
    scanAndSave();
    EXPECT_EQ(saved, true);
    EXPECT_EQ(snapshot(), QVariantMap({{"ssid", "kept"}}));
    EXPECT_FALSE(stored("latestSnapshotMacSig").isValid());
    EXPECT_TRUE(log.contains("RGFCoreScanEngine: no devices discovered for SSID 'Subnet 192.168.1.x' — skipping cloud snapshot"));
}

TEST_F(Saving, ARefusedScanIsAnErrorAndSavesNothing)
{
    printer();
    startScan();
    scanAndSave();
    EXPECT_EQ(saved, false);
    EXPECT_EQ(saveError, "Scan already in progress");
    EXPECT_TRUE(log.contains("RGFCoreScanEngine: scan error: Scan already in progress"));
    EXPECT_TRUE(snapshot().isEmpty());
}

TEST_F(Saving, TheAssociatedNetworkIsThatOfTheOwnersChoice)
{
    printer();
    set("associatedWiFiNetwork", "Lighthouse");
    scanAndSave();
    EXPECT_EQ(snapshot().value("ssid"), "Lighthouse");
}

TEST_F(Saving, CurrentFollowsTheNetworkOfTheScan)
{
    printer();
    for (const char *choice : {"current", ""}) {
        set("associatedWiFiNetwork", choice);
        scanAndSave();
        EXPECT_EQ(snapshot().value("ssid"), "Subnet 192.168.1.x") << choice;
    }
}

TEST_F(Saving, WithNeitherKeyTheSnapshotIsUnknowns)
{
    EXPECT_EQ(engine.chosenSSID(), "Unknown");
    set("currentWiFiName", "");
    EXPECT_EQ(engine.chosenSSID(), "Unknown");
    printer();
    const auto observation = notifications.observe(updateMenubarDataNotification, [&](const Notification &) { settings.remove("currentWiFiName"); });
    scanAndSave();
    EXPECT_EQ(snapshot().value("ssid"), "Unknown");
}

TEST_F(Saving, WithoutANameNothingIsSaved)
{
    int announced = 0;
    const auto observation = notifications.observe(snapshotSavedNotification, [&](const Notification &) { ++announced; });
    engine.saveSnapshotToCloud({{"devices", "x"}}, QString());
    engine.saveSnapshotToCloud({{"devices", "x"}}, "");
    EXPECT_EQ(announced, 0);
    EXPECT_TRUE(recorded.isEmpty());
    EXPECT_TRUE(snapshot().isEmpty());
    EXPECT_EQ(log.count("RGFCoreScanEngine: no SSID, skipping cloud save"), 2);
}

TEST_F(Saving, AFilterIsNeverInForce)
{
    printer();
    engine.setScanFilterPrefs(ScanFilterPrefs{{"blacklistMACs", QVariantList{"00:1B:A9:4E:00:14"}}});
    EXPECT_TRUE(engine.shouldExcludeDeviceWithIP("192.168.1.20", "00:1B:A9:4E:00:14", ""));
    scanAndSave();
    EXPECT_EQ(engine.devices().size(), 1);
    EXPECT_FALSE(engine.shouldExcludeDeviceWithIP("192.168.1.20", "00:1B:A9:4E:00:14", ""));
}

TEST_F(Saving, CustomisationsOfTheLastImportedDocumentAreInForce)
{
    printer();
    RGFCoreScanDevice known;
    known.macAddress = "00:1B:A9:4E:00:14";
    known.deviceName = "Hall Printer";
    known.vendorInfo = "Acme";
    const QVariantMap status{{"devices", deviceListText({known}, "now")}};
    set("LastImportedCloudKitDict",
        QVariantMap{{"CurrentNetworkStatus_Lighthouse", status}, {"Other", status}, {"CurrentNetworkStatus_Bad", "text"}});
    scanAndSave();
    EXPECT_TRUE(log.contains("RGFCoreScanEngine: parsed 1 customizations from existing snapshots"));
    EXPECT_EQ(engine.devices().value(0).deviceName, "Hall Printer");
    EXPECT_EQ(engine.devices().value(0).vendorInfo, "Acme");
    EXPECT_EQ(engine.devices().value(0).deviceType, "Printer");
}

TEST_F(Saving, ACloudDocumentIsKeptAndAddsToWhatIsKnown)
{
    RGFCoreScanDevice known;
    known.macAddress = "02:00:00:00:00:01";
    known.deviceName = "one";
    const QVariantMap first{{"CurrentNetworkStatus_A", QVariantMap{{"devices", deviceListText({known}, "now")}}}};
    engine.loadCustomizationsFromCloudKitDict(first);
    EXPECT_EQ(engine.cachedCloudKitDict(), first);
    EXPECT_EQ(stored("LastImportedCloudKitDict").toMap(), first);
    known.macAddress = "02:00:00:00:00:02";
    engine.loadCustomizationsFromCloudKitDict({{"CurrentNetworkStatus_A", QVariantMap{{"devices", deviceListText({known}, "now")}}}});
    EXPECT_EQ(engine.customizationsByMAC().size(), 2);
    EXPECT_TRUE(log.contains("RGFCoreScanEngine: loaded 2 customizations from CloudKit"));
}

TEST_F(Saving, WithoutAnImportedDocumentNothingIsKnown)
{
    engine.parseExistingSnapshotsFromKVS();
    EXPECT_TRUE(log.contains("RGFCoreScanEngine: parsed 0 customizations from existing snapshots"));
}

} // namespace
