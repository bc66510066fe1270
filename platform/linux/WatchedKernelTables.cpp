#include "platform/linux/WatchedKernelTables.h"

#include "platform/linux/InterfaceAddresses.h"

#include <cerrno>

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

namespace lanterna
{

namespace
{

/// Messages that nobody has fetched yet; what they say is never read, and one that got lost is as good as one that came. The kernel raises it to its
/// least.
constexpr int receiveBuffer = 4096;

/// Follows flags and names of interfaces, and IPv4 addresses; none where the system refuses.
Descriptor openNews()
{
    Descriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE));
    setsockopt(socket.get(), SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    sockaddr_nl address = {};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR;
    if (bind(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        socket.reset();
    return socket;
}

} // namespace

bool AddressNews::mayHaveChanged()
{
    if (!m_socket) {
        m_socket = openNews();
        return true;
    }
    bool news = false;
    while (true) {
        char byte = 0;
        if (recv(m_socket.get(), &byte, sizeof byte, 0) >= 0) { // the rest of the message goes with it
            news = true;
            continue;
        }
        switch (errno) {
        case EAGAIN:
            return news;
        case EINTR:
            break;
        case ENOBUFS: // messages were lost
            news = true;
            break;
        default:
            m_socket.reset();
            return true;
        }
    }
}

QList<InterfaceAddress> WatchedKernelTables::interfaceAddresses() const
{
    const std::scoped_lock lock(m_mutex);
    // The news come first: what changes while the list is read is news the next time.
    if (m_news.mayHaveChanged() || !m_addresses)
        m_addresses = readInterfaceAddresses();
    return m_addresses.value_or(QList<InterfaceAddress>());
}

} // namespace lanterna
