#pragma once

#include <QHash>
#include <QString>
#include <QVariantMap>

namespace lanterna
{

/// What the owner says about one device.
struct Customization {
    QString name = QStringLiteral("");
    QString deviceType = QStringLiteral("UNKNOWN");
    QString vendor = QStringLiteral("UNKNOWN");

    bool operator==(const Customization &) const = default;
};

/// By hardware address in upper case.
using Customizations = QHash<QString, Customization>;

// Reading customisations back out of snapshots. Pure functions, for any thread.

/// Whether a new entry takes the place of the one that is there: when the old one knows no type and the new one does, or when the new one has a name
/// and another one. So an empty name overwrites a name only together with a better type.
bool replacesCustomization(const Customization &existing, const Customization &fresh);

/// Adds what the device list of one status dictionary ("devices", in the form of a snapshot's) says. Pieces with fewer than four fields, devices
/// without a hardware address and masked ones ("XX:XX") are skipped.
void addCustomizations(Customizations &customizations, const QVariantMap &statusDict);

/// Adds what all status dictionaries of a cloud dictionary say: those under the keys that begin with "CurrentNetworkStatus_".
void addCustomizationsOfCloudDict(Customizations &customizations, const QVariantMap &cloudDict);

} // namespace lanterna
