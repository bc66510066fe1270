#include "scan/RangefinderCoreScanEngine.h"

#include "scan/NetworkScanner.h"
#include "scan/NetworkSnapshot.h"

#include <array>

namespace lanterna
{

namespace
{

constexpr std::chrono::seconds hostDeadline{5}; // names and quick tests that are not there by then are given up
constexpr std::chrono::seconds browseTime{4};
constexpr std::chrono::seconds resolveTimeout{3};
const HostTest quickTest = {{80, 62078, 5000}, std::chrono::milliseconds(200)}; // web, phones' synchronisation, AirPlay

constexpr std::array bonjourServiceTypes = {"_airplay._tcp.", "_raop._tcp.", "_companion-link._tcp.", "_smb._tcp.", "_afpovertcp._tcp.",
    "_http._tcp.", "_ipp._tcp.", "_printer._tcp.", "_pdl-datastream._tcp.", "_scanner._tcp.", "_ssh._tcp.", "_rfb._tcp.", "_homekit._tcp.",
    "_hap._tcp.", "_sleep-proxy._udp.", "_apple-mobdev2._tcp.", "_remotepairing._tcp.", "_dacp._tcp.", "_touch-able._tcp.", "_appletv-v2._tcp.",
    "_mediaremotetv._tcp.", "_googlecast._tcp.", "_spotify-connect._tcp.", "_sonos._tcp."};

/// A name from the network, fit for a line of text: without control characters, and without those that turn a line round or end it.
QString printable(QString name)
{
    name.removeIf([](QChar character) {
        switch (character.category()) {
        case QChar::Other_Control:
        case QChar::Other_Format:
        case QChar::Separator_Line:
        case QChar::Separator_Paragraph:
            return true;
        default:
            return false;
        }
    });
    return name;
}

} // namespace

RangefinderCoreScanEngine::RangefinderCoreScanEngine(ScanPorts ports) : m_ports(std::move(ports)) { }

Task RangefinderCoreScanEngine::guarded(Task task)
{
    return [task = std::move(task), alive = std::weak_ptr(m_alive)] {
        if (!alive.expired())
            task();
    };
}

void RangefinderCoreScanEngine::tell(ScanProgress::Stage stage)
{
    if (m_ports.progress)
        m_ports.progress({stage, {}, 0, 0, 0});
}

void RangefinderCoreScanEngine::scanNetworkWithCompletion(ScanCompletion completion)
{
    if (m_isScanning) {
        m_ports.log(QStringLiteral("RGFCoreScanEngine: scan already in progress, skipping"));
        completion({}, QStringLiteral("Scan already in progress"));
        return;
    }
    m_isScanning = true;
    m_scanCompletion = std::move(completion);
    m_ports.log(QStringLiteral("RGFCoreScanEngine: starting network scan"));
    NetworkScanner::scanNetworkWithCompletion(m_ports, [this, alive = std::weak_ptr(m_alive)](const ARPTable &arpResults) {
        if (!alive.expired())
            arpScanFinished(arpResults);
    });
}

std::shared_ptr<void> RangefinderCoreScanEngine::reverseDNSLookup(const QStringList &addresses, HostNames::Found found, HostNames::Done done)
{
    return m_ports.names.lookUp(addresses, std::move(found), std::move(done));
}

std::shared_ptr<void> RangefinderCoreScanEngine::quickPing(const QStringList &addresses, HostTester::Answered answered, HostTester::Done done)
{
    return m_ports.tester.test(addresses, quickTest, std::move(answered), std::move(done));
}

void RangefinderCoreScanEngine::arpScanFinished(const ARPTable &arpResults)
{
    m_ports.log(QStringLiteral("RGFCoreScanEngine: ARP scan found %lu hosts"), arpResults.size());
    m_arpResults = arpResults;
    tell(ScanProgress::Stage::names);

    const auto answers = std::make_shared<HostAnswers>();
    m_hostAnswers = answers;
    const auto done = [this, answers, dispatch = &m_ports.dispatch, alive = std::weak_ptr(m_alive)] {
        const std::lock_guard lock(answers->mutex);
        if (--answers->pending == 0)
            dispatch->mainAsync([this, alive] {
                if (!alive.expired())
                    hostsAnswered();
            });
    };
    // The name of a host and its test run side by side; both are cut off by the one deadline.
    const QStringList addresses = arpResults.keys();
    m_hostDeadline = m_ports.dispatch.performAfter(hostDeadline, guarded([this] { hostsAnswered(); }));
    m_hostLookups.push_back(reverseDNSLookup(
        addresses,
        [answers](const QString &address, const QString &name) {
            const std::lock_guard lock(answers->mutex);
            answers->names.insert(address, printable(name));
        },
        done));
    m_hostLookups.push_back(quickPing(
        addresses,
        [answers](const QString &address) {
            const std::lock_guard lock(answers->mutex);
            answers->pingable.insert(address);
        },
        done));
}

void RangefinderCoreScanEngine::hostsAnswered()
{
    const auto answers = std::exchange(m_hostAnswers, nullptr);
    if (!answers)
        return; // the deadline and the last answer fell together
    m_hostDeadline.cancel();
    m_hostLookups.clear(); // what still runs is given up
    QHash<QString, QString> names;
    {
        const std::lock_guard lock(answers->mutex);
        names = answers->names;
        m_pingableIPs = answers->pingable;
    }
    m_ports.log(QStringLiteral("RGFCoreScanEngine: DNS resolved %lu hostnames, %lu pingable"), names.size(), m_pingableIPs->size());
    startBonjourDiscoveryWithARPResults(m_arpResults, names);
}

void RangefinderCoreScanEngine::startBonjourDiscoveryWithARPResults(const ARPTable &arpResults, const QHash<QString, QString> &dnsResults)
{
    tell(ScanProgress::Stage::services);
    m_discoveredServices.clear();
    m_servicesByIP.clear();
    m_localNamesByIP.clear();
    m_bonjourFinalized = false;
    m_activeBrowsers.clear();
    for (const char *type : bonjourServiceTypes) {
        m_activeBrowsers.push_back(m_ports.discovery.searchForServices(
            QLatin1String(type), QStringLiteral("local."), [this](const ServiceInstance &service) { netServiceBrowserDidFindService(service); },
            [] {}));
    }
    m_browseEnd = m_ports.dispatch.performAfter(browseTime, [this, arpResults, dnsResults] {
        m_activeBrowsers.clear();
        finalizeScanWithARPResults(arpResults, dnsResults);
    });
}

void RangefinderCoreScanEngine::netServiceBrowserDidFindService(const ServiceInstance &service)
{
    m_discoveredServices.push_back(m_ports.discovery.resolve(service, resolveTimeout, [this, service](const std::optional<ResolvedService> &where) {
        if (where)
            netServiceDidResolveAddress(service, *where);
    }));
}

void RangefinderCoreScanEngine::netServiceDidResolveAddress(const ServiceInstance &service, const ResolvedService &where)
{
    if (where.addresses.isEmpty())
        return;
    const QString &address = where.addresses.first();
    QStringList &types = m_servicesByIP[address];
    if (!types.contains(service.type))
        types.append(service.type);
    const QString hostName = printable(where.hostName);
    if (!hostName.isEmpty() && !m_localNamesByIP.contains(address))
        m_localNamesByIP.insert(address, hostName);
}

void RangefinderCoreScanEngine::finalizeScanWithARPResults(const ARPTable &arpResults, const QHash<QString, QString> &dnsResults)
{
    if (std::exchange(m_bonjourFinalized, true))
        return;
    m_ports.log(QStringLiteral("RGFCoreScanEngine: finalizing scan (Bonjour found services for %lu IPs)"), m_servicesByIP.size());
    m_devices = devicesOf({arpResults, dnsResults, m_pingableIPs, m_servicesByIP, m_localNamesByIP, m_customizationsByMAC, m_scanFilterPrefs});
    m_ports.log(QStringLiteral("RGFCoreScanEngine: scan complete with %lu devices:"), m_devices.size());
    m_isScanning = false;
    m_pingableIPs.reset();
    m_discoveredServices.clear();
    const QList<RGFCoreScanDevice> devices = m_devices; // the completion may start the next scan, or end the engine
    if (const ScanCompletion completion = std::exchange(m_scanCompletion, nullptr))
        completion(devices, {});
}

bool RangefinderCoreScanEngine::shouldExcludeDeviceWithIP(const QString &ip, const QString &mac, const QString &hostname) const
{
    return shouldExcludeDevice(m_scanFilterPrefs, ip, mac, hostname);
}

void RangefinderCoreScanEngine::loadFilterPrefsFromKVS()
{
    m_scanFilterPrefs.reset();
}

} // namespace lanterna
