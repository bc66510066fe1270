#pragma once

#include "publish/HistoryDay.h"

#include <algorithm>
#include <vector>

namespace lanterna
{

/// The networks of a history that nobody asked for, as many as are kept of one day. One thread at a time.
class OtherNetworks
{
public:
    /// A line of one of them. Those of a day come by time.
    void note(const HistoryDay &day, const HistoryObservation &observation)
    {
        const HistoryNetwork &network = day.networks[observation.network];
        // Most lines are of the network of the line before.
        if (m_latest >= m_networks.size() || m_networks[m_latest].network != network)
            m_latest = placeOf(network);
        if (m_latest < m_networks.size())
            m_networks[m_latest].lastLine = observation.time;
    }

    /// The one with the latest line first.
    [[nodiscard]] std::vector<HistoryNetwork> byLatestLine()
    {
        std::stable_sort(m_networks.begin(), m_networks.end(), [](const Known &one, const Known &other) { return one.lastLine > other.lastLine; });
        std::vector<HistoryNetwork> networks;
        for (const Known &known : m_networks)
            networks.push_back(known.network);
        return networks;
    }

private:
    struct Known {
        HistoryNetwork network;
        qint64 lastLine;
    };

    /// Beyond the end where there is no more room.
    std::size_t placeOf(const HistoryNetwork &network)
    {
        const auto found = std::find_if(m_networks.begin(), m_networks.end(), [&](const Known &known) { return known.network == network; });
        const auto place = static_cast<std::size_t>(found - m_networks.begin());
        if (found == m_networks.end() && m_networks.size() < mostHistoryNetworks)
            m_networks.push_back({network, 0});
        return place;
    }

    std::vector<Known> m_networks;
    std::size_t m_latest = 0; // of the line before
};

} // namespace lanterna
