#include "cli/PeersRun.h"

#include <algorithm>
#include <numeric>
#include <tuple>

namespace lanterna
{

namespace
{
constexpr std::chrono::seconds resolveTimeout{3}; // as long as a scan waits for the same
} // namespace

PeersRun::PeersRun(Dispatch &dispatch, ServiceDiscovery &discovery, const PeersOptions &options, qsizetype bytesInAll)
    : m_dispatch(dispatch), m_discovery(discovery), m_options(options), m_bytesInAll(bytesInAll)
{
}

PeersRun::~PeersRun() = default;

void PeersRun::start(std::function<void()> finished)
{
    m_finished = std::move(finished);
    m_searching = true;
    const auto searchEnded = [this] {
        m_searching = false;
        m_searchEnd.cancel();
        finishIfDone();
    };
    m_searchEnd = m_dispatch.performAfter(m_options.timeout, searchEnded);
    m_search = m_discovery.searchForServices(
        QStringLiteral("_rgfscanmac._tcp."), QStringLiteral("local."), [this](const ServiceInstance &service) { found(service); },
        [this, searchEnded] {
            m_couldNotSearch = true;
            searchEnded();
        });
}

void PeersRun::found(const ServiceInstance &service)
{
    if (!m_searching)
        return;
    if (m_asked.size() >= static_cast<size_t>(mostPeers)) {
        m_leftOut = true;
        return;
    }
    Asked &asked = *m_asked.emplace_back(std::make_unique<Asked>());
    asked.service = service;
    asked.peer.name = service.name;
    asked.resolution =
        m_discovery.resolve(service, resolveTimeout, [this, &asked](const std::optional<ResolvedService> &where) { resolved(asked, where); });
}

/// Whether another of the same name is the same sensor, heard on another interface.
bool PeersRun::isKnown(const Asked &asked) const
{
    return std::any_of(m_asked.begin(), m_asked.end(), [&](const std::unique_ptr<Asked> &other) {
        const Peer &peer = other->peer;
        const bool sameHost = peer.hostName.isEmpty() ? peer.address == asked.peer.address : peer.hostName == asked.peer.hostName;
        return other.get() != &asked && !other->again && peer.port > 0 && peer.name == asked.peer.name && peer.port == asked.peer.port && sameHost;
    });
}

void PeersRun::resolved(Asked &asked, const std::optional<ResolvedService> &where)
{
    if (!where || where->addresses.isEmpty() || where->port == 0) {
        asked.open = false;
        finishIfDone();
        return;
    }
    asked.peer.hostName = where->hostName;
    asked.peer.address = where->addresses.first();
    asked.peer.port = where->port;
    asked.again = isKnown(asked);
    if (asked.again) {
        asked.open = false;
        finishIfDone();
        return;
    }
    asked.fetch = std::make_unique<PeerFetch>(
        m_dispatch, asked.peer.address, asked.peer.port, [this] { boundBytes(); },
        [this, &asked](const PeerAnswer &answer, qsizetype size) { fetched(asked, answer, size); });
}

void PeersRun::fetched(Asked &asked, const PeerAnswer &answer, qsizetype size)
{
    asked.open = false;
    asked.peer.state = answer.state;
    if (answer.state == PeerState::snapshot) {
        describe(asked.peer, answer.snapshot);
        if (m_options.json) {
            asked.peer.snapshot = answer.snapshot;
            asked.kept = size;
            boundBytes();
        }
    }
    finishIfDone();
}

qsizetype PeersRun::heldOf(const Asked &asked)
{
    return asked.kept + (asked.fetch ? asked.fetch->size() : 0);
}

qsizetype PeersRun::heldBytes() const
{
    return std::accumulate(
        m_asked.begin(), m_asked.end(), qsizetype{0}, [](qsizetype sum, const std::unique_ptr<Asked> &asked) { return sum + heldOf(*asked); });
}

qsizetype PeersRun::openFetches() const
{
    return std::count_if(m_asked.begin(), m_asked.end(), [](const std::unique_ptr<Asked> &asked) { return asked->fetch && asked->open; });
}

void PeersRun::boundBytes()
{
    if (heldBytes() <= m_bytesInAll)
        return;
    const auto most = std::max_element(m_asked.begin(), m_asked.end(),
        [](const std::unique_ptr<Asked> &one, const std::unique_ptr<Asked> &other) { return heldOf(*one) < heldOf(*other); });
    Asked &dropped = **most;
    if (dropped.open) {
        dropped.fetch->giveUp(PeerState::crowded);
    } else {
        dropped.kept = 0;
        dropped.peer.snapshot.clear();
        dropped.peer.state = PeerState::crowded;
    }
}

void PeersRun::finishIfDone()
{
    const bool open = std::any_of(m_asked.begin(), m_asked.end(), [](const std::unique_ptr<Asked> &asked) { return asked->open; });
    if (m_searching || open)
        return;
    if (const auto finished = std::exchange(m_finished, nullptr))
        finished();
}

QList<Peer> PeersRun::peers() const
{
    QList<Peer> found;
    for (const auto &asked : m_asked) {
        if (!asked->again)
            found.append(asked->peer);
    }
    std::stable_sort(found.begin(), found.end(), [](const Peer &one, const Peer &other) {
        return std::tuple(one.name, one.port == 0, one.address, one.port) < std::tuple(other.name, other.port == 0, other.address, other.port);
    });
    // One that was heard on several interfaces may have an address on one of them only.
    found.erase(std::unique(found.begin(), found.end(), [](const Peer &one, const Peer &other) { return other.port == 0 && one.name == other.name; }),
        found.end());
    return found;
}

CommandResult PeersRun::result(int columns) const
{
    const QList<Peer> found = peers();
    CommandResult result;
    if (m_leftOut)
        result.error = QStringLiteral("more than %1 sensors announce themselves; the others were not asked").arg(mostPeers);
    if (found.isEmpty()) {
        result.exitCode = 1;
        result.error = m_couldNotSearch ? QStringLiteral("sensors cannot be looked for: multicast DNS is not to be had")
                                        : QStringLiteral("no sensor was found in %1 s").arg(m_options.timeout.count());
    }
    if (m_options.json)
        result.output = peersJson(found);
    else if (!found.isEmpty())
        result.output = peersTable(found, m_dispatch.now(), columns);
    return result;
}

} // namespace lanterna
