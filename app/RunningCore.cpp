#include "app/RunningCore.h"

#include "cloud/ChosenRecordDatabase.h"
#include "platform/NotificationNames.h"
#include "platform/SettingsKeys.h"
#include "scan/NetworkScanner.h"

namespace lanterna
{

namespace
{

/// How long the end of the program waits for the last lines of the history.
constexpr std::chrono::milliseconds historyPatience{300};
/// How long a change of the database waits for others that belong to it.
constexpr std::chrono::milliseconds choicePause{50};

Ports portsOf(const CoreParts &parts, HttpFetch &fetch, std::optional<QVariantMap> &macAddressesByNetworkSegmentDict)
{
    return {parts.dispatch, parts.settings, parts.notifications, parts.log, parts.kernel, parts.events, parts.statusItem, parts.alerts,
        parts.pasteboard, parts.workspace, parts.publishing, parts.discovery, macAddressesByNetworkSegmentDict, parts.hostName, parts.fullUserName,
        [&fetch](const QString &url, HttpFetch::Completion completion) { fetch.get(url, std::move(completion)); }, parts.defaultConfigurationURL};
}

} // namespace

RunningCore::RunningCore(const CoreParts &parts)
    : m_parts(parts), m_fetch(parts.dispatch), m_locationHelper(parts.locationManager, parts.notifications, parts.log),
      m_history(parts.dispatch, parts.historyFolder), m_publisher(publisherPorts()), m_engine(scanPorts(m_parts.kernel)), m_cloud(cloudPorts()),
      m_controller(portsOf(parts, m_fetch, m_macAddressesByNetworkSegmentDict), features())
{
    m_cloud.setObserver([this](const CloudOutcome &outcome) {
        noteCloudOutcome(m_parts.settings, chosenStore(m_parts.settings), outcome);
        if (m_parts.cloudEnded)
            m_parts.cloudEnded(outcome);
    });
    // Changes are noticed on any thread, and a call may still be under way when the core goes.
    m_parts.settings.setChangeObserver([this, dispatch = &parts.dispatch, alive = std::weak_ptr(m_alive)](const QString &key, bool external) {
        dispatch->mainAsync([this, alive, key, external] {
            if (!alive.expired())
                settingChanged(key, external);
        });
    });
}

RunningCore::~RunningCore()
{
    m_parts.settings.setChangeObserver({});
}

ScanPorts RunningCore::scanPorts(const KernelTables &kernel)
{
    return {m_parts.dispatch, m_parts.settings, m_parts.notifications, m_parts.log, kernel, m_parts.wiFiClient, m_parts.probes, m_parts.processes,
        m_parts.names, m_parts.tester, m_parts.discovery,
        [this](std::function<void(bool)> answered) { m_locationHelper.requestAuthorizationWithCompletion(std::move(answered)); },
        [this](const QVariantMap &snapshot) { m_history.recordSnapshot(snapshot); }, {}, true};
}

SnapshotPublisherPorts RunningCore::publisherPorts()
{
    return {m_parts.dispatch, m_parts.settings, m_parts.notifications, m_parts.log, m_parts.publishing, m_parts.makeListener,
        [this] { return NetworkScanner::currentIPv4SubnetPrefixes(scanPorts(m_parts.watchedKernel)); }, m_parts.serviceName};
}

CloudDocumentPorts RunningCore::cloudPorts()
{
    return {m_parts.dispatch, m_parts.settings, m_parts.log, m_macAddressesByNetworkSegmentDict,
        [this] { return NetworkScanner::readARPTable(scanPorts(m_parts.kernel)); }, m_parts.cloud.localeIdentifier, m_parts.cloud.writeTemporaryFile,
        m_parts.cloud.keepUnreadable, [this](const QVariantMap &document) { m_engine.loadCustomizationsFromCloudKitDict(document); }};
}

Features RunningCore::features()
{
    Features made = m_parts.desktop;
    made.scanNetworkWithCompletion = [this](const Features::ScanCompletion &completion) {
        NetworkScanner::scanNetworkWithCompletion(scanPorts(m_parts.kernel), [completion](const ARPTable &table) {
            QVariantMap addresses;
            for (auto row = table.begin(); row != table.end(); ++row)
                addresses.insert(row.key(), row.value());
            completion(addresses);
        });
    };
    made.scanAndSaveSnapshotWithCompletion = [this](Features::SnapshotCompletion completion) {
        m_engine.scanAndSaveSnapshotWithCompletion(std::move(completion));
    };
    made.currentIPv4SubnetPrefixes = [this] { return NetworkScanner::currentIPv4SubnetPrefixes(scanPorts(m_parts.kernel)); };
    if (m_parts.cloud.makeDatabase) {
        made.saveMACAddressesToiCloud = [this] { m_cloud.saveMACAddressesToiCloud(); };
        made.getCustomDictFromCloudKitDelayed = [this] { m_cloud.getCustomDictFromCloudKitDelayed(); };
        made.saveCustomizationsToCloudKitDelayed = [this] { m_cloud.saveCustomizationsToCloudKitDelayed(); };
    }
    made.startSnapshotPublisher = [this] { m_publisher->start(); };
    return made;
}

void RunningCore::start(quint64 modifierFlags, bool askReset)
{
    useChosenDatabase();
    constexpr quint64 resetKeys = Workspace::commandKey | Workspace::optionKey;
    m_controller.awakeFromNib();
    m_controller.applicationWillFinishLaunching(askReset ? resetKeys : modifierFlags);
}

void RunningCore::terminate()
{
    m_controller.applicationWillTerminate();
    (void)m_history.finish(historyPatience); // a disk that takes longer than that may have the line or not
}

void RunningCore::useChosenDatabase()
{
    if (m_parts.cloud.makeDatabase)
        m_cloud.setDatabase(m_parts.cloud.makeDatabase());
}

void RunningCore::settingChanged(const QString &key, bool external)
{
    if (isDatabaseChoice(key) && !std::exchange(m_choosingDatabase, true)) {
        // Once for several that change together.
        m_parts.dispatch.mainAfter(choicePause, [this, alive = std::weak_ptr(m_alive)] {
            if (alive.expired())
                return;
            m_choosingDatabase = false;
            useChosenDatabase();
            m_cloud.getCustomDictFromCloudKitDelayed();
        });
    }
    if (m_parts.settingChanged)
        m_parts.settingChanged(key, external);
    if (external && key == QLatin1String("latestLocalSnapshot"))
        m_parts.notifications.post(snapshotSavedNotification);
    const SettingKey *declared = settingKey(key);
    if (!external || !declared || !declared->edited || std::exchange(m_announcing, true))
        return;
    m_parts.dispatch.mainAsync([this, alive = std::weak_ptr(m_alive)] {
        if (!alive.expired())
            announceSettings();
    });
}

void RunningCore::announceSettings()
{
    m_announcing = false;
    m_parts.notifications.post(preferencesChangedNotification);
    m_parts.notifications.post(updateMenubarDataNotification);
}

} // namespace lanterna
