#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>

#include <optional>

namespace lanterna
{

// The questions and answers of nl80211, the kernel's Wi-Fi interface over generic netlink (linux/nl80211.h). Pure functions, for any thread.

/// One wireless interface.
struct WirelessInterface {
    unsigned index = 0;
    QByteArray name; ///< raw bytes
    bool station = false; ///< a client of access points; neither an access point itself nor a monitor
    /// What the driver remembers, raw bytes. Missing on current kernels unless the access point announces its country, and present while a password
    /// is still being refused.
    QByteArray ssid;

    bool operator==(const WirelessInterface &) const = default;
};

/// Asks for the number that this boot gave to the family "nl80211". Where the kernel has no Wi-Fi the answer is the error ENOENT.
QByteArray wirelessFamilyRequest();
std::optional<quint16> parseFamilyId(QByteArrayView bytes);

/// Asks for all wireless interfaces of this network namespace.
QByteArray wirelessInterfacesRequest(quint16 family);
/// The interfaces that have an index and a name, by index, that is the oldest first.
QList<WirelessInterface> parseWirelessInterfaces(QByteArrayView bytes);

/// Asks for the access points that an interface has seen.
QByteArray scanResultsRequest(quint16 family, unsigned interfaceIndex);
/// The raw name of the network that the interface is associated with; none without an association or with an empty name.
std::optional<QByteArray> parseAssociatedSsid(QByteArrayView bytes);

/// The network name in the information elements of a beacon or probe response (IEEE 802.11-2020, 9.4.2.2); none without one.
std::optional<QByteArray> ssidElement(QByteArrayView elements);

} // namespace lanterna
