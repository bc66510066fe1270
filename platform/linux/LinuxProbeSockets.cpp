#include "platform/linux/LinuxProbeSockets.h"

#include "platform/linux/Descriptor.h"
#include "platform/linux/SocketAddress.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <sys/socket.h>

namespace lanterna
{

namespace
{

class KernelDatagrams : public ProbeSockets::Datagrams
{
public:
    explicit KernelDatagrams(Descriptor socket) : m_socket(std::move(socket)) { }

    void sendTo(const QString &address, quint16 port, QByteArrayView payload) override
    {
        const auto to = socketAddress(address, port);
        if (!to)
            return;
        // A failure is a probe that did not leave, as if it had been lost on the way.
        (void)sendto(m_socket.get(), payload.data(), size_t(payload.size()), MSG_NOSIGNAL, reinterpret_cast<const sockaddr *>(&*to), sizeof *to);
    }

private:
    Descriptor m_socket;
};

Descriptor openSocket(int type, int protocol)
{
    return Descriptor(socket(AF_INET, type | SOCK_NONBLOCK | SOCK_CLOEXEC, protocol));
}

ProbeSockets::Opened refusal()
{
    return {nullptr, QString::fromLocal8Bit(std::strerror(errno))};
}

/// Whether the socket may now speak to its audience.
bool prepare(const Descriptor &socket, ProbeAudience audience)
{
    switch (audience) {
    case ProbeAudience::host:
        return true;
    case ProbeAudience::broadcast: {
        const int allowed = 1;
        return setsockopt(socket.get(), SOL_SOCKET, SO_BROADCAST, &allowed, sizeof allowed) == 0;
    }
    case ProbeAudience::multicast: {
        const unsigned char hops = 1; // of one byte everywhere, while an int is not
        return setsockopt(socket.get(), IPPROTO_IP, IP_MULTICAST_TTL, &hops, sizeof hops) == 0;
    }
    }
    return false;
}

} // namespace

ProbeSockets::Opened LinuxProbeSockets::openICMP()
{
    Descriptor socket = openSocket(SOCK_DGRAM, IPPROTO_ICMP);
    if (!socket)
        return refusal();
    return {std::make_unique<KernelDatagrams>(std::move(socket)), {}};
}

ProbeSockets::Opened LinuxProbeSockets::openUDP(ProbeAudience audience)
{
    Descriptor socket = openSocket(SOCK_DGRAM, IPPROTO_UDP);
    if (!socket || !prepare(socket, audience))
        return refusal();
    return {std::make_unique<KernelDatagrams>(std::move(socket)), {}};
}

std::shared_ptr<void> LinuxProbeSockets::startConnect(const QString &address, quint16 port)
{
    const auto to = socketAddress(address, port);
    if (!to)
        return {};
    auto socket = std::make_shared<Descriptor>(openSocket(SOCK_STREAM, IPPROTO_TCP));
    if (!*socket)
        return {};
    (void)connect(socket->get(), reinterpret_cast<const sockaddr *>(&*to), sizeof *to);
    return socket;
}

} // namespace lanterna
