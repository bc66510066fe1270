#include "platform/linux/Nl80211WiFiClient.h"

#include "platform/linux/LinkTable.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <utility>

#include <net/if.h>

namespace lanterna
{

namespace
{

/// How well a station answers the question which network this machine is on.
int rank(const StationReading &station)
{
    if (station.running)
        return station.ssid.isEmpty() ? 2 : 3;
    return station.up && !station.blocked ? 1 : 0;
}

/// Whether a file of one digit says yes.
bool saysYes(const std::filesystem::path &path)
{
    std::ifstream file(path);
    char digit = '0';
    return file.get(digit) && digit == '1';
}

} // namespace

WiFiState wiFiState(const QList<StationReading> &stations)
{
    const auto best = std::max_element(
        stations.begin(), stations.end(), [](const StationReading &one, const StationReading &other) { return rank(one) < rank(other); });
    if (best == stations.end())
        return {};
    WiFiState state;
    state.interfaceName = QString::fromUtf8(best->name);
    // A name is there while a password is still being refused; only a connection that carries packets counts.
    if (best->running && !best->ssid.isEmpty())
        state.ssid = QString::fromUtf8(best->ssid);
    state.powerOn = best->up && !best->blocked;
    return state;
}

bool radioBlocked(const std::string &sysfs, const QByteArray &interfaceName)
{
    if (interfaceName.isEmpty() || interfaceName.contains('/'))
        return false;
    // Raw bytes all the way: a name need not be UTF-8.
    const auto folder = std::filesystem::path(sysfs) / "class/net" / interfaceName.toStdString() / "phy80211";
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        const std::filesystem::path &path = entry->path();
        if (path.filename().string().starts_with("rfkill") && (saysYes(path / "soft") || saysYes(path / "hard")))
            return true;
    }
    return false;
}

Nl80211WiFiClient::Nl80211WiFiClient(std::shared_ptr<NetlinkTransport> transport, std::string sysfs)
    : m_transport(std::move(transport)), m_sysfs(std::move(sysfs))
{
}

WiFiState Nl80211WiFiClient::state() const
{
    QList<StationReading> stations;
    const int error = readStations(stations);
    WiFiState state = wiFiState(stations);
    state.permissionDenied = error == EPERM || error == EACCES;
    return state;
}

int Nl80211WiFiClient::readStations(QList<StationReading> &stations) const
{
    const NetlinkAnswer family = askKernel(*m_transport, NetlinkBus::generic, wirelessFamilyRequest());
    const auto id = parseFamilyId(family.bytes);
    if (family.error != 0 || !id)
        return family.error;
    const NetlinkAnswer interfaces = askKernel(*m_transport, NetlinkBus::generic, wirelessInterfacesRequest(*id));
    if (interfaces.error != 0)
        return interfaces.error;

    // One interface that fails does not hide the others.
    int error = 0;
    for (const WirelessInterface &interface : parseWirelessInterfaces(interfaces.bytes)) {
        const int stationError = interface.station ? readStation(interface, *id, stations) : 0;
        error = stationError != 0 ? stationError : error;
    }
    return error;
}

int Nl80211WiFiClient::readStation(const WirelessInterface &interface, quint16 family, QList<StationReading> &stations) const
{
    const NetlinkAnswer answer = askKernel(*m_transport, NetlinkBus::route, linkRequest(interface.index));
    if (answer.error != 0) // ENODEV: gone since the interfaces were listed
        return answer.error;
    const LinkTable links = parseLinks(answer.bytes);
    const auto link = links.find(interface.index);
    if (link == links.end())
        return 0;

    StationReading station;
    station.name = interface.name;
    station.up = link->second.flags & IFF_UP;
    station.running = link->second.flags & IFF_RUNNING;
    station.blocked = radioBlocked(m_sysfs, interface.name);
    int error = 0;
    // Without a connection there is no name to look for, and a dump of everything in reach would be for nothing.
    if (station.running) {
        const NetlinkAnswer scan = askKernel(*m_transport, NetlinkBus::generic, scanResultsRequest(family, interface.index));
        error = scan.error;
        // Drivers that keep the list of access points to themselves still tell the name here.
        station.ssid = parseAssociatedSsid(scan.bytes).value_or(interface.ssid);
    }
    stations.append(station);
    return error;
}

} // namespace lanterna
