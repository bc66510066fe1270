#include "platform/linux/NeighbourKeeper.h"

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

namespace lanterna
{

namespace
{

/// Larger than any single message about a neighbour, an interface or an address.
constexpr size_t messageBytes = 64 * 1024;

/// Messages taken in one turn: more than the queue holds, so that only a machine that makes them faster than they are read has some left.
constexpr int messagesPerTurn = 10'000;

/// How often the tables are read in one turn where messages are lost faster than they are taken.
constexpr int readingsPerTurn = 3;

/// A sweep makes news with every host: they are gathered for so many milliseconds. Whoever wants the table takes what waits at once.
constexpr int gatheringTime = 200;

Descriptor subscribe(int receiveBytes)
{
    Descriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE));
    // The first passes the system's limit, for which it wants a privilege.
    if (setsockopt(socket.get(), SOL_SOCKET, SO_RCVBUFFORCE, &receiveBytes, sizeof receiveBytes) != 0)
        setsockopt(socket.get(), SOL_SOCKET, SO_RCVBUF, &receiveBytes, sizeof receiveBytes);
    sockaddr_nl address = {};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_NEIGH | RTMGRP_LINK | RTMGRP_IPV4_IFADDR;
    if (bind(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        return {};
    return socket;
}

} // namespace

/// One that wants what is dropped to be kept.
class NeighbourKeeper::Handle
{
public:
    Handle(std::shared_ptr<NeighbourKeeper> keeper, NeighbourMemory::Stamp begin) : m_keeper(std::move(keeper)), m_begin(begin) { }
    ~Handle() { m_keeper->endHandle(m_begin); }
    Handle(const Handle &) = delete;
    Handle &operator=(const Handle &) = delete;

private:
    std::shared_ptr<NeighbourKeeper> m_keeper;
    NeighbourMemory::Stamp m_begin;
};

std::shared_ptr<NeighbourKeeper> NeighbourKeeper::begin(std::shared_ptr<NetlinkTransport> transport, int receiveBytes)
{
    return begin(std::move(transport), subscribe(receiveBytes));
}

std::shared_ptr<NeighbourKeeper> NeighbourKeeper::begin(std::shared_ptr<NetlinkTransport> transport, Descriptor subscription)
{
    Descriptor wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!subscription || !wake)
        return nullptr;
    try {
        return std::shared_ptr<NeighbourKeeper>(new NeighbourKeeper(std::move(transport), std::move(subscription), std::move(wake)));
    } catch (const std::system_error &) {
        return nullptr; // no thread to be had
    }
}

NeighbourKeeper::NeighbourKeeper(std::shared_ptr<NetlinkTransport> transport, Descriptor socket, Descriptor wake)
    : m_transport(std::move(transport)), m_socket(std::move(socket)), m_wake(std::move(wake))
{
    catchUp(); // after the subscription, so that no change falls between
    m_thread = std::jthread([this](const std::stop_token &stop) { follow(stop); });
}

std::shared_ptr<void> NeighbourKeeper::handle()
{
    const std::scoped_lock lock(m_mutex);
    catchUp(); // what was dropped before has the stamps before
    m_begins.insert(++m_now);
    forget();
    return std::make_shared<Handle>(shared_from_this(), m_now);
}

void NeighbourKeeper::endHandle(NeighbourMemory::Stamp begin)
{
    const std::scoped_lock lock(m_mutex);
    m_begins.erase(begin);
    forget();
}

/// Forgets what was dropped before the oldest handle began.
void NeighbourKeeper::forget()
{
    m_memory.forgetDroppedBefore(m_begins.empty() ? m_now + 1 : *m_begins.begin());
}

QList<Neighbour> NeighbourKeeper::merge(const QList<Neighbour> &table)
{
    // The kernel queues its messages as things happen. Those from before the table was read are all here, if not all taken yet.
    const std::scoped_lock lock(m_mutex);
    catchUp();
    forget();
    return m_memory.merge(table);
}

void NeighbourKeeper::follow(const std::stop_token &stop)
{
    const std::stop_callback wake(stop, [this] { eventfd_write(m_wake.get(), 1); });
    std::array<pollfd, 2> watched = {{{m_socket.get(), POLLIN, 0}, {m_wake.get(), POLLIN, 0}}};
    while (!stop.stop_requested()) {
        if (poll(watched.data(), watched.size(), -1) < 0 && errno != EINTR)
            return;
        poll(&watched[1], 1, gatheringTime);
        const std::scoped_lock lock(m_mutex);
        catchUp();
    }
}

/// Takes all messages that wait. Where some were lost the tables are read again.
void NeighbourKeeper::catchUp()
{
    takeMessages();
    for (int reading = 0; m_behind && reading < readingsPerTurn; ++reading) {
        takeTables();
        takeMessages();
    }
}

void NeighbourKeeper::takeMessages()
{
    std::vector<char> buffer(messageBytes);
    for (int taken = 0; taken < messagesPerTurn; ++taken) {
        const ssize_t length = recv(m_socket.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (length > 0)
            m_memory.feed(QByteArrayView(buffer.data(), length), m_now);
        else if (length < 0 && errno == ENOBUFS)
            m_behind = true;
        else if (length == 0 || errno != EINTR)
            return;
    }
}

void NeighbourKeeper::takeTables()
{
    const NetlinkAnswer neighbours = askKernel(*m_transport, NetlinkBus::route, neighbourDumpRequest());
    const NetlinkAnswer links = askKernel(*m_transport, NetlinkBus::route, linkDumpRequest());
    m_behind = neighbours.error != 0 || links.error != 0;
    if (neighbours.error == 0)
        m_memory.feedTable(neighbours.bytes, m_now);
    m_memory.feed(links.bytes, m_now);
}

} // namespace lanterna
