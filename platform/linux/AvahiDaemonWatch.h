#pragma once

#include "platform/linux/AvahiBus.h"
#include "platform/linux/AvahiTimer.h"

namespace lanterna
{

/// Notices that avahi-daemon comes, without looking for it again and again: the bus tells. Lives on the thread of an `AvahiLoop`.
class AvahiDaemonWatch
{
public:
    /// Between the coming of the daemon and the word of it. It has found its feet then, and one that falls over again at once costs little.
    static constexpr std::chrono::milliseconds pause{5000};
    /// How often a bus that is not there is looked for.
    static constexpr std::chrono::milliseconds busRetry{30000};

    /// `came` is told a while after the daemon has come, also of one that is there from the beginning. It must not destroy the watch.
    AvahiDaemonWatch(const AvahiPoll *loop, Task came);
    AvahiDaemonWatch(const AvahiDaemonWatch &) = delete;
    AvahiDaemonWatch &operator=(const AvahiDaemonWatch &) = delete;
    ~AvahiDaemonWatch();

private:
    void connect();
    void disconnect();
    void readMessages();
    static void readable(AvahiWatch *watch, int descriptor, AvahiWatchEvent events, void *self);

    const AvahiPoll *m_loop;
    AvahiTimer m_told;
    AvahiTimer m_retry;
    BusConnection m_bus;
    AvahiWatch *m_watch = nullptr; // of the bus's descriptor
};

} // namespace lanterna
