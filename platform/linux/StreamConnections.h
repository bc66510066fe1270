#pragma once

#include "platform/linux/ServedConnection.h"

#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

namespace lanterna
{

/// How a listener treats its clients.
struct StreamLimits {
    size_t open = 256; ///< connections at a time
    std::chrono::milliseconds drain{10'000}; ///< how long a client that has taken everything may leave its own stream open
    /// Nobody who took a byte this recently is dropped for a newcomer, who waits. A burst of healthy clients is served one after the other so; of
    /// clients that never read, 5,000 a second still come and go.
    std::chrono::milliseconds grace{50};
};

/// The open connections of one listener, watched by its epoll descriptor. Any thread; no call waits but for another call.
class StreamConnections
{
public:
    using Clock = ServedConnection::Clock;
    using Id = quint64;

    /// Ids of connections begin here: smaller numbers stand for the other things that the listener watches.
    static constexpr Id firstId = 16;

    /// `watch` is the epoll descriptor; it stays open until `close` has returned.
    StreamConnections(int watch, const StreamLimits &limits) : m_limits(limits), m_watch(watch) { }

    [[nodiscard]] Id add(Descriptor socket, Clock::time_point now);
    /// Sends the message to a connection that waits for one; nothing when it is gone.
    void answer(Id id, const QByteArray &message);
    /// Ends a connection that nobody will answer any more.
    void giveUp(Id id);

    /// Epoll events of a connection have come.
    void take(Id id, uint32_t events, Clock::time_point now);
    /// Whether one more may be added.
    [[nodiscard]] bool hasRoom() const { return count() < m_limits.open; }
    /// Whether one more may be added now; when all places are taken, drops the one that has not taken a byte for the longest time, if that is long
    /// enough.
    [[nodiscard]] bool makeRoom(Clock::time_point now);
    /// Drops that one to free its descriptor; false when there is none that may be dropped.
    bool dropSlowest(Clock::time_point now);
    /// Ends those that have had everything for long enough, if a look is due. Returns when the next one is; none without connections.
    std::optional<Clock::time_point> lookAround(Clock::time_point now);

    /// Ends all; no more can be added or answered.
    void close();
    [[nodiscard]] size_t count() const;

private:
    /// A connection with the lock that guards it. Nobody takes the table's lock while holding this one; sending takes a while, and others go on
    /// meanwhile.
    struct Entry {
        Entry(Descriptor socket, Clock::time_point now) : connection(std::move(socket), now) { }
        std::mutex mutex;
        ServedConnection connection; ///< without a descriptor once it has ended
    };

    [[nodiscard]] std::shared_ptr<Entry> find(Id id) const;
    void forget(Id id);
    bool dropSlowestLocked(Clock::time_point now);
    void observe(Clock::time_point now);
    [[nodiscard]] bool watch(Id id, const ServedConnection &connection, int operation) const;

    const StreamLimits m_limits;
    const int m_watch;
    mutable std::mutex m_mutex; // guards everything below
    bool m_closed = false;
    std::map<Id, std::shared_ptr<Entry>> m_entries;
    Id m_nextId = firstId;
    Clock::time_point m_observed{}; ///< when the clients' progress was last asked for
    Clock::time_point m_nextLook = Clock::time_point::max();
};

} // namespace lanterna
