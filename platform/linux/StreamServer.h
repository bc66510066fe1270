#pragma once

#include "platform/StreamListener.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/StreamConnections.h"

#include <memory>
#include <stop_token>

namespace lanterna
{

/// The work of a listener's thread: accepts clients and keeps their connections going. Belongs to that thread from `run` on.
class StreamServer
{
public:
    explicit StreamServer(const StreamLimits &limits) : m_limits(limits) { }

    /// Begins to listen. False, with the reason in errno, when the system refuses. Clients wait until `run`.
    [[nodiscard]] bool open();
    [[nodiscard]] quint16 port() const;
    /// After `open`.
    [[nodiscard]] std::shared_ptr<StreamConnections> connections() const { return m_connections; }

    /// Serves until asked to stop, which is noticed at once, and then ends all connections.
    void run(const std::stop_token &stop, const StreamListener::NewConnection &newConnection, const StreamListener::Failed &failed);

private:
    using Clock = StreamConnections::Clock;

    void takeEvents(int timeout);
    void acceptSome(const StreamListener::NewConnection &newConnection, const StreamListener::Failed &failed);
    bool admit(const StreamListener::NewConnection &newConnection);
    void pause();
    void resume();
    [[nodiscard]] int untilNextLook();

    const StreamLimits m_limits;
    Descriptor m_epoll;
    Descriptor m_wake;
    Descriptor m_listening;
    std::shared_ptr<StreamConnections> m_connections;
    Descriptor m_newcomer; ///< accepted, and waiting for a place
    bool m_looksAgain = false; ///< whether it waits for the connections' next turn first
    bool m_clientsWait = false;
    bool m_paused = false; ///< whether newcomers wait in the system's queue, unwatched
    Clock::time_point m_pauseEnd{};
};

} // namespace lanterna
