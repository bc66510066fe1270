#include "app/NewMenuItem.h"
#include "app/localhostAddresses.h"
#include "platform/NotificationNames.h"

#include <limits>

namespace lanterna
{

namespace
{
constexpr std::chrono::seconds rescanDelay{3}; // a burst of events becomes one pass
constexpr std::chrono::seconds snapshotDelay{2}; // after the addresses of a pass are known
constexpr std::chrono::seconds macUploadDelay{5}; // likewise
constexpr std::chrono::milliseconds displayRest{200}; // at most one address update in this time
} // namespace

int NewMenuItem::interval(const QString &key, int current, int builtIn)
{
    if (!m_ports.settings.contains(key))
        return current;
    const qlonglong stored = m_ports.settings.integer(key);
    if (stored < 1) {
        m_ports.log(QStringLiteral("%@ is %ld, using %d"), key, stored, builtIn);
        return builtIn;
    }
    return static_cast<int>(std::min<qlonglong>(stored, std::numeric_limits<int>::max()));
}

void NewMenuItem::scheduleLANTimer()
{
    m_timerLAN = m_ports.dispatch.performEvery(std::chrono::seconds(m_updateIntervalLAN), [this] { timerLAN(); });
}

void NewMenuItem::scheduleWANTimer()
{
    m_timerWAN = m_ports.dispatch.performEvery(std::chrono::minutes(m_updateIntervalWAN), [this] { timerWAN(); });
}

void NewMenuItem::performLANPassAfter(std::chrono::seconds delay)
{
    m_pendingLANPass = m_ports.dispatch.performAfter(delay, [this] { timerLAN(); });
}

void NewMenuItem::timerLAN()
{
    m_ports.log(QStringLiteral("timerLAN"));
    findMyHost();
    if (m_features.scanNetworkWithCompletion) {
        m_features.scanNetworkWithCompletion([this, alive = std::weak_ptr(m_alive)](const QVariantMap &) {
            if (!alive.expired())
                lanPassFinished();
        });
    }
}

void NewMenuItem::lanPassFinished()
{
    stampNetworkEntry();
    if (m_ports.settings.boolean(QStringLiteral("showMACAddresses"))) {
        ++m_totalCloudkitUpdates;
        m_ports.dispatch.mainAfter(macUploadDelay, guarded([this] {
            if (m_features.saveMACAddressesToiCloud)
                m_features.saveMACAddressesToiCloud();
        }));
    }
    m_ports.dispatch.mainAfter(snapshotDelay, guarded([this] { scanAndSaveSnapshot(); }));
}

void NewMenuItem::stampNetworkEntry()
{
    SettingsStore &settings = m_ports.settings;
    const QString network = settings.text(QStringLiteral("currentWiFiName"));
    if (network.isNull())
        return;
    if (!m_ports.macAddressesByNetworkSegmentDict)
        m_ports.macAddressesByNetworkSegmentDict.emplace();
    const QString key = QStringLiteral("MACAddressesByNetworkSegment");
    const QString stamp = m_ports.dispatch.now().toLocalTime().toString(QStringLiteral("MM/dd/yyyy HH:mm"));
    QVariantMap table = settings.dictionary(key);
    table.insert(network, QVariantMap{{QStringLiteral("lastUpdate"), stamp}}); // a bare time stamp until the table is filled again
    settings.setValue(key, table);
}

void NewMenuItem::scanAndSaveSnapshot()
{
    if (!m_features.scanAndSaveSnapshotWithCompletion)
        return;
    m_features.scanAndSaveSnapshotWithCompletion([log = &m_ports.log](bool success, const QString &error) {
        if (success)
            (*log)(QStringLiteral("RGFCoreScanEngine: network snapshot saved successfully"));
        else
            (*log)(QStringLiteral("RGFCoreScanEngine: snapshot error: %@"), error);
    });
}

void NewMenuItem::timerWAN()
{
    getWANIP();
}

void NewMenuItem::getWANIP()
{
    m_wanLookup.getWANIP();
}

void NewMenuItem::wanLookupFinished(const QString &result, bool answered)
{
    m_myWANIP = result;
    m_ports.settings.setValue(QStringLiteral("WANIP"), result);
    if (answered)
        m_ports.log(QStringLiteral("current WAN: %@"), m_ports.settings.text(QStringLiteral("WANIP")));
    timerLAN();
}

void NewMenuItem::triggerImmediateScan()
{
    m_ports.log(QStringLiteral("TriggerImmediateScan received — kicking a fresh LAN scan"));
    timerLAN();
}

void NewMenuItem::rescanSoonForHelperEvent(const QString &notificationName)
{
    m_ports.log(QStringLiteral("rescanSoonForHelperEvent: %@"), notificationName.isNull() ? QStringLiteral("network-change") : notificationName);
    dropStaleSnapshot();
    performLANPassAfter(rescanDelay);
}

void NewMenuItem::dropStaleSnapshot()
{
    const QString key = QStringLiteral("latestLocalSnapshot");
    if (!m_ports.settings.contains(key))
        return;
    const QVariant stored = m_ports.settings.dictionary(key).value(QStringLiteral("subnet"));
    const QString subnet = stored.typeId() == QMetaType::QString ? stored.toString() : QString();
    const bool local = !m_features.currentIPv4SubnetPrefixes || m_features.currentIPv4SubnetPrefixes().contains(subnet);
    if (!subnet.isEmpty() && local)
        return;
    m_ports.log(
        QStringLiteral("Network changed — invalidating stale snapshot (subnet '%@' no longer local)"), subnet.isNull() ? QStringLiteral("") : subnet);
    m_ports.settings.remove(key);
    m_ports.notifications.post(snapshotSavedNotification);
}

void NewMenuItem::findMyHost()
{
    m_ports.dispatch.globalAsync(
        guarded([this] { localhostAddresses::list(m_ports.kernel, hiddenInterfacePatterns(m_ports.settings), m_ports.notifications); }));
}

void NewMenuItem::displayInfoUpdateNotification(const Notification &notification)
{
    if (m_updatingDisplay.exchange(true)) {
        m_ports.log(QStringLiteral("already updatingDisplay - can't get new localhost"));
        return;
    }
    m_ports.dispatch.mainAfter(displayRest, guarded([this] { resetUpdatingDisplay(); }));
    const QVariantMap addresses = notification.object.toMap();
    m_ports.settings.setValue(QStringLiteral("previousNetworkAddresses"), addresses); // first: whoever redraws from now on has these
    updateDisplayWithAddressesDict(addresses);
}

void NewMenuItem::resetUpdatingDisplay()
{
    m_updatingDisplay = false;
}

} // namespace lanterna
