#pragma once

#include "platform/Dispatch.h"

#include <avahi-common/timeval.h>
#include <avahi-common/watch.h>

#include <chrono>

namespace lanterna
{

/// A timer of an `AvahiLoop`, on its thread. It runs its task once for each start.
class AvahiTimer
{
public:
    AvahiTimer(const AvahiPoll *loop, Task task)
        : m_loop(loop), m_task(std::move(task)), m_timeout(loop->timeout_new(loop, nullptr, called, this)) { }
    AvahiTimer(const AvahiTimer &) = delete;
    AvahiTimer &operator=(const AvahiTimer &) = delete;
    ~AvahiTimer() { m_loop->timeout_free(m_timeout); }

    /// Starts it, afresh where it runs already.
    void start(std::chrono::milliseconds delay)
    {
        timeval when{};
        avahi_elapse_time(&when, unsigned(delay.count()), 0);
        m_loop->timeout_update(m_timeout, &when);
    }
    void stop() { m_loop->timeout_update(m_timeout, nullptr); }

private:
    static void called(AvahiTimeout *, void *self) { static_cast<AvahiTimer *>(self)->m_task(); }

    const AvahiPoll *m_loop;
    Task m_task;
    AvahiTimeout *m_timeout;
};

} // namespace lanterna
