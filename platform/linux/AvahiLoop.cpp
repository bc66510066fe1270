#include "platform/linux/AvahiLoop.h"

#include <avahi-common/timeval.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <system_error>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

using SteadyTime = std::chrono::steady_clock::time_point;

// Avahi leaves the contents of these two to whoever offers the loop. Freed ones stay until the end of a round, because they are freed in the middle.
struct AvahiWatch {
    int descriptor;
    short wanted;
    short happened;
    AvahiWatchCallback callback;
    void *userData;
    bool takesPackets; // of the network; the other descriptors lead to the message bus or the kernel
    bool dead;
};

struct AvahiTimeout {
    bool enabled;
    SteadyTime deadline;
    AvahiTimeoutCallback callback;
    void *userData;
    bool dead;
};

namespace lanterna
{

namespace
{

constexpr size_t largestDatagram = 65536;

/// Bytes that may wait at a socket. All devices answer the questions of a pass at once, and each of their packets counts for about a kilobyte; the
/// kernel's usual 208 KiB hold two hundred of them. The kernel gives as much of it as its owner allows, at least twice the usual.
constexpr int packetsThatWait = 4 << 20;

bool isInternetSocket(int descriptor)
{
    int domain = 0;
    int type = 0;
    socklen_t size = sizeof domain;
    return getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 && getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &size) == 0
        && (domain == AF_INET || domain == AF_INET6) && type == SOCK_DGRAM;
}

void letPacketsWait(int descriptor)
{
    setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &packetsThatWait, sizeof packetsThatWait); // without it, more of them are lost
}

/// How often due timers are looked at between two packets. Avahi keeps all of its events behind one timer and runs one at a time, and an answer from
/// its memory takes several. Were there as many packets as events, those that find their way in a flood would not be told.
constexpr int timerRoundsPerPacket = 64;

/// Avahi names moments of the wall clock, which may jump; the distance from now is what is meant.
void setDeadline(AvahiTimeout *timeout, const timeval *when)
{
    timeout->enabled = when != nullptr;
    if (when)
        timeout->deadline = std::chrono::steady_clock::now() + std::chrono::microseconds(-avahi_age(when));
}

void watchUpdate(AvahiWatch *watch, AvahiWatchEvent events)
{
    watch->wanted = short(events);
}

AvahiWatchEvent watchGetEvents(AvahiWatch *watch)
{
    return AvahiWatchEvent(watch->happened);
}

void watchFree(AvahiWatch *watch)
{
    watch->dead = true;
}

void timeoutFree(AvahiTimeout *timeout)
{
    timeout->dead = true;
}

} // namespace

std::unique_ptr<AvahiLoop> AvahiLoop::start()
{
    const int wakeDescriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wakeDescriptor < 0)
        return nullptr;
    std::unique_ptr<AvahiLoop> loop(new AvahiLoop(wakeDescriptor)); // its constructor is private
    try {
        loop->m_thread = std::thread([self = loop.get()] { self->run(); });
    } catch (const std::system_error &) {
        return nullptr;
    }
    return loop;
}

AvahiLoop::AvahiLoop(int wakeDescriptor) : m_wakeDescriptor(wakeDescriptor)
{
    m_api.userdata = this;
    m_api.watch_new = watchNew;
    m_api.watch_update = watchUpdate;
    m_api.watch_get_events = watchGetEvents;
    m_api.watch_free = watchFree;
    m_api.timeout_new = timeoutNew;
    m_api.timeout_update = setDeadline;
    m_api.timeout_free = timeoutFree;
}

AvahiLoop::~AvahiLoop()
{
    end();
    close(m_wakeDescriptor);
}

void AvahiLoop::end()
{
    if (!m_thread.joinable())
        return;
    post([this] { m_ended = true; });
    m_thread.join();
}

void AvahiLoop::post(Task task)
{
    {
        const std::lock_guard lock(m_mutex);
        m_tasks.push_back(std::move(task));
    }
    constexpr quint64 one = 1;
    [[maybe_unused]] const auto written = write(m_wakeDescriptor, &one, sizeof one);
}

AvahiWatch *AvahiLoop::watchNew(const AvahiPoll *api, int descriptor, AvahiWatchEvent events, AvahiWatchCallback callback, void *userData)
{
    auto *loop = static_cast<AvahiLoop *>(api->userdata);
    const bool takesPackets = isInternetSocket(descriptor);
    if (takesPackets)
        letPacketsWait(descriptor);
    loop->m_watches.push_back(std::make_unique<AvahiWatch>(AvahiWatch{descriptor, short(events), 0, callback, userData, takesPackets, false}));
    return loop->m_watches.back().get();
}

