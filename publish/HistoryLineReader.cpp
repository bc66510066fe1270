#include "publish/HistoryLineReader.h"

#include "platform/VisibleText.h"
#include "publish/HistoryFormat.h"

#include <simdjson.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <string_view>
#include <unordered_map>

namespace lanterna
{

namespace
{

namespace json = simdjson::ondemand;

static_assert(HistoryLineReader::padding >= simdjson::SIMDJSON_PADDING);

struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};

struct SightingHash {
    std::size_t operator()(const HistorySighting &sighting) const
    {
        std::size_t hash = 0;
        for (const std::string *text : {&sighting.mac, &sighting.ip, &sighting.name, &sighting.type})
            hash = hash * 31 + std::hash<std::string>()(*text);
        return hash;
    }
};

/// What a device's JSON text comes to: an index in the day's sightings, or a device that is left out.
using Known = std::unordered_map<std::string, std::optional<quint32>, TextHash, std::equal_to<>>;

/// Bytes of JSON texts that are remembered, and a device's share in the table beside its text.
constexpr std::size_t mostKnownBytes = 4 << 20;
constexpr std::size_t knownOverhead = 100;

/// The text of a member, cut at a character; empty when it is no text.
std::string textOf(json::value value)
{
    std::string_view text;
    if (value.get_string().get(text) != simdjson::SUCCESS)
        return {};
    if (text.size() > longestHistoryText) {
        std::size_t end = longestHistoryText;
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80)
            --end;
        text = text.substr(0, end);
    }
    return std::string(text);
}

/// Whether people learn anything from a name that stands beside this address.
bool tellsMore(const std::string &name, const std::string &ip)
{
    return name != ip && hasVisibleText(QString::fromStdString(name));
}

struct Line {
    std::optional<double> version;
    std::optional<double> seconds;
    HistoryNetwork network;
    bool hasDevices = false;
};

std::optional<double> numberOf(json::value value)
{
    double number = 0;
    return value.get_double().get(number) == simdjson::SUCCESS ? std::optional(number) : std::nullopt;
}

/// Whether nothing follows what was gone through.
bool isAtEnd(json::document &document)
{
    return document.current_location().error() == simdjson::OUT_OF_BOUNDS;
}

bool isBlank(std::string_view line)
{
    return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

} // namespace

class HistoryLineReader::Parser
{
public:
    void begin(HistoryDay &day)
    {
        m_day = &day;
        m_indexes.clear();
        m_lastTables.clear();
        forgetKnown();
    }

    void read(const char *text, std::size_t length)
    {
        if (isBlank({text, length}))
            return;
        Line line;
        const bool whole = readLine(text, length, line);
        if (isOtherVersion(line, whole, text, length))
            ++m_day->otherVersions;
        else if (!whole || !append(line))
            ++m_day->brokenLines;
        if (m_overfull)
            forgetKnown();
    }

private:
    bool readLine(const char *text, std::size_t length, Line &line)
    {
        m_table.clear();
        json::document document;
        json::object object;
        if (m_lines.iterate(simdjson::padded_string_view(text, length, length + padding)).get(document) != simdjson::SUCCESS
            || document.get_object().get(object) != simdjson::SUCCESS)
            return false;
        for (auto member : object) {
            std::string_view key;
            json::value value;
            if (member.unescaped_key().get(key) != simdjson::SUCCESS || member.value().get(value) != simdjson::SUCCESS
                || !readMember(key, value, line))
                return false;
        }
        return isAtEnd(document);
    }

    bool readMember(std::string_view key, json::value value, Line &line)
    {
        if (key == "devices") {
            m_table.clear(); // of two, the last counts
            return line.hasDevices = readDevices(value);
        }
        if (key == "v")
            line.version = numberOf(value);
        else if (key == "ts")
            line.seconds = numberOf(value);
        else if (key == "ssid")
            line.network.ssid = textOf(value);
        else if (key == "subnet")
            line.network.subnet = textOf(value);
        return true;
    }

    /// Most devices stand as in the line before, in the same order: comparing their bytes saves parsing them.
    bool readDevices(json::value value)
    {
        json::array array;
        if (value.get_array().get(array) != simdjson::SUCCESS)
            return false;
        m_shown.swap(m_shownBefore);
        m_shown.clear();
        std::size_t before = 0; // where the last line goes on
        for (auto element : array) {
            json::object object;
            std::string_view text;
            if (element.get_object().get(object) != simdjson::SUCCESS || object.raw_json().get(text) != simdjson::SUCCESS)
                return false;
            const Known::value_type *known = repeated(text, before);
            if (known == nullptr)
                known = find(text);
            if (known == nullptr)
                return false;
            m_shown.push_back(known);
            if (known->second)
                m_table.push_back(*known->second);
        }
        return true;
    }

    /// The device that the last line shows at this place, or, where one is gone, at the next, if its text is the same.
    const Known::value_type *repeated(std::string_view text, std::size_t &before) const
    {
        for (const std::size_t place : {before, before + 1}) {
            if (place < m_shownBefore.size() && m_shownBefore[place]->first == text) {
                before = place + 1;
                return m_shownBefore[place];
            }
        }
        return nullptr;
    }

