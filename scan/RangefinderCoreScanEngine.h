#pragma once

#include "scan/DeviceList.h"
#include "scan/NetworkSnapshot.h"
#include "scan/ScanPorts.h"

#include <mutex>

namespace lanterna
{

/// Turns the hosts of the ARP table into a sorted list of named and classified devices, and the list into a snapshot.
///
/// One per program, owned by the running core. Main thread only; what blocks runs on the pool. One scan at a time: idle, sweep (minutes), names and
/// quick test (at most 5 s), Bonjour (4 s), finalised, idle again. Nothing ends a scan early but the end of the program, after which no completion
/// comes. Completions are never empty. The dispatch outlives the engine.
class RangefinderCoreScanEngine
{
public:
    using ScanCompletion = std::function<void(const QList<RGFCoreScanDevice> &devices, const QString &error)>;
    using SaveCompletion = std::function<void(bool success, const QString &error)>;

    explicit RangefinderCoreScanEngine(ScanPorts ports);
    RangefinderCoreScanEngine(const RangefinderCoreScanEngine &) = delete;
    RangefinderCoreScanEngine &operator=(const RangefinderCoreScanEngine &) = delete;

    // Scan

    /// Scans. While another scan runs, the completion comes at once, with no devices and "Scan already in progress"; else once, with an empty error.
    void scanNetworkWithCompletion(ScanCompletion completion);
    /// Looks the hosts' names up, all at once; see `HostNames::lookUp`.
    [[nodiscard]] std::shared_ptr<void> reverseDNSLookup(const QStringList &addresses, HostNames::Found found, HostNames::Done done);
    /// Tests which hosts answer on TCP ports 80, 62078 or 5000, each within 0.2 s; see `HostTester::test`.
    [[nodiscard]] std::shared_ptr<void> quickPing(const QStringList &addresses, HostTester::Answered answered, HostTester::Done done);
    /// Browses for services for 4 s and resolves what is found, then finalises.
    void startBonjourDiscoveryWithARPResults(const ARPTable &arpResults, const QHash<QString, QString> &dnsResults);
    /// Makes the list of devices from all that was found out, and ends the scan. A second call for the same scan does nothing.
    void finalizeScanWithARPResults(const ARPTable &arpResults, const QHash<QString, QString> &dnsResults);
    [[nodiscard]] bool isScanning() const { return m_isScanning; }
    /// The devices of the last scan that ended.
    [[nodiscard]] const QList<RGFCoreScanDevice> &devices() const { return m_devices; }

    // Classification

    [[nodiscard]] static QString inferDeviceType(const RGFCoreScanDevice &device) { return lanterna::inferDeviceType(device); }
    /// Whether the filter in force leaves the device out.
    [[nodiscard]] bool shouldExcludeDeviceWithIP(const QString &ip, const QString &mac, const QString &hostname) const;
    /// Puts no filter in force, at present; every snapshot scan begins with it.
    void loadFilterPrefsFromKVS();
    void setScanFilterPrefs(const std::optional<ScanFilterPrefs> &prefs) { m_scanFilterPrefs = prefs; }

    // Snapshot

    /// Scans, and saves what was found as the latest snapshot. A scan without devices saves nothing and succeeds.
    void scanAndSaveSnapshotWithCompletion(SaveCompletion completion);
    /// The snapshot of these devices, as of now; see `networkSnapshot`.
    [[nodiscard]] QVariantMap formatSnapshotDict(const QList<RGFCoreScanDevice> &devices, const QString &withSSID) const;
    [[nodiscard]] static QString macTableSignatureForDevices(const QList<RGFCoreScanDevice> &devices) { return macTableSignature(devices); }
    /// Stores the snapshot in the settings, hands it to the history and announces it. Nothing without a name.
    void saveSnapshotToCloud(const QVariantMap &snapshot, const QString &forSSID);
    /// The name under which a scan's data is filed: the one that the owner chose, else that of the network.
    [[nodiscard]] QString chosenSSID() const;

    // The owner's customisations

    /// Takes the customisations of a cloud dictionary and keeps it. Those known before stay.
    void loadCustomizationsFromCloudKitDict(const QVariantMap &cloudDict);
    /// Takes those of the cloud dictionary that was kept last.
    void parseExistingSnapshotsFromKVS();
    /// Takes those of one status dictionary.
    void parseDevicesFromStatusDict(const QVariantMap &statusDict) { addCustomizations(m_customizationsByMAC, statusDict); }
    [[nodiscard]] const Customizations &customizationsByMAC() const { return m_customizationsByMAC; }
    [[nodiscard]] const QVariantMap &cachedCloudKitDict() const { return m_cachedCloudKitDict; }

private:
    /// What the stage of names and quick tests gathers; several threads write it.
    struct HostAnswers {
        std::mutex mutex;
        QHash<QString, QString> names;
        QSet<QString> pingable;
        int pending = 2; // name lookup and quick test
    };

    void arpScanFinished(const ARPTable &arpResults);
    void hostsAnswered();
    void netServiceBrowserDidFindService(const ServiceInstance &service);
    void netServiceDidResolveAddress(const ServiceInstance &service, const ResolvedService &where);
    void snapshotScanFinished(const QList<RGFCoreScanDevice> &devices, const QString &error, const SaveCompletion &completion);
    void tell(ScanProgress::Stage stage);
    /// Wraps a task that touches this object, so that it does nothing once the object is gone.
    Task guarded(Task task);

    ScanPorts m_ports;
    bool m_isScanning = false;
    bool m_bonjourFinalized = false;
    ScanCompletion m_scanCompletion;
    QList<RGFCoreScanDevice> m_devices;
    Customizations m_customizationsByMAC;
    QVariantMap m_cachedCloudKitDict;
    std::optional<ScanFilterPrefs> m_scanFilterPrefs;

    // The scan that is under way
    ARPTable m_arpResults;
    std::optional<QSet<QString>> m_pingableIPs;
    std::shared_ptr<HostAnswers> m_hostAnswers;
    std::vector<std::shared_ptr<void>> m_hostLookups; // names and quick tests that run
    TimerHandle m_hostDeadline;
    std::vector<std::shared_ptr<void>> m_activeBrowsers;
    std::vector<std::shared_ptr<void>> m_discoveredServices; // those that are being resolved, or were
    QHash<QString, QStringList> m_servicesByIP;
    QHash<QString, QString> m_localNamesByIP;
    TimerHandle m_browseEnd;

    std::shared_ptr<char> m_alive = std::make_shared<char>(); // last: what still runs when the engine goes finds it gone
};

} // namespace lanterna
