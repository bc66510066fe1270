#pragma once

#include "scan/RGFCoreScanDevice.h"

#include <QDateTime>
#include <QList>
#include <QVariantMap>

namespace lanterna
{

// The record that a scan publishes; docs/formats/snapshot.md describes it for those who read it. Pure functions, for any thread.

inline constexpr QStringView deviceSeparator = u"***"; ///< between two devices of a list
inline constexpr QStringView deviceFieldSeparator = u"|*|"; ///< between two fields of a device

/// The device list as text: for each device its line and a line end, with a separator between two devices.
QString deviceListText(const QList<RGFCoreScanDevice> &devices, const QString &formattedAt);

/// The signature of the devices' addresses: 64-bit FNV-1a of the sorted pairs "IP=MAC" joined by ";", in lower-case hexadecimal. Pairs without a real
/// hardware address do not count.
QString macTableSignature(const QList<RGFCoreScanDevice> &devices);

/// The 64-bit FNV-1a hash of the bytes.
quint64 fnv1a(QByteArrayView bytes);

/// A moment as snapshots write it: "MM-dd-yyyy, HH:mm" in local time, in ASCII digits whatever the locale.
QString snapshotDate(const QDateTime &moment);

/// The snapshot: "devices", "ssid", "subnet", "date", "dateEpoch" (seconds since 1970 UTC with fraction), "source" and "macSig".
QVariantMap networkSnapshot(const QList<RGFCoreScanDevice> &devices, const QString &ssid, const QString &subnet, const QDateTime &savedAt);

} // namespace lanterna
