#include "platform/linux/Readiness.h"

#include <array>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace lanterna
{

Readiness::Readiness() : m_descriptor(epoll_create1(EPOLL_CLOEXEC)) { }

Readiness::~Readiness()
{
    if (m_descriptor >= 0)
        close(m_descriptor);
}

void Readiness::watch(int descriptor, uint32_t events, const Handler &handler)
{
    epoll_event event = {};
    event.events = events;
    event.data.fd = descriptor;
    const int operation = m_handlers.contains(descriptor) ? EPOLL_CTL_MOD : EPOLL_CTL_ADD;
    if (epoll_ctl(m_descriptor, operation, descriptor, &event) == 0)
        m_handlers[descriptor] = handler;
}

void Readiness::forget(int descriptor)
{
    if (m_handlers.erase(descriptor) > 0)
        epoll_ctl(m_descriptor, EPOLL_CTL_DEL, descriptor, nullptr);
}

void Readiness::wait(std::chrono::milliseconds timeout)
{
    std::array<epoll_event, 32> events = {};
    const int count = epoll_wait(m_descriptor, events.data(), int(events.size()), int(timeout.count()));
    for (int i = 0; i < count; ++i) {
        const auto found = m_handlers.find(events[size_t(i)].data.fd);
        if (found == m_handlers.end())
            continue; // an earlier handler has forgotten it
        const Handler handler = found->second; // a copy: it may forget itself
        handler(events[size_t(i)].events);
    }
}

WakeBell::WakeBell() : m_descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) { }

WakeBell::~WakeBell()
{
    if (m_descriptor >= 0)
        close(m_descriptor);
}

void WakeBell::ring() const
{
    // It can fail only when the bell rings already for a number of times that nobody reaches.
    [[maybe_unused]] const int ignored = eventfd_write(m_descriptor, 1);
}

void WakeBell::quieten() const
{
    eventfd_t count = 0;
    [[maybe_unused]] const int ignored = eventfd_read(m_descriptor, &count);
}

} // namespace lanterna
