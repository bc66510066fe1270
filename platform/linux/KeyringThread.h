#pragma once

#include "platform/Dispatch.h"

#include <deque>
#include <mutex>

namespace lanterna
{

/// The one thread on which the desktop's keyring is spoken to. The library for that loads others when it is first used and asks the bus in ways that
/// wait, so it stays off the main thread; and its jobs have to stay on one thread with an event loop.
///
/// Made at its first use and never ended: it sleeps between calls, and goes with the process.
class KeyringThread
{
public:
    static KeyringThread &instance();
    KeyringThread(const KeyringThread &) = delete;
    KeyringThread &operator=(const KeyringThread &) = delete;

    /// Runs a task in the thread's event loop, after those already waiting. Any thread.
    void post(Task task);

private:
    KeyringThread();
    [[noreturn]] void run();
    void runWaiting();

    int m_wakeDescriptor;
    std::mutex m_mutex;
    std::deque<Task> m_tasks; // guarded by the mutex
};

} // namespace lanterna
