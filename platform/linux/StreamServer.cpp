#include "platform/linux/StreamServer.h"

#include "platform/linux/ListeningSocket.h"

#include <QString>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include <sys/epoll.h>
#include <sys/eventfd.h>

namespace lanterna
{

namespace
{

constexpr quint64 wakeUp = 0;
constexpr quint64 newClients = 1;

/// Accepted in one turn. In between, the connections have theirs: places that were left are seen before anybody is dropped.
constexpr int acceptedPerTurn = 64;

/// How long newcomers wait where there is no place, descriptor or memory for them, unless a place is left earlier.
constexpr std::chrono::milliseconds pauseBeat{20};

bool watch(const Descriptor &epoll, const Descriptor &descriptor, quint64 id)
{
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.u64 = id;
    return epoll_ctl(epoll.get(), EPOLL_CTL_ADD, descriptor.get(), &event) == 0;
}

/// What the owner of a listener holds of one connection.
class Handle : public StreamConnection
{
public:
    Handle(std::shared_ptr<StreamConnections> connections, StreamConnections::Id id) : m_connections(std::move(connections)), m_id(id) { }
    Handle(const Handle &) = delete;
    Handle &operator=(const Handle &) = delete;
    ~Handle() override { m_connections->giveUp(m_id); }
    void sendFinalMessage(const QByteArray &bytes) override { m_connections->answer(m_id, bytes); }

private:
    const std::shared_ptr<StreamConnections> m_connections;
    const StreamConnections::Id m_id;
};

} // namespace

bool StreamServer::open()
{
    m_epoll = Descriptor(epoll_create1(EPOLL_CLOEXEC));
    m_wake = Descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!m_epoll || !m_wake)
        return false;
    m_listening = listeningSocket();
    m_connections = std::make_shared<StreamConnections>(m_epoll.get(), m_limits);
    return m_listening && watch(m_epoll, m_wake, wakeUp) && watch(m_epoll, m_listening, newClients);
}

quint16 StreamServer::port() const
{
    return portOf(m_listening);
}

void StreamServer::run(const std::stop_token &stop, const StreamListener::NewConnection &newConnection, const StreamListener::Failed &failed)
{
    const std::stop_callback wake(stop, [this] { eventfd_write(m_wake.get(), 1); });
    while (!stop.stop_requested()) {
        takeEvents(untilNextLook());
        if (stop.stop_requested())
            break;
        if (m_paused && Clock::now() >= m_pauseEnd)
            resume();
        if (m_newcomer || m_clientsWait)
            acceptSome(newConnection, failed);
    }
    m_connections->close();
}

void StreamServer::takeEvents(int timeout)
{
    std::array<epoll_event, 512> events; // more than there are connections: places that were left are seen before newcomers are let in
    const int count = epoll_wait(m_epoll.get(), events.data(), int(events.size()), timeout);
    const Clock::time_point now = Clock::now();
    for (int number = 0; number < count; ++number) {
        const quint64 id = events[size_t(number)].data.u64;
        if (id == newClients)
            m_clientsWait = true;
        else if (id >= StreamConnections::firstId)
            m_connections->take(id, events[size_t(number)].events, now);
    }
}

void StreamServer::acceptSome(const StreamListener::NewConnection &newConnection, const StreamListener::Failed &failed)
{
    m_clientsWait = false; // the descriptor says so again in the next turn
    if (m_newcomer) {
        if (!admit(newConnection))
            return;
        resume();
    }
    for (int number = 0; number < acceptedPerTurn && m_listening && !m_paused && !m_newcomer; ++number) {
        Accepted next = acceptFrom(m_listening);
        switch (next.acceptance) {
        case Acceptance::accepted:
            m_newcomer = std::move(next.socket);
            admit(newConnection);
            break;
        case Acceptance::nobody:
            return;
        case Acceptance::clientLost:
            break;
        case Acceptance::mustPause:
            if (!m_connections->dropSlowest(Clock::now()))
                pause();
            break;
        case Acceptance::broken:
            const QString error = QString::fromLocal8Bit(std::strerror(errno));
            m_listening.reset(); // which ends its watch too
            failed(error);
            break;
        }
    }
}

/// Lets the newcomer in. False when there is no place: at first only until the next turn, which sees who has left before this one came; then somebody
/// is dropped, or newcomers wait a moment.
bool StreamServer::admit(const StreamListener::NewConnection &newConnection)
{
    const Clock::time_point now = Clock::now();
    if (!m_connections->hasRoom()) {
        if (!std::exchange(m_looksAgain, true))
            return false;
        if (!m_connections->makeRoom(now)) {
            pause();
            return false;
        }
    }
    m_looksAgain = false;
    const StreamConnections::Id id = m_connections->add(std::move(m_newcomer), now);
    newConnection(std::make_shared<Handle>(m_connections, id));
    return true;
}

void StreamServer::pause()
{
    m_pauseEnd = Clock::now() + pauseBeat;
    if (m_paused)
        return;
    m_paused = true;
    epoll_event nothing = {};
    nothing.data.u64 = newClients;
    epoll_ctl(m_epoll.get(), EPOLL_CTL_MOD, m_listening.get(), &nothing);
}

void StreamServer::resume()
{
    if (!std::exchange(m_paused, false))
        return;
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.u64 = newClients;
    epoll_ctl(m_epoll.get(), EPOLL_CTL_MOD, m_listening.get(), &event);
    m_clientsWait = true;
}

/// Milliseconds that may pass before something has to be done, rounded up; -1 when nothing has.
int StreamServer::untilNextLook()
{
    const Clock::time_point now = Clock::now();
    std::optional<Clock::time_point> next = m_connections->lookAround(now);
    if (m_looksAgain && !m_paused)
        return 0;
    if (m_paused)
        next = std::min(next.value_or(m_pauseEnd), m_pauseEnd);
    if (!next)
        return -1;
    return int(std::max<qint64>(0, std::chrono::ceil<std::chrono::milliseconds>(*next - now).count()));
}

} // namespace lanterna
