#pragma once

#include "app/LocationAuthHelper.h"
#include "app/NewMenuItem.h"
#include "cloud/CloudDocumentSync.h"
#include "publish/MacSnapshotBonjourPublisher.h"
#include "publish/SnapshotHistoryWriter.h"
#include "scan/RangefinderCoreScanEngine.h"

#include <optional>

namespace lanterna
{

/// What the owner's cloud is made of. Without `makeDatabase` the core has none, and the others may be empty, too.
struct CloudParts {
    /// A database as the settings choose it, or none; main thread.
    std::function<std::unique_ptr<RecordDatabase>()> makeDatabase;
    std::function<QString()> localeIdentifier; ///< in which times are written, such as "en_US"
    std::function<QString(const QByteArray &document)> writeTemporaryFile; ///< why it could not, or a null text; any thread
    std::function<QString(const QByteArray &bytes)> keepUnreadable; ///< why it could not, or a null text; any thread
};

/// The parts that a program is built from. All of them outlive the core.
struct CoreParts {
    Dispatch &dispatch;
    SettingsStore &settings;
    NotificationCenter &notifications;
    SystemLog &log;
    const KernelTables &kernel;
    const KernelTables &watchedKernel; ///< the same, for whoever asks thousands of times a second; may tell of a change a blink later
    SystemEvents &events;
    LocationManager &locationManager;
    const WiFiClient &wiFiClient;
    ProbeSockets &probes;
    ChildProcesses &processes;
    HostNames &names;
    HostTester &tester;
    ServiceDiscovery &discovery;
    ServicePublishing &publishing;
    StatusItem &statusItem;
    Alerts &alerts;
    Pasteboard &pasteboard;
    Workspace &workspace;
    std::function<QString()> hostName;
    std::function<QString()> fullUserName;
    std::function<QString()> serviceName; ///< what people call this machine, 1 to 63 bytes of UTF-8; any thread
    std::function<std::unique_ptr<StreamListener>()> makeListener; ///< any thread
    QString historyFolder; ///< empty for no history
    QString defaultConfigurationURL;
    CloudParts cloud;
    std::function<void(const QString &key, bool external)>
        settingChanged; ///< after any setting changed; external: in another process; main thread; may be empty
    std::function<void(const CloudOutcome &outcome)> cloudEnded = {}; ///< after each save and import of the owner's document; may be empty
    Features desktop = {}; ///< those that only a program with a desktop has; the core fills in its own
};

/// The running core of both programs: the controller, the scan engine, what leaves the machine, and what belongs to them for the whole run. Main
/// thread only.
class RunningCore
{
public:
    explicit RunningCore(const CoreParts &parts);
    ~RunningCore();

    /// Starts up. `askReset` asks whether to reset the preferences as the modifier keys would.
    void start(quint64 modifierFlags, bool askReset);
    /// Says goodbye to the settings store, and has the history written to its end; called once, before the event loop's objects go.
    void terminate();
    /// Disconnects who is being served, and withdraws the service. The last thing before the program ends.
    void endServing() { m_publisher.reset(); }

    NewMenuItem &controller() { return m_controller; }
    /// The one location helper of the program.
    LocationAuthHelper &sharedHelper() { return m_locationHelper; }
    /// The one scan engine of the program.
    RangefinderCoreScanEngine &sharedEngine() { return m_engine; }
    /// The one keeper of the owner's document.
    CloudDocumentSync &sharedCloud() { return m_cloud; }
    /// The one server of snapshots of the program.
    MacSnapshotBonjourPublisher &sharedPublisher() { return *m_publisher; }

private:
    [[nodiscard]] ScanPorts scanPorts(const KernelTables &kernel);
    [[nodiscard]] SnapshotPublisherPorts publisherPorts();
    [[nodiscard]] CloudDocumentPorts cloudPorts();
    [[nodiscard]] Features features();
    void useChosenDatabase();
    void settingChanged(const QString &key, bool external);
    void announceSettings();

    CoreParts m_parts;
    HttpFetch m_fetch;
    LocationAuthHelper m_locationHelper;
    SnapshotHistoryWriter m_history;
    std::optional<MacSnapshotBonjourPublisher> m_publisher; // none once serving has ended
    RangefinderCoreScanEngine m_engine;
    std::optional<QVariantMap> m_macAddressesByNetworkSegmentDict;
    CloudDocumentSync m_cloud;
    NewMenuItem m_controller;
    bool m_choosingDatabase = false; // whether the choice of another database is on its way
    bool m_announcing = false; // whether the notifications for preferences changed elsewhere are on their way
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

} // namespace lanterna
