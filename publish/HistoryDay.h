#pragma once

#include <QDate>
#include <QString>

#include <string>
#include <vector>

namespace lanterna
{

/// The network that a line of the history is about.
struct HistoryNetwork {
    std::string ssid; ///< key of the network as the snapshot has it: the Wi-Fi's name, or "Subnet 192.168.1.x"
    std::string subnet; ///< first three octets, "192.168.1"
    bool operator==(const HistoryNetwork &) const = default;
};

/// How a line shows a device. All texts are UTF-8, come from the network, and are cut to `longestHistoryText`.
struct HistorySighting {
    std::string mac; ///< upper case as written; empty or a placeholder when not known
    std::string ip;
    std::string name; ///< the DNS name where the device has no other; empty where nothing shows of it, or just the address
    std::string type;
    bool operator==(const HistorySighting &) const = default;
};

/// One line: what was there at a moment.
struct HistoryObservation {
    qint64 time = 0; ///< milliseconds since 1970
    quint32 network = 0; ///< index in `HistoryDay::networks`
    quint32 table = 0; ///< index in `HistoryDay::tables`
};

/// What one file of the history tells, in little memory: each network, each way to show a device and each table that does not differ from the one
/// before it is there once.
struct HistoryDay {
    QDate day;
    std::vector<HistoryNetwork> networks;
    std::vector<HistorySighting> sightings;
    std::vector<std::vector<quint32>> tables; ///< indexes in `sightings`
    std::vector<HistoryObservation> observations; ///< by time; those of the same moment stand as in the file
    quint64 brokenLines = 0; ///< torn, too long, not as the format says, or of another day than the file's
    quint64 otherVersions = 0; ///< lines of a format that this program does not know
    quint64 sightingsLeftOut = 0; ///< devices of lines that show more than is kept of a day
    QString error; ///< what the system says when the file cannot be read, whole or from some place on
};

/// Bytes; longer than any address, and as long as a name can be in DNS.
inline constexpr std::size_t longestHistoryText = 255;
/// Per file. A network of 254 addresses shows a few hundred; this many take some 6 MB.
inline constexpr std::size_t mostHistorySightings = 20'000;
/// Per file; more than anyone visits in a day.
inline constexpr std::size_t mostHistoryNetworks = 256;

} // namespace lanterna
