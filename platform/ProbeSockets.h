#pragma once

#include <QByteArrayView>
#include <QString>

#include <memory>

namespace lanterna
{

/// What a UDP probe socket is opened for.
enum class ProbeAudience {
    host, ///< single hosts
    broadcast, ///< a broadcast address: SO_BROADCAST
    multicast, ///< groups on the link only: IP_MULTICAST_TTL 1
};

/// Sockets that only ask: what they send makes hosts answer the kernel, and nobody reads a reply. None of the calls blocks. Any thread.
class ProbeSockets
{
public:
    /// An open socket for datagrams; dropping it closes it.
    class Datagrams
    {
    public:
        virtual ~Datagrams() = default;
        /// Sends one datagram to a dotted address; `port` is 0 for ICMP. Every error is ignored.
        virtual void sendTo(const QString &address, quint16 port, QByteArrayView payload) = 0;
    };
    struct Opened {
        std::unique_ptr<Datagrams> socket; ///< none when the system refuses
        QString error; ///< the system's text for the refusal
    };

    virtual ~ProbeSockets() = default;
    /// An unprivileged ICMP datagram socket; payloads are whole ICMP messages.
    [[nodiscard]] virtual Opened openICMP() = 0;
    [[nodiscard]] virtual Opened openUDP(ProbeAudience audience) = 0;
    /// Starts a TCP connection that nobody completes; dropping the handle closes it at once. Every error is ignored: the handle may be empty.
    [[nodiscard]] virtual std::shared_ptr<void> startConnect(const QString &address, quint16 port) = 0;
};

} // namespace lanterna
