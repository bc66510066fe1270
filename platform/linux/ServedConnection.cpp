#include "platform/linux/ServedConnection.h"

#include <array>
#include <cerrno>

#include <linux/sockios.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace lanterna
{

namespace
{

/// Thrown away in one go. A client that sends more waits for the next turn, in which others have theirs.
constexpr size_t discardedAtOnce = 64 * 1024;

bool isWorthRetrying(int error)
{
    return error == EAGAIN || error == EINTR;
}

} // namespace

bool ServedConnection::answer(const QByteArray &message, Clock::time_point now)
{
    m_message = message;
    m_answered = true;
    m_progress = now; // until now nobody but us was slow
    return send();
}

bool ServedConnection::goOn(uint32_t events, Clock::time_point now)
{
    // Of a reset that comes after both streams have ended nothing else tells: what the client has not taken stays counted for ever.
    if ((events & EPOLLERR) != 0 || !discard() || !send())
        return false;
    if (m_clientEnded && m_isSent)
        look(now);
    return !(m_clientEnded && m_allTaken);
}

uint32_t ServedConnection::events() const
{
    if (m_clientEnded && m_isSent)
        return EPOLLOUT | EPOLLET; // both streams have ended, which is an event without end; the last byte's taking is a new one
    return (m_clientEnded ? 0U : uint32_t(EPOLLIN)) | (m_isSent ? 0U : uint32_t(EPOLLOUT));
}

/// One call, and so at most one buffer of the system: the next turn goes on.
bool ServedConnection::send()
{
    if (!m_answered || m_isSent)
        return true;
    if (m_sent < m_message.size()) {
        const ssize_t count = ::send(m_socket.get(), m_message.constData() + m_sent, size_t(m_message.size() - m_sent), MSG_NOSIGNAL);
        if (count < 0)
            return isWorthRetrying(errno);
        m_sent += count;
    }
    if (m_sent < m_message.size())
        return true;
    m_isSent = true;
    m_message.clear(); // the system has a copy of what the client has not taken yet
    return shutdown(m_socket.get(), SHUT_WR) == 0;
}

bool ServedConnection::discard()
{
    if (m_clientEnded)
        return true;
    std::array<char, discardedAtOnce> bytes; // left as it is: filling it would take longer than the rest
    const ssize_t count = recv(m_socket.get(), bytes.data(), bytes.size(), 0);
    m_clientEnded = count == 0;
    return count >= 0 || isWorthRetrying(errno);
}

void ServedConnection::look(Clock::time_point now)
{
    int left = 0;
    if (!m_answered || ioctl(m_socket.get(), SIOCOUTQ, &left) != 0)
        return;
    if (const qint64 taken = m_sent - left; taken != m_taken) { // the end of the stream counts as a byte, too
        m_taken = taken;
        m_progress = now;
    }
    m_allTaken = m_isSent && left == 0;
}

bool ServedConnection::observe(Clock::time_point now, std::chrono::milliseconds patience)
{
    look(now);
    return !m_allTaken || (!m_clientEnded && now - m_progress < patience);
}

void ServedConnection::end()
{
    if (!m_isSent) {
        abort();
        return;
    }
    discard();
    m_socket.reset();
}

void ServedConnection::abort()
{
    constexpr linger atOnce = {1, 0};
    setsockopt(m_socket.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    m_socket.reset();
}

} // namespace lanterna
