#include "platform/linux/NetlinkSockets.h"

#include "platform/linux/Netlink.h"

#include <libmnl/libmnl.h>

#include <cerrno>
#include <memory>
#include <vector>

#include <sys/socket.h>
#include <sys/time.h>

namespace lanterna
{

namespace
{

/// The kernel fills up to 32 KiB per datagram of a dump when the reader offers as much; twice that leaves room for kernels that fill more.
constexpr size_t receiveBytes = 64 * 1024;

/// The kernel answers at once or never; a sandbox that swallows requests must not stop the program.
constexpr timeval patience = {2, 0};

struct SocketCloser {
    void operator()(mnl_socket *socket) const { mnl_socket_close(socket); }
};
using Socket = std::unique_ptr<mnl_socket, SocketCloser>;

/// An open socket, or none with the reason in errno.
Socket openSocket(NetlinkBus bus)
{
    Socket socket(mnl_socket_open2(bus == NetlinkBus::route ? NETLINK_ROUTE : NETLINK_GENERIC, SOCK_CLOEXEC));
    if (!socket || mnl_socket_bind(socket.get(), 0, MNL_SOCKET_AUTOPID) < 0)
        return nullptr;
    setsockopt(mnl_socket_get_fd(socket.get()), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    return socket;
}

/// Receives one datagram into the buffer; its length, or -1 with errno.
ssize_t receive(const Socket &socket, std::vector<char> &buffer)
{
    ssize_t length = 0;
    do {
        length = mnl_socket_recvfrom(socket.get(), buffer.data(), buffer.size());
    } while (length < 0 && errno == EINTR);
    return length;
}

} // namespace

NetlinkAnswer NetlinkSockets::exchange(NetlinkBus bus, const QByteArray &request)
{
    const Socket socket = openSocket(bus);
    if (!socket || mnl_socket_sendto(socket.get(), request.data(), size_t(request.size())) < 0)
        return {{}, errno};

    NetlinkAnswer answer;
    std::vector<char> buffer(receiveBytes);
    bool complete = false;
    while (!complete) {
        const ssize_t length = receive(socket, buffer);
        if (length <= 0) {
            answer.error = length == 0 ? EPIPE : errno == EAGAIN ? ETIMEDOUT : errno;
            return answer;
        }
        const QByteArrayView datagram(buffer.data(), length);
        complete = answerComplete(datagram);
        answer.bytes += datagram;
        // The walk over the bytes steps by four; kernel messages are padded, the last one of a datagram need not be.
        while (answer.bytes.size() % 4 != 0)
            answer.bytes += '\0';
    }
    answer.error = answerError(answer.bytes);
    return answer;
}

} // namespace lanterna
