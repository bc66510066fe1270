#include "platform/linux/AvahiDaemonWatch.h"

#include <dbus/dbus.h>

#include <algorithm>
#include <utility>

namespace lanterna
{

AvahiDaemonWatch::AvahiDaemonWatch(const AvahiPoll *loop, std::chrono::milliseconds pause, DidCome came)
    : m_loop(loop), m_earliest(std::chrono::steady_clock::now() + pause), m_told(loop, [this, came = std::move(came)] { came(m_justNow); }),
      m_retry(loop, [this] { connect(); })
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
        tell(false);
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
            tell(true);
    }
    if (dbus_connection_get_is_connected(m_bus.get()))
        return;
    disconnect();
    m_retry.start(busRetry);
}

void AvahiDaemonWatch::tell(bool justNow)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_earliest - std::chrono::steady_clock::now());
    m_justNow = justNow && left.count() <= 0;
    m_told.start(std::max(left, std::chrono::milliseconds::zero()));
}

} // namespace lanterna
