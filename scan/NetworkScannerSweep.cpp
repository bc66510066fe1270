#include "scan/NetworkScanner.h"
#include "scan/Probes.h"

#include <array>

namespace lanterna
{

namespace
{

// Ports whose services answer on many devices; the answer does not matter, only that the kernel asks for the hardware address first.
constexpr std::array<quint16, 6> sweepUDPPorts = {9, 7, 53, 137, 161, 5353}; // discard, echo, DNS, NetBIOS names, SNMP, multicast DNS
constexpr std::array<quint16, 2> sweepTCPPorts = {80, 443};
constexpr int firstHost = 1;
constexpr int lastHost = 254;
constexpr std::chrono::milliseconds hostPause{100};
constexpr std::chrono::milliseconds connectPause{1};

constexpr QByteArrayView shortPayload = "X";
const QByteArray emptyQuestion(32, '\0');

/// "192.168.1" for "192.168.1.255"; none unless the text has four parts.
std::optional<QString> prefixOf(const QString &broadcast)
{
    const QStringList parts = broadcast.split(u'.');
    return parts.size() == 4 ? std::optional(parts.first(3).join(u'.')) : std::nullopt;
}

/// False when the program is about to end.
bool probeTCP(const ScanPorts &ports, const QString &host)
{
    for (const quint16 port : sweepTCPPorts) {
        const auto connection = ports.probes.startConnect(host, port);
        if (!ports.dispatch.sleepFor(connectPause))
            return false;
    }
    return true;
}

} // namespace

void NetworkScanner::pingBroadcastAddress(const ScanPorts &ports, const QString &broadcast)
{
    // -w bounds the whole run to a second, as three echoes in vain would take three; -b allows a broadcast address.
    ports.processes.run({QStringLiteral("ping"), QStringLiteral("-b"), QStringLiteral("-c"), QStringLiteral("3"), QStringLiteral("-w"),
        QStringLiteral("1"), broadcast});
}

void NetworkScanner::pingCommonAddressesForBroadcast(const ScanPorts &ports, const QString &broadcast)
{
    const std::optional<QString> prefix = prefixOf(broadcast);
    if (!prefix)
        return;
    for (const char *host : {"1", "254", "2", "100"}) {
        // -W bounds the wait for the last reply; -w would count replies instead of requests and ask a silent host again and again. 0.2 s is the shortest
        // interval that everyone may ask for.
        ports.processes.start({QStringLiteral("ping"), QStringLiteral("-c"), QStringLiteral("2"), QStringLiteral("-i"), QStringLiteral("0.2"),
            QStringLiteral("-W"), QStringLiteral("1"), *prefix + u'.' + QLatin1String(host)});
    }
}

void NetworkScanner::sendUDPProbes(const ScanPorts &ports, const QString &broadcast)
{
    if (const auto opened = ports.probes.openUDP(ProbeAudience::broadcast); opened.socket) {
        for (const quint16 port : {quint16(137), quint16(5355), quint16(9)}) // NetBIOS names, LLMNR, discard
            opened.socket->sendTo(broadcast, port, shortPayload);
    }
    // The same for every network, and sent again for each.
    if (const auto opened = ports.probes.openUDP(ProbeAudience::multicast); opened.socket) {
        opened.socket->sendTo(QStringLiteral("224.0.0.251"), 5353, emptyQuestion); // multicast DNS
        opened.socket->sendTo(QStringLiteral("239.255.255.250"), 1900, emptyQuestion); // SSDP
        opened.socket->sendTo(QStringLiteral("224.0.0.252"), 5355, emptyQuestion); // LLMNR
    }
}

bool NetworkScanner::sweepSubnetRange(const ScanPorts &ports, const QString &broadcast, const std::function<void(int)> &atHost)
{
    const std::optional<QString> prefix = prefixOf(broadcast);
    if (!prefix)
        return true;
    ports.log(QStringLiteral("SubnetProbe: sweeping %@.1-254 (ICMP + UDP×6 + TCP/80,443, paced 100ms)"), *prefix);
    const ProbeSockets::Opened icmp = ports.probes.openICMP();
    if (!icmp.socket)
        ports.log(QStringLiteral("SubnetProbe: ICMP socket failed: %@"), icmp.error);
    const ProbeSockets::Opened udp = ports.probes.openUDP(ProbeAudience::host);
    if (!udp.socket)
        ports.log(QStringLiteral("SubnetProbe: UDP socket failed: %@"), udp.error);

    for (int number = firstHost; number <= lastHost; ++number) {
        if (atHost)
            atHost(number);
        const QString host = *prefix + u'.' + QString::number(number);
        if (icmp.socket)
            icmp.socket->sendTo(host, 0, echoRequest(quint16(number)));
        if (udp.socket) {
            for (const quint16 port : sweepUDPPorts)
                udp.socket->sendTo(host, port, shortPayload);
        }
        if (!probeTCP(ports, host) || !ports.dispatch.sleepFor(hostPause))
            return false;
    }
    ports.log(QStringLiteral("SubnetProbe: sweep finished"));
    return true;
}

} // namespace lanterna
