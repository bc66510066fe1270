#include "tests/linux/StreamClient.h"

#include <array>
#include <cerrno>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>

namespace lanterna
{

StreamClient::StreamClient(quint16 port, int receiveBuffer, bool overIPv6)
    : m_socket(::socket(overIPv6 ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    constexpr timeval patience = {20, 0};
    setsockopt(m_socket.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(m_socket.get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    if (receiveBuffer > 0)
        setsockopt(m_socket.get(), SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    sockaddr_in6 six = {};
    six.sin6_family = AF_INET6;
    six.sin6_addr = in6addr_loopback;
    six.sin6_port = htons(port);
    sockaddr_in four = {};
    four.sin_family = AF_INET;
    four.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    four.sin_port = htons(port);
    m_connected = overIPv6 ? connect(m_socket.get(), reinterpret_cast<const sockaddr *>(&six), sizeof six) == 0
                           : connect(m_socket.get(), reinterpret_cast<const sockaddr *>(&four), sizeof four) == 0;
}

StreamClient::Reading StreamClient::readAll()
{
    Reading reading;
    std::array<char, 64 * 1024> buffer;
    while (true) {
        const ssize_t count = recv(m_socket.get(), buffer.data(), buffer.size(), 0);
        if (count <= 0) {
            reading.end = count == 0 ? End::endOfStream : errno == ECONNRESET ? End::reset : End::nothingCame;
            return reading;
        }
        reading.bytes.append(buffer.data(), count);
    }
}

QByteArray StreamClient::read(qsizetype atMost)
{
    QByteArray bytes(atMost, Qt::Uninitialized);
    bytes.resize(qsizetype(std::max<ssize_t>(0, recv(m_socket.get(), bytes.data(), size_t(atMost), 0))));
    return bytes;
}

bool StreamClient::send(const QByteArray &bytes)
{
    qsizetype sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = ::send(m_socket.get(), bytes.constData() + sent, size_t(bytes.size() - sent), MSG_NOSIGNAL);
        if (count < 0)
            return false;
        sent += count;
    }
    return true;
}

void StreamClient::endStream()
{
    shutdown(m_socket.get(), SHUT_WR);
}

void StreamClient::reset()
{
    constexpr linger atOnce = {1, 0};
    setsockopt(m_socket.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    m_socket.reset();
}

bool StreamClient::wasReset() const
{
    tcp_info info = {};
    socklen_t size = sizeof info;
    return getsockopt(m_socket.get(), IPPROTO_TCP, TCP_INFO, &info, &size) == 0 && info.tcpi_state == TCP_CLOSE;
}

} // namespace lanterna
