#include "platform/linux/AvahiDaemonWatch.h"

#include <dbus/dbus.h>

#include <algorithm>
#include <utility>

namespace lanterna
{

AvahiDaemonWatch::AvahiDaemonWatch(const AvahiPoll *loop, Task came)
    : m_loop(loop), m_told(loop, std::move(came)), m_retry(loop, [this] { connect(); })
{
    connect();
}

AvahiDaemonWatch::~AvahiDaemonWatch()
{
    disconnect();
}

void AvahiDaemonWatch::connect()
{
    m_bus = openSystemBus();
    int descriptor = -1;
    // The bus is asked to tell before it is asked what is: nothing is missed in between.
    if (!m_bus || !askForAvahisComing(m_bus.get()) || !dbus_connection_get_unix_fd(m_bus.get(), &descriptor)) {
        m_bus.reset();
        m_retry.start(busRetry);
        return;
    }
    m_watch = m_loop->watch_new(m_loop, descriptor, AVAHI_WATCH_IN, readable, this);
    if (isAvahiOnBus(m_bus.get()))
        tell();
    readMessages();
}

void AvahiDaemonWatch::disconnect()
{
    if (m_watch)
        m_loop->watch_free(std::exchange(m_watch, nullptr));
    m_bus.reset();
}

void AvahiDaemonWatch::readable(AvahiWatch *, int, AvahiWatchEvent, void *self)
{
    static_cast<AvahiDaemonWatch *>(self)->readMessages();
}

void AvahiDaemonWatch::readMessages()
{
    dbus_connection_read_write(m_bus.get(), 0);
    while (const BusMessage message{dbus_connection_pop_message(m_bus.get())}) {
        if (isAvahisComing(message.get()))
            tell();
    }
    if (dbus_connection_get_is_connected(m_bus.get()))
        return;
    disconnect();
    m_retry.start(busRetry);
}

void AvahiDaemonWatch::tell()
{
    const auto age = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - m_began);
    m_told.start(std::max(pause - age, std::chrono::milliseconds::zero()));
}

} // namespace lanterna
