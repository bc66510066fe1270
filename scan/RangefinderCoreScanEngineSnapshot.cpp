#include "platform/NotificationNames.h"
#include "scan/NetworkScanner.h"
#include "scan/NetworkSnapshot.h"
#include "scan/RangefinderCoreScanEngine.h"

namespace lanterna
{

void RangefinderCoreScanEngine::scanAndSaveSnapshotWithCompletion(SaveCompletion completion)
{
    loadFilterPrefsFromKVS();
    parseExistingSnapshotsFromKVS();
    scanNetworkWithCompletion([this, completion = std::move(completion)](const QList<RGFCoreScanDevice> &devices, const QString &error) {
        snapshotScanFinished(devices, error, completion);
    });
}

void RangefinderCoreScanEngine::snapshotScanFinished(const QList<RGFCoreScanDevice> &devices, const QString &error, const SaveCompletion &completion)
{
    if (!error.isEmpty()) {
        m_ports.log(QStringLiteral("RGFCoreScanEngine: scan error: %@"), error);
        completion(false, error);
        return;
    }
    const QString ssid = chosenSSID();
    if (devices.isEmpty()) {
        m_ports.log(QStringLiteral("RGFCoreScanEngine: no devices discovered for SSID '%@' — skipping cloud snapshot"), ssid);
        completion(true, {});
        return;
    }
    const QString signatureKey = QStringLiteral("latestSnapshotMacSig");
    const QVariantMap snapshot = formatSnapshotDict(devices, ssid);
    const QString signature = snapshot.value(QStringLiteral("macSig")).toString();
    const bool unchanged = m_ports.settings.text(signatureKey) == signature;
    saveSnapshotToCloud(snapshot, ssid);
    m_ports.settings.setValue(signatureKey, signature);
    m_ports.log(QStringLiteral("RGFCoreScanEngine: snapshot %@ (sig=%@) SSID '%@' (%lu devices)"),
        unchanged ? QStringLiteral("unchanged — pushed anyway") : QStringLiteral("CHANGED"), signature, ssid, devices.size());
    completion(true, {});
}

QString RangefinderCoreScanEngine::chosenSSID() const
{
    const QString associated = m_ports.settings.text(QStringLiteral("associatedWiFiNetwork"));
    if (!associated.isEmpty() && associated != QLatin1String("current"))
        return associated;
    const QString current = m_ports.settings.text(QStringLiteral("currentWiFiName"));
    return current.isEmpty() ? QStringLiteral("Unknown") : current;
}

QVariantMap RangefinderCoreScanEngine::formatSnapshotDict(const QList<RGFCoreScanDevice> &devices, const QString &withSSID) const
{
    const QString subnet = NetworkScanner::currentIPv4SubnetPrefix(m_ports).value_or(QString());
    return networkSnapshot(devices, withSSID, subnet, m_ports.dispatch.now());
}

void RangefinderCoreScanEngine::saveSnapshotToCloud(const QVariantMap &snapshot, const QString &forSSID)
{
    if (forSSID.isEmpty()) {
        m_ports.log(QStringLiteral("RGFCoreScanEngine: no SSID, skipping cloud save"));
        return;
    }
    m_ports.settings.setValue(QStringLiteral("latestLocalSnapshot"), snapshot);
    m_ports.log(QStringLiteral("RGFCoreScanEngine: saved snapshot to latestLocalSnapshot for SSID '%@'"), forSSID);
    if (m_ports.recordSnapshot)
        m_ports.recordSnapshot(snapshot);
    m_ports.notifications.post(snapshotSavedNotification, {}, {{QStringLiteral("ssid"), forSSID}, {QStringLiteral("snapshot"), snapshot}});
}

void RangefinderCoreScanEngine::loadCustomizationsFromCloudKitDict(const QVariantMap &cloudDict)
{
    m_cachedCloudKitDict = cloudDict;
    m_ports.settings.setValue(QStringLiteral("LastImportedCloudKitDict"), cloudDict);
    addCustomizationsOfCloudDict(m_customizationsByMAC, cloudDict);
    m_ports.log(QStringLiteral("RGFCoreScanEngine: loaded %lu customizations from CloudKit"), m_customizationsByMAC.size());
}

void RangefinderCoreScanEngine::parseExistingSnapshotsFromKVS()
{
    addCustomizationsOfCloudDict(m_customizationsByMAC, m_ports.settings.dictionary(QStringLiteral("LastImportedCloudKitDict")));
    m_ports.log(QStringLiteral("RGFCoreScanEngine: parsed %lu customizations from existing snapshots"), m_customizationsByMAC.size());
}

} // namespace lanterna
