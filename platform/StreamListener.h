#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>

namespace lanterna
{

/// A client that has connected. Dropping it unanswered disconnects the client.
class StreamConnection
{
public:
    virtual ~StreamConnection() = default;
    /// Sends the bytes and then the end of the stream, at the client's pace; what the client sends is ignored. Once at most. Any thread; returns at
    /// once, and the connection may be dropped then. Connections that are given the same array share its bytes.
    virtual void sendFinalMessage(const QByteArray &bytes) = 0;
};

/// A TCP server on a port of the system's choice, on all interfaces, over IPv4 and IPv6.
class StreamListener
{
public:
    /// Called on the listener's thread, which should not be held up.
    using NewConnection = std::function<void(std::shared_ptr<StreamConnection> connection)>;
    /// It listens no more. At most once, on the listener's thread.
    using Failed = std::function<void(const QString &error)>;
    struct Started {
        quint16 port = 0; ///< 0 when it could not start
        QString error; ///< why it could not, for people: "Too many open files"
    };

    virtual ~StreamListener() = default;
    /// Starts listening. Once; any thread. Neither callback is called any more when the listener is gone.
    [[nodiscard]] virtual Started start(NewConnection newConnection, Failed failed) = 0;
};

} // namespace lanterna
