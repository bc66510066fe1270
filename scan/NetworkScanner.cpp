#include "scan/NetworkScanner.h"

#include "platform/NamePatterns.h"
#include "platform/NotificationNames.h"

namespace lanterna
{

namespace
{

constexpr std::chrono::seconds settlingTime{3}; // for the last replies to reach the ARP table

/// Patterns of the interfaces whose networks are left alone.
QStringList ignoredInterfaces(const ScanPorts &ports)
{
    QStringList patterns;
    for (const QVariant &pattern : ports.settings.list(QStringLiteral("ignoredInterfaces")))
        patterns.append(pattern.toString());
    return patterns;
}

/// The entries that count, in the order of the list.
QList<InterfaceAddress> scannedAddresses(const ScanPorts &ports)
{
    const QStringList ignored = ignoredInterfaces(ports);
    QList<InterfaceAddress> taken;
    for (const InterfaceAddress &entry : ports.kernel.interfaceAddresses()) {
        const bool local = entry.address == QLatin1String("127.0.0.1") || entry.address.startsWith(QLatin1String("169.254."));
        if (entry.up && !local && !matchesInterfacePattern(entry.name, ignored))
            taken.append(entry);
    }
    return taken;
}

void addOnce(QStringList &list, const QString &text)
{
    if (!list.contains(text))
        list.append(text);
}

QVariant textOrNil(const std::optional<QString> &text)
{
    return text.value_or(QStringLiteral("nil"));
}

QVariant textOrNull(const std::optional<QString> &text)
{
    return text ? QVariant(*text) : QVariant();
}

/// Chooses the name under which the scan's data is filed; none when there is no network at all.
std::optional<QString> chooseAssociationKey(const ScanPorts &ports)
{
    const WiFiState wiFi = ports.wiFiClient.state();
    const bool real = wiFi.interfaceName && wiFi.ssid && !wiFi.ssid->isEmpty();
    ports.log(QStringLiteral("WiFi check: interface=%@, ssid=%@"), textOrNil(wiFi.interfaceName), textOrNil(wiFi.ssid));
    ports.settings.setValue(QStringLiteral("realWiFiAvailable"), real);

    QString key;
    const QString stub = ports.settings.text(QStringLiteral("wiFiStubSSID")).trimmed();
    if (real) {
        key = *wiFi.ssid;
    } else if (!stub.isEmpty()) {
        ports.log(QStringLiteral("No live WiFi — using stub SSID '%@' for data association"), stub);
        key = stub;
    } else if (const QString prefix = NetworkScanner::currentIPv4SubnetPrefix(ports).value_or(QString()); !prefix.isEmpty()) {
        key = QStringLiteral("Subnet %1.x").arg(prefix);
        ports.log(QStringLiteral("SSID unreadable and no stub — using subnet identifier '%@'"), key);
    } else {
        ports.log(QStringLiteral("No IPv4 network at all (interface: %@, ssid: %@)"), textOrNull(wiFi.interfaceName),
            textOrNull(NetworkScanner::getCurrentWiFiNetworkName(ports)));
        return std::nullopt;
    }
    ports.log(QStringLiteral("Associating scan with: %@ (interface: %@, real WiFi: %@)"), key,
        wiFi.interfaceName.value_or(QStringLiteral("<ethernet/stub>")), real ? QStringLiteral("YES") : QStringLiteral("NO"));
    return key;
}

void tell(const ScanPorts &ports, const ScanProgress &progress)
{
    if (ports.progress)
        ports.progress(progress);
}

/// False when the program is about to end.
bool sweep(const ScanPorts &ports, const QStringList &broadcasts)
{
    ScanProgress progress;
    progress.subnetCount = int(broadcasts.size());
    for (const QString &broadcast : broadcasts) {
        progress.subnet = subnetPrefix(broadcast);
        ++progress.subnetNumber;
        progress.host = 0;
        tell(ports, progress);
        ports.log(QStringLiteral("Sweeping broadcast %@"), broadcast);
        NetworkScanner::pingBroadcastAddress(ports, broadcast);
        if (!ports.dispatch.sleepFor(std::chrono::nanoseconds::zero())) // the end may have come during the ping
            return false;
        const bool whole = NetworkScanner::sweepSubnetRange(ports, broadcast, [&](int host) {
            progress.host = host;
            tell(ports, progress);
        });
        if (!whole)
            return false;
        NetworkScanner::pingCommonAddressesForBroadcast(ports, broadcast);
        NetworkScanner::sendUDPProbes(ports, broadcast);
    }
    progress.stage = ScanProgress::Stage::settling;
    tell(ports, progress);
    return ports.dispatch.sleepFor(settlingTime);
}

/// The scan itself, on a pool thread; none when the program is about to end.
std::optional<ARPTable> scan(const ScanPorts &ports)
{
    const auto kept = ports.kernel.keepNeighbours();
    const std::optional<QString> key = chooseAssociationKey(ports);
    if (!key) {
        ports.settings.remove(QStringLiteral("currentWiFiName"));
        return ARPTable();
    }
    ports.settings.setValue(QStringLiteral("currentWiFiName"), *key);
    ports.notifications.post(updateMenubarDataNotification);

    const QStringList broadcasts = NetworkScanner::allBroadcastsToSweep(ports);
    if (broadcasts.isEmpty()) {
        ports.log(QStringLiteral("No broadcast addresses discovered"));
        return ARPTable();
    }
    if (ports.sweeps) {
        ports.log(QStringLiteral("Broadcasts to sweep (%lu): %@"), broadcasts.size(), broadcasts);
        if (!sweep(ports, broadcasts))
            return std::nullopt;
    }
    const ARPTable table = NetworkScanner::readARPTable(ports);
    ports.log(QStringLiteral("Found %lu devices"), table.size());
    return table;
}

} // namespace

std::optional<QString> NetworkScanner::getWiFiInterfaceName(const ScanPorts &ports)
{
    return ports.wiFiClient.state().interfaceName;
}

std::optional<QString> NetworkScanner::getCurrentWiFiNetworkName(const ScanPorts &ports)
{
    return ports.wiFiClient.state().ssid;
}

void NetworkScanner::testSSIDDetection(const ScanPorts &ports)
{
    const WiFiState wiFi = ports.wiFiClient.state();
    const bool found = wiFi.ssid && *wiFi.ssid != QLatin1String("<redacted>");
    ports.log(QStringLiteral("=== SSID Test ==="));
    ports.log(QStringLiteral("Interface: %@"), textOrNil(wiFi.interfaceName));
    ports.log(QStringLiteral("SSID: %@"), wiFi.ssid.value_or(QStringLiteral("<redacted or nil>")));
    ports.log(QStringLiteral("Power: %d"), wiFi.interfaceName && wiFi.powerOn);
    ports.log(QStringLiteral("=================="));
    ports.log(found ? QStringLiteral("✓ SSID found successfully!") : QStringLiteral("✗ SSID not accessible."));
}

QStringList NetworkScanner::currentIPv4SubnetPrefixes(const ScanPorts &ports)
{
    QStringList prefixes;
    for (const InterfaceAddress &entry : scannedAddresses(ports)) {
        if (const QString prefix = subnetPrefix(entry.address); !prefix.isEmpty())
            addOnce(prefixes, prefix);
    }
    return prefixes;
}

std::optional<QString> NetworkScanner::currentIPv4SubnetPrefix(const ScanPorts &ports)
{
    const QStringList prefixes = currentIPv4SubnetPrefixes(ports);
    const QString ofGateway = subnetPrefix(defaultRouteGatewayIP(ports));
    if (prefixes.contains(ofGateway))
        return ofGateway;
    return prefixes.isEmpty() ? std::nullopt : std::optional(prefixes.first());
}

std::optional<QString> NetworkScanner::getBroadcastAddressForInterface(const ScanPorts &ports, const QString &interfaceName)
{
    for (const InterfaceAddress &entry : ports.kernel.interfaceAddresses()) {
        if (entry.name == interfaceName && !entry.broadcast.isEmpty())
            return entry.broadcast;
    }
    return std::nullopt;
}

QString NetworkScanner::defaultRouteGatewayIP(const ScanPorts &ports)
{
    const QString text = ports.kernel.routingTableText();
    if (text.isNull())
        ports.log(QStringLiteral("defaultRouteGatewayIP: exception %@"), QStringLiteral("the routing table cannot be read"));
    return defaultGateway(text, ignoredInterfaces(ports));
}

QStringList NetworkScanner::allBroadcastsToSweep(const ScanPorts &ports)
{
    const auto broadcastOf = [](const QString &prefix) { return prefix + QStringLiteral(".255"); };
    QStringList broadcasts;
    for (const InterfaceAddress &entry : scannedAddresses(ports)) {
        if (entry.hasBroadcast && entry.broadcast.endsWith(QLatin1String(".255")))
            addOnce(broadcasts, entry.broadcast);
        if (const QString prefix = subnetPrefix(entry.address); !prefix.isEmpty())
            addOnce(broadcasts, broadcastOf(prefix));
    }
    const QString gateway = defaultRouteGatewayIP(ports);
    if (const QString prefix = subnetPrefix(gateway); !prefix.isEmpty() && !broadcasts.contains(broadcastOf(prefix))) {
        ports.log(QStringLiteral("allBroadcastsToSweep: adding default-route subnet %@.0/24 (gateway %@)"), prefix, gateway);
        broadcasts.append(broadcastOf(prefix));
    }
    return broadcasts;
}

void NetworkScanner::scanNetworkWithCompletion(const ScanPorts &ports, Completion completion)
{
    ports.log(QStringLiteral("scanNetworkWithCompletion"));
    auto answered = [ports, completion = std::move(completion)](bool authorized) {
        if (!authorized)
            ports.log(QStringLiteral("Location permission denied; Wi-Fi SSID unreadable — scanning anyway"));
        ports.dispatch.globalAsync([ports, completion] {
            const std::optional<ARPTable> table = scan(ports);
            if (table && completion)
                ports.dispatch.mainAsync([completion, found = *table] { completion(found); });
        });
    };
    if (ports.requestAuthorization)
        ports.requestAuthorization(std::move(answered));
    else
        answered(true);
}

ARPTable NetworkScanner::readARPTable(const ScanPorts &ports)
{
    const QString text = ports.kernel.neighbourTableText();
    if (text.isNull())
        ports.log(QStringLiteral("Failed to open pipe for arp command"));
    return parseARPTable(text);
}

} // namespace lanterna
