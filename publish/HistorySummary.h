#pragma once

#include "publish/HistoryDay.h"

#include <functional>
#include <memory>
#include <optional>
#include <string_view>

namespace lanterna
{

/// What a summary is asked for. Times are milliseconds since 1970.
struct HistoryQuery {
    qint64 from = 0; ///< lines before count only for what they hold into the range
    qint64 to = 0; ///< nor do those after it: now
    std::function<bool(const HistoryNetwork &)> wants = {}; ///< chooses networks, by the same answer each time; empty for all
    int columns = 0; ///< equal parts of the time from `columnsFrom` to `to` whose presence is told one by one; 0 for none
    std::optional<qint64> columnsFrom = {}; ///< from `from` to `to`; nothing for the first line that counts, as histories may begin late in the range
};

/// An address that a device had from a moment on.
struct HistoryAddress {
    qint64 since = 0;
    std::string ip;
};

/// Milliseconds in each column.
using HistoryColumns = std::vector<quint32>;

/// One device of one network over the range.
struct HistoryDevice {
    quint32 network = 0; ///< index in `HistorySummary::networks`
    std::string mac; ///< empty where the device is known by its address
    std::string ip; ///< the latest
    std::string name; ///< the latest that was not empty
    std::string type; ///< likewise
    qint64 firstSeen = 0; ///< moment of the first line that shows it; `HistoryQuery::from` where that line is an earlier one that holds
    qint64 lastSeen = 0; ///< moment of the last, likewise
    qint64 present = 0; ///< milliseconds of observed time
    bool isPresent = false; ///< in the network's last line
    quint64 addressChanges = 0;
    std::vector<HistoryAddress> addresses; ///< by time, the latest `mostHistoryAddresses`
    HistoryColumns columns; ///< present in each
};

/// A device came or went.
struct HistoryEvent {
    qint64 time = 0; ///< moment of the first line that shows it again, or does not show it any more
    quint32 device = 0; ///< index in `HistorySummary::devices`
    bool joined = false;
};

struct HistoryNetworkSummary {
    HistoryNetwork network;
    qint64 firstLine = 0; ///< `HistoryQuery::from` where an earlier line holds then
    qint64 lastLine = 0; ///< likewise
    qint64 observed = 0; ///< milliseconds
    HistoryColumns columns; ///< observed in each
};

struct HistorySummary {
    qint64 from = 0;
    qint64 to = 0;
    int columns = 0; ///< of each network and device
    qint64 columnsFrom = 0; ///< beginning of the first column; the last ends with `to`
    std::vector<HistoryNetworkSummary> networks; ///< the one with the latest line first
    std::vector<HistoryNetwork> otherNetworks; ///< that the range has, but nobody asked for; likewise in order, at most `mostHistoryNetworks`
    std::vector<HistoryDevice> devices; ///< by network, then address, then MAC
    std::vector<HistoryEvent> events; ///< by time; the latest `mostHistoryEvents`
    quint64 lines = 0; ///< that counted, of the range
    quint64 futureLines = 0; ///< after the range
    quint64 brokenLines = 0;
    quint64 otherVersions = 0;
    quint64 eventsLeftOut = 0; ///< the earliest ones
    quint64 devicesLeftOut = 0; ///< sightings of devices beyond `mostHistoryDevices`, and of networks beyond `mostHistoryNetworks`
};

/// A line says no more about what comes later than this: the writer writes an unchanged table every 15 minutes, and a scan may take a while.
inline constexpr qint64 historyHold = qint64{20} * 60 * 1000;

// Bounds that keep the memory below 100 MB whatever the files hold; beyond them the summary says how much it left out.
inline constexpr std::size_t mostHistoryDevices = 8'000;
inline constexpr std::size_t mostHistoryEvents = 100'000;
inline constexpr std::size_t mostHistoryAddresses = 32; ///< of a device
/// One pixel each in a chart.
inline constexpr int mostHistoryColumns = 1'000;

/// Makes a summary of days, which come in order.
///
/// - A network is a key and a subnet together: two places may call their Wi-Fi by the same name.
/// - A line holds until the next of its network, `historyHold` at most, and not beyond the range. Other time is unobserved and in no share.
/// - Lines before the range, in the same file or the one of the day before, tell who is there when it begins, as long as they hold: each network's
///   latest counts as one of the moment `HistoryQuery::from` that has held for some time already. Without any the first line of the range begins.
/// - A device is known by its MAC, else by its address, in each network for itself. Placeholders (all 0, all F, 02:00:00:00:00:00, masked or
///   UNKNOWN) are no MACs.
/// - It joins with a line that shows it when the line before did not; the first line of a network only says who is there already. It leaves with the
///   line that does not show it any more. Unobserved time between two lines changes nothing about that.
/// - Its address changes when a line shows it only at others. Of several new ones the first in the line counts.
///
/// Pure; one thread at a time.
class HistorySummarizer
{
public:
    explicit HistorySummarizer(const HistoryQuery &query);
    ~HistorySummarizer();
    HistorySummarizer(const HistorySummarizer &) = delete;
    HistorySummarizer &operator=(const HistorySummarizer &) = delete;

    void add(const HistoryDay &day);
    /// The summary of all that was added. The last call.
    HistorySummary finish();

private:
    class Work;
    std::unique_ptr<Work> m_work;
};

/// Whether a text tells devices apart as a MAC does.
bool isRealMac(std::string_view mac);
/// present / observed, 0 to 1; nothing when the network was not observed for any time.
std::optional<double> presentShare(const HistoryDevice &device, const HistorySummary &summary);

} // namespace lanterna
