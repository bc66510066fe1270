#pragma once

#include "platform/linux/AvahiBus.h"
#include "platform/linux/AvahiTimer.h"

namespace lanterna
{

/// Notices that avahi-daemon comes, without looking for it again and again: the bus tells. Lives on the thread of an `AvahiLoop`.
class AvahiDaemonWatch
{
public:
    /// A pause for a watch behind the end of the daemon: one that falls over again and again shall cost little.
    static constexpr std::chrono::milliseconds pauseBehindEnd{3000};
    /// How often a bus that is not there is looked for.
    static constexpr std::chrono::milliseconds busRetry{30000};

    using DidCome = std::function<void(bool justNow)>;

    /// `came` is told at once when the daemon comes, and also of one that is there from the beginning, but not within the pause. Told just now, whoever
    /// stands in for the daemon can leave before it has found out which names are taken. It must not destroy the watch.
    AvahiDaemonWatch(const AvahiPoll *loop, std::chrono::milliseconds pause, DidCome came);
    AvahiDaemonWatch(const AvahiDaemonWatch &) = delete;
    AvahiDaemonWatch &operator=(const AvahiDaemonWatch &) = delete;
    ~AvahiDaemonWatch();

private:
    void connect();
    void disconnect();
    void readMessages();
    void tell(bool justNow);
    static void readable(AvahiWatch *watch, int descriptor, AvahiWatchEvent events, void *self);

    const AvahiPoll *m_loop;
    const std::chrono::steady_clock::time_point m_earliest;
    bool m_justNow = false;
    AvahiTimer m_told;
    AvahiTimer m_retry;
    BusConnection m_bus;
    AvahiWatch *m_watch = nullptr; // of the bus's descriptor
};

} // namespace lanterna
