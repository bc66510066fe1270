#pragma once

#include "platform/KernelTables.h"
#include "platform/linux/Readiness.h"

#include <QHash>
#include <QList>
#include <QString>

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace lanterna
{

/// The machine's own address (host order) in the network that it shares with the address; none when there is a router in between.
[[nodiscard]] std::optional<quint32> ownAddressBeside(quint32 address, const QList<InterfaceAddress> &interfaces);

/// Asks devices for their own names by multicast DNS, which needs no daemon on this machine. For one thread only; nothing blocks.
///
/// Each device is asked at its own address (RFC 6762, 5.5), which disturbs nobody else. That makes it a neighbour in the kernel's table, which is
/// small; so after the first 512 devices, those in the machine's own networks are asked together, sixteen in one datagram to all.
///
/// A device is asked three times; a question that cannot leave until the next one is due is as good as lost on its way. Only replies from its own address and
/// port to the question that was put to it are heard, until the object goes.
class DeviceNames
{
public:
    using Clock = std::chrono::steady_clock;

    /// Addresses are in host order. No callback comes from inside a call but for those of `timePassed`.
    struct Listener {
        std::function<void(quint32 address, const QString &name)> named; // once for each address
        std::function<void(quint32 address)> quiet; // nothing yet, after the time of an ordinary answer
        std::function<void(quint32 address)> finished; // nothing, and nothing is expected any more
    };

    /// `patience` is the time of an ordinary answer; a device has finished after two and a half times that.
    DeviceNames(Readiness &readiness, quint16 port, std::chrono::milliseconds patience, Listener listener);
    ~DeviceNames();
    DeviceNames(const DeviceNames &) = delete;
    DeviceNames &operator=(const DeviceNames &) = delete;

    /// The first question leaves with the next `timePassed`.
    void ask(quint32 address, Clock::time_point now);
    /// The answer is of no interest any more.
    void forget(quint32 address) { m_ids.remove(address); }
    /// Asks again where it is time, and tells who stays silent; to be called every few dozen milliseconds.
    void timePassed(Clock::time_point now);

private:
    struct Due {
        quint32 address;
        size_t step; // index in the plan
        std::optional<Clock::time_point> taken = {}; // up for the first time
    };

    [[nodiscard]] std::chrono::milliseconds untilNext(size_t step) const;
    bool openSocket();
    bool send(quint32 address);
    void sendTogether();
    bool carryOut(const Due &due);
    void receive(int socket);
    void heard(quint32 address, QByteArrayView packet);

    Readiness &m_readiness;
    quint16 m_port;
    const std::chrono::milliseconds m_patience;
    Listener m_listener;
    std::vector<int> m_sockets;
    size_t m_current = 0; // the socket that took the last question
    QHash<quint32, quint16> m_ids; // of those whose answer is awaited
    std::multimap<Clock::time_point, Due> m_due;
    const QList<InterfaceAddress> m_interfaces;
    const quint16 m_sharedId; // of questions that are asked together
    qsizetype m_alone = 0; // devices that are asked at their own addresses
    QHash<quint32, quint32> m_together; // the others, with the address of ours from which they are asked
    std::map<quint32, QList<quint32>> m_waitingTogether; // by that address, to be sent when the present beat is over
};

} // namespace lanterna
