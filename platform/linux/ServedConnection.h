#pragma once

#include "platform/linux/Descriptor.h"

#include <QByteArray>

#include <chrono>
#include <cstdint>

namespace lanterna
{

/// The server's end of one TCP connection: sends one message, then the end of the stream, and throws away whatever the client sends. For one thread
/// at a time; no call waits.
///
/// It ends when the client has taken everything and has ended its own stream, or some time after it has taken everything: a socket that is closed
/// while bytes of the client lie unread in it resets the connection, and the client may lose what it has not read yet.
class ServedConnection
{
public:
    using Clock = std::chrono::steady_clock;

    /// The socket does not block.
    ServedConnection(Descriptor socket, Clock::time_point accepted) : m_socket(std::move(socket)), m_progress(accepted) { }

    [[nodiscard]] int descriptor() const { return m_socket.get(); }
    /// Whether the message is there.
    [[nodiscard]] bool isAnswered() const { return m_answered; }
    /// Takes the message and sends what the system takes of it now. False when the connection has ended.
    [[nodiscard]] bool answer(const QByteArray &message, Clock::time_point now);
    /// Sends and throws away what goes at once, after epoll events. False when the connection has ended.
    [[nodiscard]] bool goOn(uint32_t events, Clock::time_point now);
    /// The epoll events that it waits for.
    [[nodiscard]] uint32_t events() const;

    /// Asks the system what the client has taken meanwhile. False when it took everything longer than `patience` ago.
    [[nodiscard]] bool observe(Clock::time_point now, std::chrono::milliseconds patience);
    /// When the client was last seen to have taken a byte; when it came, for one that has taken none.
    [[nodiscard]] Clock::time_point progress() const { return m_progress; }

    /// Ends it for good. A client that has not been sent everything is told so by a reset: half a message must not look like a whole one.
    void end();
    /// Ends it with a reset, which also frees at once what the system holds for the client.
    void abort();

private:
    bool send();
    bool discard();
    void look(Clock::time_point now);

    Descriptor m_socket;
    QByteArray m_message; ///< shares the bytes with everybody who was given it
    qsizetype m_sent = 0; ///< handed to the system
    qint64 m_taken = 0; ///< acknowledged by the client's system
    Clock::time_point m_progress;
    bool m_answered = false;
    bool m_isSent = false; ///< with the end of the stream
    bool m_allTaken = false; ///< with the end of the stream
    bool m_clientEnded = false;
};

} // namespace lanterna
