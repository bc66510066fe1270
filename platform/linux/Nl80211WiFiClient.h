#pragma once

#include "platform/WiFiClient.h"
#include "platform/linux/NetlinkSockets.h"
#include "platform/linux/Nl80211.h"

#include <QList>

#include <memory>
#include <string>

namespace lanterna
{

/// One station interface with what tells whether it is in use.
struct StationReading {
    QByteArray name; ///< raw bytes
    bool up = false; ///< IFF_UP: switched on by the administrator
    bool running = false; ///< IFF_RUNNING: connected, the password accepted
    bool blocked = false; ///< by rfkill, in software or by a switch
    QByteArray ssid; ///< raw bytes; empty for none

    bool operator==(const StationReading &) const = default;
};

/// Chooses the interface to show and puts it in words. Preferred in this order: connected to a network with a name, connected, switched on; among
/// equals the first.
WiFiState wiFiState(const QList<StationReading> &stations);

/// Reads the Wi-Fi state from the kernel through nl80211. Any thread; needs neither privilege nor a network daemon.
class Nl80211WiFiClient : public WiFiClient
{
public:
    /// `sysfs` is where the system's device tree is mounted; rfkill switches are read there.
    explicit Nl80211WiFiClient(std::shared_ptr<NetlinkTransport> transport = std::make_shared<NetlinkSockets>(), std::string sysfs = "/sys");

    [[nodiscard]] WiFiState state() const override;

private:
    /// Both append what they find, and return the error number of the question that failed, 0 for none.
    int readStations(QList<StationReading> &stations) const;
    int readStation(const WirelessInterface &interface, quint16 family, QList<StationReading> &stations) const;

    std::shared_ptr<NetlinkTransport> m_transport;
    std::string m_sysfs;
};

/// Whether a switch of the interface's radio is off: `class/net/NAME/phy80211/rfkill*/{soft,hard}` below `sysfs`. False where there is none.
bool radioBlocked(const std::string &sysfs, const QByteArray &interfaceName);

} // namespace lanterna
