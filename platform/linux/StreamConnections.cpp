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

} // namespace

StreamConnections::Id StreamConnections::add(Descriptor socket, Clock::time_point now)
{
    auto entry = std::make_shared<Entry>(std::move(socket), now);
    const std::lock_guard lock(m_mutex);
    if (!m_closed)
        m_entries.emplace(m_nextId, std::move(entry));
    m_nextLook = std::min<Clock::time_point>(m_nextLook, now + shortestBeat);
    return m_nextId++;
}

void StreamConnections::answer(Id id, const QByteArray &message)
{
    const std::shared_ptr<Entry> entry = find(id);
    if (!entry)
        return;
    {
        const std::lock_guard lock(entry->mutex);
        ServedConnection &connection = entry->connection;
        if (connection.isAnswered() || (connection.answer(message, Clock::now()) && watch(id, connection, EPOLL_CTL_ADD)))
            return;
        connection.abort();
    }
    forget(id);
}

void StreamConnections::giveUp(Id id)
{
    const std::shared_ptr<Entry> entry = find(id);
    if (!entry)
        return;
    {
        const std::lock_guard lock(entry->mutex);
        if (entry->connection.isAnswered())
            return;
        entry->connection.abort();
    }
    forget(id);
}

void StreamConnections::take(Id id, uint32_t events, Clock::time_point now)
{
    const std::shared_ptr<Entry> entry = find(id);
    if (!entry)
        return; // dropped for a newcomer meanwhile
    {
        const std::lock_guard lock(entry->mutex);
        ServedConnection &connection = entry->connection;
        const uint32_t before = connection.events();
        if (connection.goOn(events, now) && (connection.events() == before || watch(id, connection, EPOLL_CTL_MOD)))
            return;
        connection.end();
    }
    forget(id);
}

bool StreamConnections::makeRoom(Clock::time_point now)
{
    const std::lock_guard lock(m_mutex);
    return m_entries.size() < m_limits.open || dropSlowestLocked(now);
}

bool StreamConnections::dropSlowest(Clock::time_point now)
{
    const std::lock_guard lock(m_mutex);
    return dropSlowestLocked(now);
}

bool StreamConnections::dropSlowestLocked(Clock::time_point now)
{
    const size_t before = m_entries.size();
    if (now - m_observed >= freshness)
        observe(now);
    if (m_entries.size() < before)
        return true;
    auto slowest = m_entries.end(); // of several the one that came first
    Clock::time_point since = now - m_limits.grace;
    for (auto entry = m_entries.begin(); entry != m_entries.end(); ++entry) {
        const std::unique_lock lock(entry->second->mutex, std::try_to_lock);
        if (!lock || entry->second->connection.progress() >= since)
            continue; // busy, so not slow
        slowest = entry;
        since = entry->second->connection.progress();
    }
    if (slowest == m_entries.end())
        return false;
    {
        const std::lock_guard lock(slowest->second->mutex);
        slowest->second->connection.abort();
    }
    m_entries.erase(slowest);
    return true;
}

std::optional<StreamConnections::Clock::time_point> StreamConnections::lookAround(Clock::time_point now)
{
    const std::lock_guard lock(m_mutex);
    if (now >= m_nextLook)
        observe(now);
    return m_entries.empty() ? std::nullopt : std::optional(m_nextLook);
}

/// Asks for the progress of all, ends those that are through, and says when to look next.
void StreamConnections::observe(Clock::time_point now)
{
    m_observed = now;
    Clock::duration still = longestBeat * 8;
    for (auto entry = m_entries.begin(); entry != m_entries.end();) {
        const std::shared_ptr<Entry> held = entry->second; // until its lock is open again
        const std::unique_lock lock(held->mutex, std::try_to_lock);
        ServedConnection &connection = held->connection;
        if (!lock || connection.observe(now, m_limits.drain)) {
            still = lock ? std::min(still, now - connection.progress()) : Clock::duration::zero();
            ++entry;
        } else {
            connection.end();
            entry = m_entries.erase(entry);
        }
    }
    m_nextLook = now + std::clamp<Clock::duration>(still / 8, shortestBeat, longestBeat);
}

void StreamConnections::close()
{
    const std::lock_guard lock(m_mutex);
    m_closed = true;
    for (const auto &[id, entry] : m_entries) {
        const std::lock_guard entryLock(entry->mutex);
        entry->connection.end();
    }
    m_entries.clear();
}

size_t StreamConnections::count() const
{
    const std::lock_guard lock(m_mutex);
    return m_entries.size();
}

std::shared_ptr<StreamConnections::Entry> StreamConnections::find(Id id) const
{
    const std::lock_guard lock(m_mutex);
    const auto found = m_entries.find(id);
    return found == m_entries.end() ? nullptr : found->second;
}

void StreamConnections::forget(Id id)
{
    const std::lock_guard lock(m_mutex);
    m_entries.erase(id);
}

/// False when the system refuses, for lack of memory, or because the connection has ended.
bool StreamConnections::watch(Id id, const ServedConnection &connection, int operation) const
{
    epoll_event event = {};
    event.events = connection.events();
    event.data.u64 = id;
    return epoll_ctl(m_watch, operation, connection.descriptor(), &event) == 0;
}

} // namespace lanterna
