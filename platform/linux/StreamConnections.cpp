#include "platform/linux/StreamConnections.h"

#include <algorithm>

#include <sys/epoll.h>

namespace lanterna
{

namespace
{

/// Progress is asked for in steps that grow with the time since anybody made some, from the first of these to the second: to an eighth of the time
/// that a client has stalled it is known who stalls longest. Each costs a system call for each connection; clients that stall for good wake hardly
/// anybody, and who goes on again makes itself heard by an event.
constexpr std::chrono::milliseconds shortestBeat{100};
constexpr std::chrono::milliseconds longestBeat{10'000};
/// In a crush of newcomers, one answer of the system serves for this long.
constexpr std::chrono::milliseconds freshness{20};

constexpr auto isLessRecent = [](const auto &one, const auto &other) { return one.second.progress() < other.second.progress(); };

} // namespace

StreamConnections::Id StreamConnections::add(Descriptor socket, Clock::time_point now)
{
    const std::lock_guard lock(m_mutex);
    if (m_watch >= 0)
        m_connections.try_emplace(m_nextId, std::move(socket), now);
    m_nextLook = std::min(m_nextLook, now + shortestBeat);
    return m_nextId++;
}

void StreamConnections::answer(Id id, const QByteArray &message)
{
    const std::lock_guard lock(m_mutex);
    const auto found = m_connections.find(id);
    if (found == m_connections.end() || found->second.isAnswered())
        return;
    if (!found->second.answer(message, Clock::now()) || !watch(id, found->second, EPOLL_CTL_ADD))
        m_connections.erase(found);
}

void StreamConnections::giveUp(Id id)
{
    const std::lock_guard lock(m_mutex);
    const auto found = m_connections.find(id);
    if (found == m_connections.end() || found->second.isAnswered())
        return;
    found->second.abort();
    m_connections.erase(found);
}

void StreamConnections::take(Id id, uint32_t events, Clock::time_point now)
{
    const std::lock_guard lock(m_mutex);
    const auto found = m_connections.find(id);
    if (found == m_connections.end())
        return; // dropped for a newcomer meanwhile
    const uint32_t before = found->second.events();
    if (!found->second.goOn(events, now) || (found->second.events() != before && !watch(id, found->second, EPOLL_CTL_MOD)))
        m_connections.erase(found);
}

bool StreamConnections::makeRoom(Clock::time_point now)
{
    const std::lock_guard lock(m_mutex);
    return m_connections.size() < m_limits.open || dropSlowestLocked(now);
}

bool StreamConnections::dropSlowest(Clock::time_point now)
{
    const std::lock_guard lock(m_mutex);
    return dropSlowestLocked(now);
}

bool StreamConnections::dropSlowestLocked(Clock::time_point now)
{
    const size_t before = m_connections.size();
    if (now - m_observed >= freshness)
        observe(now);
    if (m_connections.size() < before)
        return true;
    const auto slowest = std::min_element(m_connections.begin(), m_connections.end(), isLessRecent); // of several the one that came first
    if (slowest == m_connections.end() || now - slowest->second.progress() < m_limits.grace)
        return false;
    slowest->second.abort();
    m_connections.erase(slowest);
    return true;
}

std::optional<StreamConnections::Clock::time_point> StreamConnections::lookAround(Clock::time_point now)
{
    const std::lock_guard lock(m_mutex);
    if (now >= m_nextLook) {
        observe(now);
        const auto latest = std::max_element(m_connections.begin(), m_connections.end(), isLessRecent);
        const Clock::duration still = latest == m_connections.end() ? Clock::duration::zero() : now - latest->second.progress();
        m_nextLook = now + std::clamp<Clock::duration>(still / 8, shortestBeat, longestBeat);
    }
    return m_connections.empty() ? std::nullopt : std::optional(m_nextLook);
}

/// Asks for the progress of all, and ends those that are through.
void StreamConnections::observe(Clock::time_point now)
{
    m_observed = now;
    for (auto entry = m_connections.begin(); entry != m_connections.end();) {
        if (entry->second.observe(now, m_limits.drain)) {
            ++entry;
        } else {
            entry->second.end();
            entry = m_connections.erase(entry);
        }
    }
}

void StreamConnections::close()
{
    const std::lock_guard lock(m_mutex);
    m_watch = -1;
    for (auto &entry : m_connections)
        entry.second.end();
    m_connections.clear();
}

size_t StreamConnections::count() const
{
    const std::lock_guard lock(m_mutex);
    return m_connections.size();
}

/// False when the system refuses, for lack of memory.
bool StreamConnections::watch(Id id, const ServedConnection &connection, int operation) const
{
    epoll_event event = {};
    event.events = connection.events();
    event.data.u64 = id;
    return epoll_ctl(m_watch, operation, connection.descriptor(), &event) == 0;
}

} // namespace lanterna
