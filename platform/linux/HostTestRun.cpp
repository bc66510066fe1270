#include "platform/linux/HostTestRun.h"

#include "platform/linux/SocketAddress.h"

#include <QSet>

#include <algorithm>
#include <array>
#include <cerrno>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <utility>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

namespace lanterna
{

namespace
{

/// Each takes a descriptor and about 3 kB in the kernel. More would not end sooner: the links and the tables on the way are the narrow places.
constexpr size_t mostUnderWay = 4000;

/// Connects begun in one turn, about 5 ms of work: answers are heard in between.
constexpr size_t beginsPerTurn = 256;

/// While others hold all descriptors, this is how often is tried for one.
constexpr std::chrono::milliseconds descriptorBeat{50};

/// What the wake-up descriptor is called among the hosts.
constexpr quint64 wakeUp = std::numeric_limits<quint64>::max();

bool isLackOfDescriptors(int error)
{
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

} // namespace

HostTestRun::HostTestRun(const QStringList &addresses, const HostTest &test, HostTester::Answered answered, HostTester::Done done)
    : m_ports(test.ports), m_patience(test.patience), m_answered(std::move(answered)), m_done(std::move(done))
{
    QSet<QString> seen;
    for (const QString &text : addresses) {
        const auto address = socketAddress(text, 0);
        if (!address || m_ports.empty() || seen.contains(text))
            continue;
        seen.insert(text);
        m_waiting.push_back(m_hosts.size());
        m_hosts.push_back({text, *address, 0, {}});
    }
    m_unsettled = m_hosts.size();
}

void HostTestRun::run(const std::stop_token &stop)
{
    m_stop = stop;
    if (m_unsettled > 0 && !openWatch(stop))
        return;
    const std::stop_callback wake(stop, [this] { eventfd_write(m_wake.get(), 1); });
    while (!m_stop.stop_requested() && m_unsettled > 0) {
        startWaiting();
        // What came before this moment is heard first, however long callbacks took: a deadline is no answer's fault.
        const Clock::time_point now = Clock::now();
        takeEvents();
        expire(now);
    }
    if (!m_stop.stop_requested())
        m_done();
}

/// The watch needs two descriptors, for which it waits as the hosts do. False when asked to stop before.
bool HostTestRun::openWatch(const std::stop_token &stop)
{
    std::mutex mutex;
    std::condition_variable_any stopped;
    while (!stop.stop_requested()) {
        m_epoll = Descriptor(epoll_create1(EPOLL_CLOEXEC));
        m_wake = Descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
        epoll_event event = {};
        event.events = EPOLLIN;
        event.data.u64 = wakeUp;
        if (m_epoll && m_wake && epoll_ctl(m_epoll.get(), EPOLL_CTL_ADD, m_wake.get(), &event) == 0)
            return true;
        std::unique_lock lock(mutex);
        stopped.wait_for(lock, stop, descriptorBeat, [] { return false; });
    }
    return false;
}

void HostTestRun::startWaiting()
{
    m_outOfDescriptors = false;
    for (size_t begun = 0; begun < beginsPerTurn && !m_waiting.empty() && m_underWay < mostUnderWay && !m_outOfDescriptors; ++begun) {
        const size_t index = m_waiting.front();
        m_waiting.pop_front();
        goOn(index);
    }
}

/// Tries the host's next port, and those behind it as long as they fail at once.
void HostTestRun::goOn(size_t index)
{
    Host &host = m_hosts[index];
    for (; host.port < m_ports.size() && !m_stop.stop_requested(); ++host.port) {
        switch (beginConnect(index)) {
        case Beginning::answered:
            settle(index, true);
            return;
        case Beginning::underWay:
            return;
        case Beginning::noDescriptor:
            m_outOfDescriptors = true;
            m_waiting.push_front(index);
            return;
        case Beginning::failed:
            break;
        }
    }
    settle(index, false);
}

HostTestRun::Beginning HostTestRun::beginConnect(size_t index)
{
    Host &host = m_hosts[index];
    Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP));
    if (!socket)
        return isLackOfDescriptors(errno) ? Beginning::noDescriptor : Beginning::failed;
    host.address.sin_port = htons(m_ports[host.port]);
    const Clock::time_point begin = Clock::now();
    if (connect(socket.get(), reinterpret_cast<const sockaddr *>(&host.address), sizeof host.address) == 0 || errno == ECONNREFUSED)
        return Beginning::answered;
    if (errno != EINPROGRESS)
        return Beginning::failed;

    epoll_event event = {};
    event.events = EPOLLOUT;
    event.data.u64 = index;
    if (epoll_ctl(m_epoll.get(), EPOLL_CTL_ADD, socket.get(), &event) != 0)
        return Beginning::noDescriptor; // the limit of watched descriptors, or memory
    host.socket = std::move(socket);
    ++m_underWay;
    m_deadlines.push_back({begin + m_patience, index, host.port});
    return Beginning::underWay;
}

/// Hears what has come; waits for it when there is nothing else to do.
void HostTestRun::takeEvents()
{
    std::array<epoll_event, 256> events = {};
    const bool couldBegin = !m_waiting.empty() && m_underWay < mostUnderWay && !m_outOfDescriptors;
    int timeout = couldBegin || m_unsettled == 0 ? 0 : untilNextDeadline();
    int count = 0;
    do {
        count = epoll_wait(m_epoll.get(), events.data(), int(events.size()), timeout);
        timeout = 0;
        for (int number = 0; number < count && !m_stop.stop_requested(); ++number) {
            if (events[size_t(number)].data.u64 != wakeUp)
                connectEnded(size_t(events[size_t(number)].data.u64));
        }
    } while (count == int(events.size()) && !m_stop.stop_requested());
}

void HostTestRun::connectEnded(size_t index)
{
    Host &host = m_hosts[index];
    if (!host.socket)
        return;
    int error = 0;
    socklen_t size = sizeof error;
    const bool known = getsockopt(host.socket.get(), SOL_SOCKET, SO_ERROR, &error, &size) == 0;
    close(host);
    if (known && (error == 0 || error == ECONNREFUSED)) {
        settle(index, true);
        return;
    }
    ++host.port;
    goOn(index);
}

/// Ends the connects whose patience was over at that moment.
void HostTestRun::expire(Clock::time_point now)
{
    while (!m_deadlines.empty() && m_deadlines.front().time <= now && !m_stop.stop_requested()) {
        const Deadline deadline = m_deadlines.front();
        m_deadlines.pop_front();
        Host &host = m_hosts[deadline.host];
        if (!host.socket || host.port != deadline.port)
            continue; // that connect ended by itself
        close(host);
        ++host.port;
        goOn(deadline.host);
    }
}

void HostTestRun::close(Host &host)
{
    host.socket.reset(); // which ends its watch too
    --m_underWay;
}

void HostTestRun::settle(size_t index, bool answers)
{
    if (m_stop.stop_requested())
        return;
    --m_unsettled;
    if (answers)
        m_answered(m_hosts[index].text);
}

/// Milliseconds that may pass before something has to be done, rounded up.
int HostTestRun::untilNextDeadline() const
{
    const auto next = m_deadlines.empty() ? descriptorBeat : std::chrono::ceil<std::chrono::milliseconds>(m_deadlines.front().time - Clock::now());
    const auto soonest = m_outOfDescriptors ? std::min(next, descriptorBeat) : next;
    return int(std::clamp<qint64>(soonest.count(), 0, std::numeric_limits<int>::max()));
}

} // namespace lanterna
