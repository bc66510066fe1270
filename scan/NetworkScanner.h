#pragma once

#include "scan/NetworkTables.h"
#include "scan/ScanPorts.h"

#include <optional>

namespace lanterna
{

/// Finds out where this machine stands on its networks, sweeps the local /24 networks and reads the ARP table.
///
/// Class methods only; what they need of the machine is handed in. Any thread, but what sweeps blocks for about 26 s per /24 and belongs on a pool
/// thread. Sweeps overlap freely: each call stands for itself.
class NetworkScanner
{
public:
    using Completion = std::function<void(const ARPTable &addresses)>;

    NetworkScanner() = delete;

    // Where the machine stands

    /// The Wi-Fi interface; none without one.
    static std::optional<QString> getWiFiInterfaceName(const ScanPorts &ports);
    /// The name of the connected Wi-Fi network; none without one, or while it may not be read.
    static std::optional<QString> getCurrentWiFiNetworkName(const ScanPorts &ports);
    /// Writes interface, network name and power of the Wi-Fi to the log, for a person who looks for a fault.
    static void testSSIDDetection(const ScanPorts &ports);
    /// /24 prefixes ("192.168.1") of the interfaces that are up, in interface order, without duplicates. Loopback 127.0.0.1, link-local addresses and
    /// interfaces of the setting `ignoredInterfaces` do not count. Empty when the interface list cannot be read.
    static QStringList currentIPv4SubnetPrefixes(const ScanPorts &ports);
    /// The prefix that holds the default gateway, else the first; none when there is none.
    static std::optional<QString> currentIPv4SubnetPrefix(const ScanPorts &ports);
    /// The broadcast address of the first IPv4 entry with this interface name; none when it has none. The far end of a point-to-point link is none.
    static std::optional<QString> getBroadcastAddressForInterface(const ScanPorts &ports, const QString &interfaceName);
    /// The gateway of the IPv4 default route that is not ignored; empty when there is none, with a log line when the table cannot be read.
    static QString defaultRouteGatewayIP(const ScanPorts &ports);
    /// What to sweep, as broadcast addresses that end in ".255", in order and without duplicates: of every interface its broadcast address and that of
    /// its /24, whatever its real netmask, then that of the default gateway's /24.
    static QStringList allBroadcastsToSweep(const ScanPorts &ports);

    /// One whole look at the networks: asks for the location permission, chooses the name under which data is filed and stores it as
    /// `currentWiFiName`, sweeps every network, waits 3 s and reads the ARP table. The completion, which may be empty, gets the table on the main
    /// thread; an empty one when there is no network. When the program ends meanwhile, it is not called at all.
    static void scanNetworkWithCompletion(const ScanPorts &ports, Completion completion);

    // Sweep of one /24, named by its broadcast address; one without four parts is left alone.

    /// Pings the broadcast address, and waits about a second for that.
    static void pingBroadcastAddress(const ScanPorts &ports, const QString &broadcast);
    /// Starts pings of the hosts .1, .254, .2 and .100, and returns at once.
    static void pingCommonAddressesForBroadcast(const ScanPorts &ports, const QString &broadcast);
    /// Sends one round of datagrams to the broadcast address, and one to the well-known groups.
    static void sendUDPProbes(const ScanPorts &ports, const QString &broadcast);
    /// Probes the hosts 1 to 254 one after the other over ICMP, UDP and TCP, 100 ms apart, so that neither router nor hosts are flooded. `atHost` is
    /// told the number of each; it may be empty. False when the program is about to end.
    static bool sweepSubnetRange(const ScanPorts &ports, const QString &broadcast, const std::function<void(int host)> &atHost = {});

    /// The resolved rows of the ARP table; empty, with a log line, when it cannot be read.
    static ARPTable readARPTable(const ScanPorts &ports);
    /// See NetworkTables.h.
    static QString normalizeMACAddress(const QString &macAddress) { return lanterna::normalizeMACAddress(macAddress); }
};

} // namespace lanterna
