#pragma once

#include "platform/linux/Descriptor.h"

#include <QByteArray>

namespace lanterna
{

/// A TCP client on loopback, which waits at most twenty seconds for anything.
class StreamClient
{
public:
    /// Connects over IPv4, or IPv6. `receiveBuffer` in bytes; 0 leaves it to the system.
    explicit StreamClient(quint16 port, int receiveBuffer = 0, bool overIPv6 = false);

    [[nodiscard]] bool isConnected() const { return m_connected; }
    [[nodiscard]] int descriptor() const { return m_socket.get(); }
    /// How the stream ended.
    enum class End { endOfStream, reset, nothingCame };
    struct Reading {
        QByteArray bytes;
        End end = End::nothingCame;
        bool operator==(const Reading &) const = default;
    };
    /// Reads to the end.
    [[nodiscard]] Reading readAll();
    /// Reads at most so many bytes in one go; empty at the end.
    QByteArray read(qsizetype atMost);
    /// Sends it all; false when that failed.
    bool send(const QByteArray &bytes);
    /// Ends the own stream.
    void endStream();
    /// Goes away with a reset.
    void reset();
    /// Whether the server has reset the connection.
    [[nodiscard]] bool wasReset() const;

private:
    Descriptor m_socket;
    bool m_connected = false;
};

} // namespace lanterna
