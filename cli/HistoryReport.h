#pragma once

#include "publish/HistorySummary.h"

#include <QString>

namespace lanterna
{

/// The summary for people: per network a table of its devices, then the joins and leaves. Times are local.
///
/// `columns` is the terminal's width. When a table is wider, the MAC goes first, then the name is cut; only the latest joins and leaves are listed,
/// `joinsOnTerminal`. 0 stands for no terminal: nothing is cut. Nothing in a device's texts can command a terminal, see `harmless`.
QString historyText(const HistorySummary &summary, int columns);
inline constexpr std::size_t joinsOnTerminal = 40;

/// The summary as one JSON object and a line end; docs/formats/history-summary.md describes it.
QString historyJson(const HistorySummary &summary);

/// The devices as comma-separated values, see `csvCell`: a header "network,subnet,name,mac,address,type,first seen,last seen,present share,present
/// seconds,observed seconds,address changes,addresses", then a line for each. Times are local with their offset from UTC (ISO 8601), shares from 0 to
/// 1, addresses joined by " ", the latest last.
QString historyCsv(const HistorySummary &summary);

/// What could not be read or was left out: "2 lines could not be read, 1 line lies in the future"; empty when all counted.
QString historyFaults(const HistorySummary &summary);

// Words that the chart and the table have in common.
QString networkTitle(const HistoryNetwork &network); ///< "Harbour (192.168.1.x)"; escaped, see `harmless`
/// Whether a person may mean the network by this: its key, its subnet ("192.168.1" or "192.168.1.x"), or its title as it is printed.
bool isCalled(const HistoryNetwork &network, const QString &name);
QString deviceTitle(const HistoryDevice &device); ///< the name, else the address; escaped
QString shareText(std::optional<double> share); ///< "97 %", "<1 %", "-"
QString durationText(qint64 milliseconds); ///< "27 d 4 h", "3 h 20 min"

} // namespace lanterna
