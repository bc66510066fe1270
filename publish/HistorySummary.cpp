#include "publish/HistorySummary.h"

#include "publish/OtherNetworks.h"

#include <algorithm>
#include <charconv>
#include <deque>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace lanterna
{

namespace
{

constexpr quint32 none = ~quint32{0};

struct Span {
    qint64 from;
    qint64 to;
};

/// Adds the time of a span to the columns that it touches. Together they are `all`.
void addSpan(HistoryColumns &columns, Span all, Span span)
{
    const qint64 whole = all.to - all.from;
    const auto count = static_cast<qint64>(columns.size());
    const auto edge = [&](qint64 column) { return all.from + whole * column / count; };
    qint64 from = std::max(span.from, all.from);
    const qint64 to = std::min(span.to, all.to);
    qint64 column = from < to ? (from - all.from) * count / whole : 0;
    while (from < to && column < count) {
        const qint64 end = std::clamp(edge(column + 1), from, to);
        columns[static_cast<std::size_t>(column)] += static_cast<quint32>(end - from);
        from = end;
        ++column;
    }
}

/// "192.168.1.20" as a number to sort by; what is no IPv4 address comes last.
quint64 addressNumber(std::string_view ip)
{
    quint64 number = 0;
    int octets = 0;
    for (const char *at = ip.data(), *const end = at + ip.size(); octets < 4; ++octets) {
        unsigned octet = 0;
        const auto [rest, error] = std::from_chars(at, end, octet);
        if (error != std::errc() || octet > 255 || (octets < 3 ? rest == end || *rest != '.' : rest != end))
            return ~quint64{0};
        number = number << 8 | octet;
        at = rest + (octets < 3 ? 1 : 0);
    }
    return number;
}

/// What is known of a device while its network is gone through.
struct Tracked {
    HistoryDevice device;
    qint64 joined = 0; // while it is present
    qint64 observedBefore = 0; // time that its network had been observed when it joined
    quint64 line = 0; // the latest that shows it
    quint64 addressLine = 0; // the latest that shows it at its address
    quint64 newAddressLine = 0; // the latest that shows it at another
    quint32 sighting = none; // of the day at hand, that gave it its address and name
};

struct Tracking {
    HistoryNetworkSummary summary;
    std::unordered_map<std::string, quint32> devices; // by what each is known by
    std::vector<quint32> present;
    std::vector<Span> observed; // by time, apart from each other
    qint64 holdsUntil = 0; // its latest line, at most
    quint64 lines = 0;
};

} // namespace

bool isRealMac(std::string_view mac)
{
    return !mac.empty() && mac.find("UNKNOWN") == std::string_view::npos && mac.find("XX:XX") == std::string_view::npos && mac != "00:00:00:00:00:00"
        && mac != "02:00:00:00:00:00" && mac != "FF:FF:FF:FF:FF:FF";
}

std::optional<double> presentShare(const HistoryDevice &device, const HistorySummary &summary)
{
    const qint64 observed = summary.networks[device.network].observed;
    return observed > 0 ? std::optional(static_cast<double>(device.present) / static_cast<double>(observed)) : std::nullopt;
}

class HistorySummarizer::Work
{
public:
    explicit Work(const HistoryQuery &query) : m_query(query)
    {
        m_summary.from = query.from;
        m_summary.to = query.to;
        m_summary.columns = query.columns;
        m_summary.columnsFrom = query.columnsFrom.value_or(query.from);
    }

    void add(const HistoryDay &day)
    {
        m_summary.brokenLines += day.brokenLines;
        m_summary.otherVersions += day.otherVersions;
        m_summary.devicesLeftOut += day.sightingsLeftOut;
        keepEarly(day);
        if (day.observations.empty() || day.observations.back().time < m_query.from)
            return; // the next day may tell better how the range begins
        takeEarly();
        begin(day);
        for (const HistoryObservation &observation : day.observations)
            take(observation);
    }

    HistorySummary finish()
    {
        takeEarly();
        for (Tracking &network : m_networks) {
            observeUntil(network, m_query.to);
            for (const quint32 device : network.present)
                endPresence(network, m_devices[device], m_query.to);
            network.summary.columns.assign(static_cast<std::size_t>(m_query.columns), 0);
            addObserved(network, network.summary.columns, {m_query.from, m_query.to});
        }
        m_summary.events.assign(m_events.begin(), m_events.end());
        m_summary.otherNetworks = m_others.byLatestLine();
        putInOrder();
        return std::move(m_summary);
    }

private:
    void begin(const HistoryDay &day)
    {
        m_day = &day;
        m_networkOf.assign(day.networks.size(), none);
        m_deviceOf.assign(day.networks.size(), {});
        m_tableOf.assign(day.networks.size(), none);
        m_isWanted.clear();
        for (const HistoryNetwork &network : day.networks)
            m_isWanted.push_back(isWanted(network)); // once a day: the answer may take its time
        for (Tracked &tracked : m_devices)
            tracked.sighting = none;
    }

    /// Remembers the line of each network that holds when the range begins, as far as this day can tell.
    void keepEarly(const HistoryDay &day)
    {
        std::vector<const HistoryObservation *> latest(day.networks.size());
        for (const HistoryObservation &observation : day.observations) {
            if (observation.time > m_query.from)
                break;
            if (observation.time > m_query.from - historyHold)
                latest[observation.network] = &observation;
        }
        for (const HistoryObservation *observation : latest) {
            if (observation != nullptr && isWanted(day.networks[observation->network]))
                keepEarly(day, *observation);
        }
    }

    void keepEarly(const HistoryDay &day, const HistoryObservation &observation)
    {
        const HistoryNetwork &network = day.networks[observation.network];
        const auto index = static_cast<quint32>(std::find(m_early.networks.begin(), m_early.networks.end(), network) - m_early.networks.begin());
        if (index == m_early.networks.size()) {
            m_early.networks.push_back(network);
            m_early.tables.emplace_back();
            m_early.observations.push_back({0, index, index});
        }
        m_early.observations[index].time = observation.time;
        std::vector<quint32> &table = m_early.tables[index];
        table.clear();
        for (const quint32 sighting : day.tables[observation.table]) {
            if (m_early.sightings.size() >= mostHistorySightings) {
                ++m_summary.devicesLeftOut;
                continue;
            }
            table.push_back(static_cast<quint32>(m_early.sightings.size()));
            m_early.sightings.push_back(day.sightings[sighting]);
        }
    }

    /// Begins the range with what holds then. Once; there is nothing left afterwards.
    void takeEarly()
    {
        const HistoryDay early = std::exchange(m_early, {});
        begin(early);
        for (const HistoryObservation &observation : early.observations) {
            if (observation.time == m_query.from)
                continue; // a line of the range, which stands for itself
            const quint32 index = networkOf(observation.network);
            if (index == none)
                ++m_summary.devicesLeftOut;
            else
                enter(index, {m_query.from, observation.network, observation.table}, observation.time + historyHold);
        }
    }

    void take(const HistoryObservation &observation)
    {
        if (observation.time < m_query.from)
            return;
        const bool isFuture = observation.time > m_query.to;
        if (!m_isWanted[observation.network]) {
            if (!isFuture)
                m_others.note(*m_day, observation);
            return;
        }
        if (isFuture) {
            ++m_summary.futureLines;
            return;
        }
        const quint32 index = networkOf(observation.network);
        if (index == none) {
            ++m_summary.devicesLeftOut;
            return;
        }
        ++m_summary.lines;
        enter(index, observation, observation.time + historyHold);
    }

    /// A line of a network, and until when it tells who is there.
    void enter(quint32 index, const HistoryObservation &observation, qint64 holdsUntil)
    {
        if (!std::exchange(m_hasBegun, true) && !m_query.columnsFrom)
            m_summary.columnsFrom = observation.time; // no other comes before it: days come in order, and so do their lines
        Tracking &network = m_networks[index];
        if (network.lines++ == 0)
            network.summary.firstLine = observation.time;
        else
            observeUntil(network, observation.time);
        if (m_tableOf[observation.network] != observation.table) {
            m_tableOf[observation.network] = observation.table;
            takeTable(index, observation);
        }
        network.summary.lastLine = observation.time;
        network.holdsUntil = holdsUntil;
    }

    [[nodiscard]] bool isWanted(const HistoryNetwork &network) const { return !m_query.wants || m_query.wants(network); }

    /// The latest line of the network holds until this moment, as far as it may.
    void observeUntil(Tracking &network, qint64 until)
    {
        const qint64 from = network.summary.lastLine;
        const qint64 to = std::min(until, network.holdsUntil);
        network.summary.observed += to - from;
        if (!network.observed.empty() && network.observed.back().to == from)
            network.observed.back().to = to;
        else
            network.observed.push_back({from, to});
    }

    /// Compares the table of a line with what was there before it.
    void takeTable(quint32 index, const HistoryObservation &observation)
    {
        Tracking &network = m_networks[index];
        ++m_line;
        m_present.clear();
        m_moved.clear();
        for (const quint32 sighting : m_day->tables[observation.table]) {
            const quint32 device = deviceOf(observation, index, sighting);
            if (device != none)
                see(network, device, sighting, observation.time);
        }
        for (const quint32 device : network.present) {
            if (m_devices[device].line != m_line) {
                endPresence(network, m_devices[device], observation.time);
                m_devices[device].device.isPresent = false;
                note({observation.time, device, false});
            }
        }
        network.present.swap(m_present);
        for (const auto &[device, sighting] : m_moved) {
            if (m_devices[device].addressLine != m_line)
                move(m_devices[device], sighting, observation.time);
        }
    }

    void see(Tracking &network, quint32 index, quint32 sightingIndex, qint64 time)
    {
        Tracked &tracked = m_devices[index];
        if (tracked.line != m_line) {
            tracked.line = m_line;
            m_present.push_back(index);
            if (!tracked.device.isPresent)
                beginPresence(network, index, time);
        }
        if (tracked.sighting == sightingIndex) { // as before, which is what nearly all are
            tracked.addressLine = m_line;
            return;
        }
        const HistorySighting &sighting = m_day->sightings[sightingIndex];
        if (!sighting.name.empty() && tracked.device.name != sighting.name)
            tracked.device.name = sighting.name;
        if (!sighting.type.empty() && tracked.device.type != sighting.type)
            tracked.device.type = sighting.type;
        if (sighting.ip == tracked.device.ip) {
            tracked.addressLine = m_line;
            tracked.sighting = sightingIndex;
        } else if (!sighting.ip.empty() && tracked.newAddressLine != m_line) {
            tracked.newAddressLine = m_line;
            m_moved.emplace_back(index, sightingIndex);
        }
    }

    void beginPresence(const Tracking &network, quint32 index, qint64 time)
    {
        Tracked &tracked = m_devices[index];
        tracked.device.isPresent = true;
        tracked.joined = time;
        tracked.observedBefore = network.summary.observed;
        if (network.lines > 1)
            note({time, index, true});
    }

    void endPresence(const Tracking &network, Tracked &tracked, qint64 time) const
    {
        tracked.device.present += network.summary.observed - tracked.observedBefore;
        tracked.device.lastSeen = network.summary.lastLine;
        if (m_query.columns > 0) {
            tracked.device.columns.resize(static_cast<std::size_t>(m_query.columns));
            addObserved(network, tracked.device.columns, {tracked.joined, time});
        }
    }

    /// Adds what was observed of a span.
    void addObserved(const Tracking &network, HistoryColumns &columns, Span span) const
    {
        auto observed = std::partition_point(network.observed.begin(), network.observed.end(), [&](const Span &one) { return one.to <= span.from; });
        for (; !columns.empty() && observed != network.observed.end() && observed->from < span.to; ++observed)
            addSpan(columns, {m_summary.columnsFrom, m_query.to}, {std::max(observed->from, span.from), std::min(observed->to, span.to)});
    }

    void move(Tracked &tracked, quint32 sightingIndex, qint64 time) const
    {
        HistoryDevice &device = tracked.device;
        device.ip = m_day->sightings[sightingIndex].ip;
        tracked.sighting = sightingIndex;
        if (!device.addresses.empty())
            ++device.addressChanges;
        if (device.addresses.size() == mostHistoryAddresses)
            device.addresses.erase(device.addresses.begin());
        device.addresses.push_back({time, device.ip});
    }

    void note(const HistoryEvent &event)
    {
        m_events.push_back(event);
        if (m_events.size() > mostHistoryEvents) {
            m_events.pop_front();
            ++m_summary.eventsLeftOut;
        }
    }

    quint32 networkOf(quint32 ofDay)
    {
        quint32 &index = m_networkOf[ofDay];
        const HistoryNetwork &wanted = m_day->networks[ofDay];
        for (quint32 candidate = 0; index == none && candidate < m_networks.size(); ++candidate) {
            if (m_networks[candidate].summary.network == wanted)
                index = candidate;
        }
        if (index == none && m_networks.size() < mostHistoryNetworks) {
            index = static_cast<quint32>(m_networks.size());
            m_networks.emplace_back().summary.network = wanted;
        }
        return index;
    }

    quint32 deviceOf(const HistoryObservation &observation, quint32 networkIndex, quint32 sightingIndex)
    {
        std::vector<std::optional<quint32>> &known = m_deviceOf[observation.network];
        if (known.empty())
            known.resize(m_day->sightings.size());
        std::optional<quint32> &device = known[sightingIndex];
        if (!device)
            device = findDevice(networkIndex, m_day->sightings[sightingIndex], observation.time);
        if (*device == none)
            ++m_summary.devicesLeftOut;
        return *device;
    }

    quint32 findDevice(quint32 networkIndex, const HistorySighting &sighting, qint64 time)
    {
        Tracking &network = m_networks[networkIndex];
        const bool byMac = isRealMac(sighting.mac);
        if (!byMac && sighting.ip.empty())
            return none;
        const auto [found, isNew] = network.devices.try_emplace(byMac ? sighting.mac : "ip " + sighting.ip, static_cast<quint32>(m_devices.size()));
        if (isNew && m_devices.size() >= mostHistoryDevices) {
            network.devices.erase(found);
            return none;
        }
        if (isNew) {
            HistoryDevice &device = m_devices.emplace_back().device;
            device.network = networkIndex;
            device.mac = byMac ? sighting.mac : std::string();
            device.firstSeen = time;
        }
        return found->second;
    }

    void putInOrder();

    const HistoryQuery m_query;
    HistorySummary m_summary;
    std::vector<Tracking> m_networks;
    std::vector<Tracked> m_devices;
    std::deque<HistoryEvent> m_events;
    HistoryDay m_early; // lines before the range that hold into it: the latest of each network, with tables of their own
    const HistoryDay *m_day = nullptr;
    std::vector<quint32> m_networkOf; // of each network of the day
    std::vector<std::vector<std::optional<quint32>>> m_deviceOf; // of each sighting of the day, in each of its networks
    OtherNetworks m_others;
    std::vector<bool> m_isWanted; // each network of the day
    std::vector<quint32> m_tableOf; // the latest of each network of the day
    bool m_hasBegun = false; // with a line that counts
    quint64 m_line = 0;
    std::vector<quint32> m_present; // in the line at hand
    std::vector<std::pair<quint32, quint32>> m_moved; // devices that may have a new address, and the sightings with it
};

/// Networks by their latest line, devices by network, address and MAC, and all the indexes after them.
void HistorySummarizer::Work::putInOrder()
{
    const auto order = [](std::size_t count, const auto &before) {
        std::vector<quint32> indexes(count);
        for (std::size_t at = 0; at < count; ++at)
            indexes[at] = static_cast<quint32>(at);
        std::stable_sort(indexes.begin(), indexes.end(), before);
        return indexes;
    };
    std::vector<quint32> place(m_networks.size());
    for (const quint32 index :
        order(m_networks.size(), [&](quint32 one, quint32 other) { return m_networks[one].summary.lastLine > m_networks[other].summary.lastLine; })) {
        place[index] = static_cast<quint32>(m_summary.networks.size());
        m_summary.networks.push_back(std::move(m_networks[index].summary));
    }
    std::vector<quint64> address;
    for (Tracked &tracked : m_devices) {
        tracked.device.network = place[tracked.device.network];
        address.push_back(addressNumber(tracked.device.ip));
    }
    place.resize(m_devices.size());
    for (const quint32 index : order(m_devices.size(), [&](quint32 one, quint32 other) {
             const HistoryDevice &first = m_devices[one].device;
             const HistoryDevice &second = m_devices[other].device;
             return std::tie(first.network, address[one], first.mac) < std::tie(second.network, address[other], second.mac);
         })) {
        place[index] = static_cast<quint32>(m_summary.devices.size());
        m_summary.devices.push_back(std::move(m_devices[index].device));
    }
    for (HistoryEvent &event : m_summary.events)
        event.device = place[event.device];
}

HistorySummarizer::HistorySummarizer(const HistoryQuery &query) : m_work(std::make_unique<Work>(query)) { }

HistorySummarizer::~HistorySummarizer() = default;

void HistorySummarizer::add(const HistoryDay &day)
{
    m_work->add(day);
}

HistorySummary HistorySummarizer::finish()
{
    return m_work->finish();
}

} // namespace lanterna
