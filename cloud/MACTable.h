#pragma once

#include "scan/NetworkTables.h"

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

namespace lanterna
{

// The rules for the tables of hardware addresses, one for each network. docs/formats/cloud-document.md describes them for those who read them.
// Pure functions, for any thread. A null text stands for a setting that is not set.

/// The table of one network: hardware addresses by IPv4 address, and "lastUpdate".
struct MACTable {
    QVariantMap entries;
    qsizetype count = 0; ///< number of addresses, without "lastUpdate"
};

/// The table of an ARP table. Broadcast addresses, written exactly "ff:ff:ff:ff:ff:ff", are left out; the upper-case form is kept.
MACTable macTable(const ARPTable &arpTable, const QString &lastUpdate);

/// A moment as the tables write it, in local time and the locale's digits: "11!15!2026_14*05 +" for en_US and en_US_POSIX, "15-11-2026,_14*05 +" for
/// all others. The calendar is the Gregorian one.
QString lastUpdateText(const QDateTime &moment, const QString &localeIdentifier);

/// A "lastUpdate" read back.
struct DecodedLastUpdate {
    QString text; ///< "11/15/2026 14:05", or "15-11-2026, 14:05"
    QDateTime date; ///< local time; invalid unless the text has the American form. That nobody can tell the other one is how it is meant to be
};

/// What stands before the first " +", with the replaced characters put back.
DecodedLastUpdate decodeLastUpdate(const QString &lastUpdate);

/// The decoded "lastUpdate" of the current network's table: the one under its name, else the one under its name and " 5GHz". Nothing when the name is
/// not set, there is no such table, or it has no "lastUpdate". What is no dictionary is no table.
std::optional<DecodedLastUpdate> lastUpdateOfNetwork(const QVariantMap &tables, const QString &currentWiFiName);

/// The key under which a table is filed: the associated network, where "current", or none, means the current one. Empty when that is not set either.
QString networkKey(const QString &associatedWiFiNetwork, const QString &currentWiFiName);

/// Removes the networks without an address: values that are no dictionary, or a dictionary with nothing but "lastUpdate". Gives their keys, sorted.
QStringList removeEmptyNetworkEntries(QVariantMap &tables);

/// The tables of all networks after an update.
struct MACTablesUpdate {
    QVariantMap tables;
    QStringList lines; ///< what is to be logged, in order and filled in (for `SystemLog::write`, which reads no directives)
};

/// Files a table under the network's key, and under "AppleTVNetwork" if `appleTVNetwork`; one without addresses is not filed. Then the empty networks
/// go. The stored tables, if they are a dictionary, are what is updated, else those in memory.
MACTablesUpdate updatedMACTables(
    const QVariantMap &inMemory, const QVariant &stored, const QString &networkKey, const MACTable &table, bool appleTVNetwork);

} // namespace lanterna
