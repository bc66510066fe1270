#pragma once

#include "platform/Dispatch.h"
#include "platform/linux/MdnsPacket.h"

#include <avahi-common/watch.h>

#include <deque>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

namespace lanterna
{

/// A thread on which Avahi's libraries live: an event loop of the kind they ask for, and tasks from other threads.
///
/// All calls to Avahi are made on this thread, from tasks or from Avahi's own callbacks. Between them it sleeps. Packets that the embedded stack
/// must not see (`mayReachMdnsStack`) are taken off its sockets unread.
class AvahiLoop
{
public:
    /// Starts the thread. None when the system has no thread or descriptor left.
    static std::unique_ptr<AvahiLoop> start();
    ~AvahiLoop();
    AvahiLoop(const AvahiLoop &) = delete;
    AvahiLoop &operator=(const AvahiLoop &) = delete;

    /// Runs the tasks that wait, ends the thread and waits for its end: as long as the tasks take. Nothing of Avahi may be left then. A second call
    /// does nothing, and so does the destructor behind it.
    void end();
    /// Runs a task on the thread, after those that wait. Any thread; never runs inside the call.
    void post(Task task);
    /// Says which packets of the network may pass from now on; those for an asker at first. On the loop's thread.
    void setRole(MdnsRole role) { m_role = role; }
    /// What Avahi's constructors take.
    [[nodiscard]] const AvahiPoll *api() const { return &m_api; }

private:
    explicit AvahiLoop(int wakeDescriptor);
    static AvahiWatch *watchNew(const AvahiPoll *api, int descriptor, AvahiWatchEvent events, AvahiWatchCallback callback, void *userData);
    static AvahiTimeout *timeoutNew(const AvahiPoll *api, const timeval *when, AvahiTimeoutCallback callback, void *userData);
    void run();
    void runTasks();
    void waitForEvents();
    void deliver(AvahiWatch &watch, short events);
    bool nextPacketMayPass(int descriptor);
    bool runTimeouts();
    [[nodiscard]] int pollTime() const;

    AvahiPoll m_api{};
    int m_wakeDescriptor;
    std::mutex m_mutex;
    std::deque<Task> m_tasks; // guarded by the mutex
    bool m_ended = false; // the rest belongs to the thread
    std::list<std::unique_ptr<AvahiWatch>> m_watches;
    std::list<std::unique_ptr<AvahiTimeout>> m_timeouts;
    std::vector<char> m_packet;
    MdnsRole m_role = MdnsRole::asker;
    std::thread m_thread;
};

} // namespace lanterna
