#pragma once

#include "scan/RGFCoreScanDevice.h"

#include <QVariantMap>

#include <optional>

namespace lanterna
{

// Two decisions about a device. Pure functions, for any thread.

/// The type name of a device, from its services and names: "AppleTV", "HomePod", "Printer", "NetStorage", "SmartPlug", "Chromecast", "MusicPlayer",
/// "iPhone", "Vision_Pro", "iPad_Air", "MacBook_Pro", "iMac", "MacMini", "Mac_Studio", "MacPro", "Game", "Xbox" or "UNKNOWN". The first rule that
/// fits wins; the names are shared with the programs that read snapshots.
QString inferDeviceType(const RGFCoreScanDevice &device);

/// What a filter leaves out. All keys are optional: "blacklistMACs" (list of upper-case texts), "allowLinkLocal", "showVirtual", "showHidden" and
/// "allowMulticast" (booleans).
using ScanFilterPrefs = QVariantMap;

/// Whether the filter leaves a device out; without a filter nothing is. `mac` is upper case, `hostname` may be empty.
bool shouldExcludeDevice(const std::optional<ScanFilterPrefs> &prefs, const QString &withIP, const QString &mac, const QString &hostname);

/// Whether addresses above 223.255.255.255 stay.
bool allowsMulticast(const std::optional<ScanFilterPrefs> &prefs);

} // namespace lanterna
