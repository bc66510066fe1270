#pragma once

#include "platform/Dispatch.h"
#include "platform/SystemLog.h"
#include "platform/linux/NetworkState.h"

#include <QSocketNotifier>

#include <functional>
#include <memory>
#include <optional>

struct mnl_socket;

namespace lanterna
{

/// Tells when the state of the network differs from what it was.
///
/// The kernel's messages are only a hint to look: whatever arrives, and also the news that messages were lost, leads to one fresh reading a moment
/// later. Main thread only. The dispatch must outlive it.
class NetworkWatcher
{
public:
    /// Reads the present state; none when the kernel cannot be asked just now.
    using Reader = std::function<std::optional<NetworkState>()>;

    /// Messages come in bursts (one cable pulled makes about ten), so a reading waits this long after the first one.
    static constexpr std::chrono::milliseconds settlingTime{50};

    NetworkWatcher(Dispatch &dispatch, SystemLog &log, Reader reader, std::function<void()> changed);
    ~NetworkWatcher();

    /// Subscribes and takes the first reading. Where the system refuses the subscription one log line says so, and no change is ever told.
    void start();

private:
    bool subscribe();
    void messagesArrived();
    void look();

    Dispatch &m_dispatch;
    SystemLog &m_log;
    Reader m_reader;
    std::function<void()> m_changed;
    struct SocketCloser {
        void operator()(mnl_socket *socket) const;
    };
    std::unique_ptr<mnl_socket, SocketCloser> m_socket;
    std::unique_ptr<QSocketNotifier> m_notifier; // goes before its socket
    std::optional<NetworkState> m_state; // the last one that could be read
    bool m_lookPlanned = false;
    TimerHandle m_lookTimer;
};

} // namespace lanterna