AvahiTimeout *AvahiLoop::timeoutNew(const AvahiPoll *api, const timeval *when, AvahiTimeoutCallback callback, void *userData)
{
    auto *loop = static_cast<AvahiLoop *>(api->userdata);
    loop->m_timeouts.push_back(std::make_unique<AvahiTimeout>(AvahiTimeout{false, {}, callback, userData, false}));
    setDeadline(loop->m_timeouts.back().get(), when);
    return loop->m_timeouts.back().get();
}

void AvahiLoop::run()
{
    pthread_setname_np(pthread_self(), "AvahiLoop");
    while (!m_ended) {
        runTasks();
        if (!m_ended)
            waitForEvents();
        for (int i = 0; i < timerRoundsPerPacket && runTimeouts(); ++i) { }
        m_watches.remove_if([](const auto &watch) { return watch->dead; });
        m_timeouts.remove_if([](const auto &timeout) { return timeout->dead; });
    }
}

void AvahiLoop::runTasks()
{
    std::deque<Task> tasks;
    {
        const std::lock_guard lock(m_mutex);
        tasks.swap(m_tasks);
    }
    for (const Task &task : tasks)
        task();
}

void AvahiLoop::waitForEvents()
{
    std::vector<pollfd> polled = {{m_wakeDescriptor, POLLIN, 0}};
    std::vector<AvahiWatch *> watches;
    for (const auto &watch : m_watches) {
        if (watch->dead)
            continue; // a task has just freed it, and its descriptor may be closed
        polled.push_back({watch->descriptor, watch->wanted, 0});
        watches.push_back(watch.get());
    }
    if (poll(polled.data(), nfds_t(polled.size()), pollTime()) <= 0)
        return;
    quint64 count = 0;
    [[maybe_unused]] const auto got = read(m_wakeDescriptor, &count, sizeof count);
    for (size_t i = 0; i < watches.size(); ++i) {
        if (const short events = polled[i + 1].revents; events != 0 && !watches[i]->dead)
            deliver(*watches[i], events);
    }
}

void AvahiLoop::deliver(AvahiWatch &watch, short events)
{
    if (watch.takesPackets) {
        if (!nextPacketMayPass(watch.descriptor))
            return;
        events = POLLIN; // whatever else there was has been taken, and the embedded stack insists on finding a packet
    }
    watch.happened = events;
    watch.callback(&watch, watch.descriptor, AvahiWatchEvent(events), watch.userData);
    watch.happened = 0;
}

bool AvahiLoop::nextPacketMayPass(int descriptor)
{
    m_packet.resize(largestDatagram);
    const ssize_t size = recv(descriptor, m_packet.data(), m_packet.size(), MSG_PEEK | MSG_DONTWAIT);
    if (size < 0)
        return false; // an error that is hereby taken, or a packet that the kernel found damaged
    if (mayReachMdnsStack(QByteArrayView(m_packet.data(), size), m_role))
        return true;
    recv(descriptor, m_packet.data(), 0, MSG_DONTWAIT); // a datagram goes as a whole
    return false;
}

bool AvahiLoop::runTimeouts()
{
    const SteadyTime now = std::chrono::steady_clock::now();
    std::vector<AvahiTimeout *> due;
    for (const auto &timeout : m_timeouts) {
        if (!timeout->dead && timeout->enabled && timeout->deadline <= now)
            due.push_back(timeout.get());
    }
    for (AvahiTimeout *timeout : due) {
        // One that ran before may have freed, stopped or moved this one.
        if (timeout->dead || !timeout->enabled || timeout->deadline > now)
            continue;
        timeout->enabled = false;
        timeout->callback(timeout, timeout->userData);
    }
    return !due.empty();
}

int AvahiLoop::pollTime() const
{
    int time = -1;
    const SteadyTime now = std::chrono::steady_clock::now();
    for (const auto &timeout : m_timeouts) {
        if (timeout->dead || !timeout->enabled)
            continue;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(timeout->deadline - now).count();
        const int wait = int(std::clamp<decltype(left)>(left, 0, INT_MAX));
        time = time < 0 ? wait : std::min(time, wait);
    }
    return time;
}

} // namespace lanterna
