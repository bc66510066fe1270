#include "tests/fakes/FakeLAN.h"

#include <algorithm>

namespace lanterna
{

class FakeLAN::Socket : public ProbeSockets::Datagrams
{
public:
    Socket(FakeLAN &lan, QString what) : m_lan(lan), m_what(std::move(what)) { ++m_lan.openSockets; }
    ~Socket() override { --m_lan.openSockets; }
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;
    void sendTo(const QString &address, quint16 port, QByteArrayView payload) override
    {
        m_lan.probed({{}, m_what, address, port, payload.toByteArray()});
    }

private:
    FakeLAN &m_lan;
    QString m_what;
};

void FakeLAN::probed(SeenProbe probe)
{
    probe.at = m_dispatch.steadyNow();
    if (!m_probedAt.contains(probe.host))
        m_probedAt.insert(probe.host, probe.at);
    seen.append(probe);
}

const FakeHost *FakeLAN::hostAt(const QString &address) const
{
    const auto found = std::find_if(hosts.begin(), hosts.end(), [&](const FakeHost &host) { return host.address == address; });
    return found == hosts.end() ? nullptr : &*found;
}

QString FakeLAN::neighbourTableText() const
{
    QString text = neighbours;
    for (const FakeHost &host : hosts) {
        const auto asked = m_probedAt.find(host.address);
        if (asked != m_probedAt.end() && host.arp && *asked + *host.arp <= m_dispatch.steadyNow())
            text += QStringLiteral("? (%1) at %2 on eth0\n").arg(host.address, host.mac);
    }
    return text;
}

ProbeSockets::Opened FakeLAN::openICMP()
{
    if (refusesICMP)
        return {nullptr, QStringLiteral("Permission denied")};
    return {std::make_unique<Socket>(*this, QStringLiteral("icmp")), {}};
}

ProbeSockets::Opened FakeLAN::openUDP(ProbeAudience audience)
{
    if (refusesUDP || (refusesBroadcast && audience == ProbeAudience::broadcast))
        return {nullptr, QStringLiteral("Too many open files")};
    const QString what = audience == ProbeAudience::host ? QStringLiteral("udp")
        : audience == ProbeAudience::broadcast           ? QStringLiteral("broadcast")
                                                         : QStringLiteral("multicast");
    return {std::make_unique<Socket>(*this, what), {}};
}

std::shared_ptr<void> FakeLAN::startConnect(const QString &address, quint16 port)
{
    probed({{}, QStringLiteral("tcp"), address, port, {}});
    return std::make_shared<Socket>(*this, QStringLiteral("tcp"));
}

void FakeLAN::run(const QStringList &command)
{
    start(command);
    // Three echoes to a broadcast address that nobody answers.
    [[maybe_unused]] const bool whole = m_dispatch.sleepFor(std::chrono::seconds(1));
}

void FakeLAN::start(const QStringList &command)
{
    probed({{}, command.first(), command.mid(1).join(u' '), 0, {}});
}

void FakeLAN::later(const std::shared_ptr<char> &handle, std::chrono::milliseconds delay, Task task)
{
    m_dispatch.mainAfter(delay, [task = std::move(task), held = std::weak_ptr(handle)] {
        if (!held.expired())
            task();
    });
}

std::shared_ptr<void> FakeLAN::lookUp(const QStringList &ofHosts, HostNames::Found found, HostNames::Done done)
{
    const auto handle = std::make_shared<char>();
    std::chrono::milliseconds longest{0};
    bool silent = false;
    for (const QString &address : ofHosts) {
        const FakeHost *host = hostAt(address);
        if (!host || host->name.isEmpty())
            continue;
        if (!host->nameDelay) {
            silent = true;
            continue;
        }
        longest = std::max(longest, *host->nameDelay);
        later(handle, *host->nameDelay, [found, address, name = host->name] { found(address, name); });
    }
    if (!silent)
        later(handle, longest, std::move(done));
    return handle;
}

std::shared_ptr<void> FakeLAN::test(const QStringList &ofHosts, const HostTest &test, Answered answered, HostTester::Done done)
{
    lastTest = test;
    const auto handle = std::make_shared<char>();
    for (const QString &address : ofHosts) {
        const FakeHost *host = hostAt(address);
        if (host && host->tcp)
            later(handle, *host->tcp, [answered, address] { answered(address); });
    }
    later(handle, test.patience * int(test.ports.size()), std::move(done));
    return handle;
}

std::shared_ptr<void> FakeLAN::searchForServices(const QString &ofType, const QString &inDomain, DidFindService found, DidNotSearch)
{
    searches.append(ofType);
    if (!searchDomains.contains(inDomain))
        searchDomains.append(inDomain);
    ++openSearches;
    const auto handle = std::shared_ptr<char>(new char, [this](const char *byte) {
        --openSearches;
        delete byte;
    });
    for (qsizetype index = 0; index < hosts.size(); ++index) {
        if (hosts[index].found && hosts[index].services.contains(ofType))
            later(handle, *hosts[index].found, [=] { found({QString::number(index), ofType, inDomain, 2}); });
    }
    return handle;
}

std::shared_ptr<void> FakeLAN::watchForServices(const QString &ofType, const QString &inDomain, DidFindService found)
{
    const auto watch = std::make_shared<Watch>(Watch{ofType, inDomain, std::move(found)});
    watches.append(watch);
    return std::shared_ptr<void>(watch.get(), [this, watch](void *) { watches.removeOne(watch); });
}

std::shared_ptr<void> FakeLAN::resolve(const ServiceInstance &service, std::chrono::milliseconds withTimeout, DidResolve resolved)
{
    lastTimeout = withTimeout;
    const auto handle = std::make_shared<char>();
    const FakeHost &host = hosts[service.name.toInt()];
    if (host.resolved && *host.resolved <= withTimeout)
        later(handle, *host.resolved,
            [resolved, where = ResolvedService{host.localName, host.serviceAddresses.value_or(QStringList{host.address}), 0}] { resolved(where); });
    else
        later(handle, withTimeout, [resolved] { resolved(std::nullopt); });
    return handle;
}

} // namespace lanterna
