#include "platform/linux/ListeningSocket.h"

#include <cerrno>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace lanterna
{

namespace
{

/// Bytes that wait in the system for one client; the system doubles it for its own needs. More would not be faster on a LAN (256 KiB in 5 ms are
/// 400 Mbit/s), and 256 clients that do not read hold 128 MiB at the most.
constexpr int sendBuffer = 256 * 1024;

template <typename Address> Descriptor listenOn(const Address &address, int family)
{
    Descriptor socket(::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP));
    constexpr int off = 0;
    const bool ready = socket && (family != AF_INET6 || setsockopt(socket.get(), IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off) == 0)
        && setsockopt(socket.get(), SOL_SOCKET, SO_SNDBUF, &sendBuffer, sizeof sendBuffer) == 0 // accepted sockets inherit it
        && bind(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 && listen(socket.get(), SOMAXCONN) == 0;
    if (!ready)
        socket.reset();
    return socket;
}

Acceptance meaningOf(int error)
{
    switch (error) {
    case EAGAIN:
        return Acceptance::nobody;
    case EINTR:
    case ECONNABORTED:
    case EPERM: // a packet filter's word
    case EPROTO: // this one and those below are errors of the new connection's network, see accept(2)
    case ENETDOWN:
    case ENOPROTOOPT:
    case EHOSTDOWN:
    case ENONET:
    case EHOSTUNREACH:
    case EOPNOTSUPP:
    case ENETUNREACH:
    case ETIMEDOUT:
        return Acceptance::clientLost;
    case EBADF:
    case ENOTSOCK:
    case EINVAL:
    case EFAULT:
        return Acceptance::broken;
    default:
        return Acceptance::mustPause;
    }
}

} // namespace

Descriptor listeningSocket()
{
    sockaddr_in6 six = {};
    six.sin6_family = AF_INET6;
    six.sin6_addr = in6addr_any;
    if (Descriptor socket = listenOn(six, AF_INET6))
        return socket;
    sockaddr_in four = {};
    four.sin_family = AF_INET;
    return listenOn(four, AF_INET);
}

quint16 portOf(const Descriptor &socket)
{
    sockaddr_in6 address = {}; // an IPv4 address has its port in the same place
    socklen_t size = sizeof address;
    return getsockname(socket.get(), reinterpret_cast<sockaddr *>(&address), &size) == 0 ? ntohs(address.sin6_port) : quint16(0);
}

Accepted acceptFrom(const Descriptor &socket)
{
    Descriptor accepted(accept4(socket.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    const Acceptance acceptance = accepted ? Acceptance::accepted : meaningOf(errno);
    return {std::move(accepted), acceptance};
}

} // namespace lanterna
