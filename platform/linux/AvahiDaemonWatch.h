#pragma once

#include "platform/linux/AvahiBus.h"
#include "platform/linux/AvahiTimer.h"

namespace lanterna
{

/// Notices that avahi-daemon comes, without looking for it again and again: the bus tells. Lives on the thread of an `AvahiLoop`.
class AvahiDaemonWatch
{
public:
    /// How old the watch is at least when it tells. A daemon that falls over again and again shall cost little.
    static constexpr std::chrono::milliseconds pause{3000};
    /// How often a bus that is not there is looked for.
    static constexpr std::chrono::milliseconds busRetry{30000};

    /// `came` is told at once when the daemon comes, and also of one that is there from the beginning, but not before the pause is over. Whoever stands
    /// in for the daemon leaves before it has found out whose name is whose. It must not destroy the watch.
    AvahiDaemonWatch(const AvahiPoll *loop, Task came);
    AvahiDaemonWatch(const AvahiDaemonWatch &) = delete;
    AvahiDaemonWatch &operator=(const AvahiDaemonWatch &) = delete;
    ~AvahiDaemonWatch();

private:
    void connect();
    void disconnect();
    void readMessages();
    void tell();
    static void readable(AvahiWatch *watch, int descriptor, AvahiWatchEvent events, void *self);

    const AvahiPoll *m_loop;
    const std::chrono::steady_clock::time_point m_began = std::chrono::steady_clock::now();
    AvahiTimer m_told;
    AvahiTimer m_retry;
    BusConnection m_bus;
    AvahiWatch *m_watch = nullptr; // of the bus's descriptor
};

} // namespace lanterna