    /// The device of a JSON text, parsed if need be; null when it is no object.
    const Known::value_type *find(std::string_view text)
    {
        const auto found = m_known.find(text);
        if (found != m_known.end())
            return &*found;
        std::optional<HistorySighting> sighting = parse(text);
        if (!sighting)
            return nullptr;
        m_knownBytes += text.size() + knownOverhead;
        if (m_knownBytes > mostKnownBytes)
            m_overfull = true; // cleared between two lines: this one's pointers still look into it
        return &*m_known.emplace(std::string(text), indexOf(std::move(*sighting))).first;
    }

    std::optional<HistorySighting> parse(std::string_view text)
    {
        m_deviceText.assign(text);
        m_deviceText.append(padding, ' ');
        json::document document;
        json::object object;
        if (m_devices.iterate(simdjson::padded_string_view(m_deviceText.data(), text.size(), m_deviceText.size())).get(document) != simdjson::SUCCESS
            || document.get_object().get(object) != simdjson::SUCCESS)
            return std::nullopt;
        HistorySighting sighting;
        std::string domainName;
        for (auto member : object) {
            std::string_view key;
            json::value value;
            if (member.unescaped_key().get(key) != simdjson::SUCCESS || member.value().get(value) != simdjson::SUCCESS)
                return std::nullopt;
            if (key == "mac")
                sighting.mac = textOf(value);
            else if (key == "ip")
                sighting.ip = textOf(value);
            else if (key == "name")
                sighting.name = textOf(value);
            else if (key == "dns")
                domainName = textOf(value);
            else if (key == "type")
                sighting.type = textOf(value);
        }
        if (!isAtEnd(document))
            return std::nullopt;
        if (!tellsMore(sighting.name, sighting.ip))
            sighting.name = tellsMore(domainName, sighting.ip) ? domainName : std::string();
        return sighting;
    }

    std::optional<quint32> indexOf(HistorySighting sighting)
    {
        if (sighting.mac.empty() && sighting.ip.empty())
            return std::nullopt; // nothing to know it by
        const auto found = m_indexes.find(sighting);
        if (found != m_indexes.end())
            return found->second;
        if (m_day->sightings.size() >= mostHistorySightings) {
            ++m_day->sightingsLeftOut;
            return std::nullopt;
        }
        const auto index = static_cast<quint32>(m_day->sightings.size());
        m_day->sightings.push_back(sighting);
        m_indexes.emplace(std::move(sighting), index);
        return index;
    }

    /// A line of another version may hold anything else in any other form, so its version is looked for before the rest is blamed.
    bool isOtherVersion(const Line &line, bool whole, const char *text, std::size_t length)
    {
        std::optional<double> version = line.version;
        if (!whole && !version) {
            double number = 0;
            json::document document;
            if (m_lines.iterate(simdjson::padded_string_view(text, length, length + padding)).get(document) == simdjson::SUCCESS
                && document["v"].get_double().get(number) == simdjson::SUCCESS)
                version = number;
        }
        return version && *version != historyFormatVersion;
    }

    bool append(const Line &line)
    {
        if (!line.version || !line.seconds || !line.hasDevices || historyDay(*line.seconds) != m_day->day)
            return false;
        const std::optional<quint32> network = networkOf(line.network);
        if (!network)
            return false;
        std::optional<quint32> &last = m_lastTables[*network];
        if (!last || m_day->tables[*last] != m_table) {
            last = static_cast<quint32>(m_day->tables.size());
            m_day->tables.push_back(m_table);
        }
        m_day->observations.push_back({std::llround(*line.seconds * 1000), *network, *last});
        return true;
    }

    std::optional<quint32> networkOf(const HistoryNetwork &network)
    {
        std::vector<HistoryNetwork> &networks = m_day->networks;
        const auto found = std::find(networks.begin(), networks.end(), network);
        if (found == networks.end()) {
            if (networks.size() >= mostHistoryNetworks)
                return std::nullopt;
            networks.push_back(network);
            m_lastTables.emplace_back();
            return static_cast<quint32>(networks.size() - 1);
        }
        return static_cast<quint32>(found - networks.begin());
    }

    void forgetKnown()
    {
        m_shown.clear();
        m_shownBefore.clear();
        m_known.clear();
        m_knownBytes = 0;
        m_overfull = false;
    }

    HistoryDay *m_day = nullptr;
    json::parser m_lines;
    json::parser m_devices;
    std::string m_deviceText; // with the bytes behind it that the parser wants
    std::vector<quint32> m_table; // of the line at hand
    std::unordered_map<HistorySighting, quint32, SightingHash> m_indexes; // in the day's sightings
    std::vector<std::optional<quint32>> m_lastTables; // of each network
    Known m_known;
    std::size_t m_knownBytes = 0;
    bool m_overfull = false;
    std::vector<const Known::value_type *> m_shown; // by the line at hand, in its order
    std::vector<const Known::value_type *> m_shownBefore;
};

HistoryLineReader::HistoryLineReader() : m_parser(std::make_unique<Parser>()) { }

HistoryLineReader::~HistoryLineReader() = default;

void HistoryLineReader::begin(HistoryDay &day)
{
    m_parser->begin(day);
}

void HistoryLineReader::read(const char *line, std::size_t length)
{
    m_parser->read(line, length);
}

} // namespace lanterna
