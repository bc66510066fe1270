#pragma once

#include <QString>

namespace lanterna
{

// Names of the notifications by which parts that do not know each other speak. The spelling of the second is part of the interface.
inline const QString locationAuthorizationChangedNotification = QStringLiteral("LTNLocationAuthorizationChangedNotification");
inline const QString localhostAddressesResolvedNotification = QStringLiteral("LocalhostAdressesResolved");
inline const QString macAddressesEditedNotification = QStringLiteral("MACAddressesByNetworkSegmentDictEdited");
inline const QString preferencesChangedNotification = QStringLiteral("PreferencesChanged");
inline const QString updateMenubarDataNotification = QStringLiteral("updateMenubarData");
inline const QString triggerImmediateScanNotification = QStringLiteral("TriggerImmediateScan");
inline const QString wiFiStubChangedNotification = QStringLiteral("WiFiStubChanged");
inline const QString snapshotSavedNotification = QStringLiteral("RGFCoreScanSnapshotSaved");

} // namespace lanterna
