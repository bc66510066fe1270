#pragma once

#include "platform/Dispatch.h"

namespace lanterna
{

/// Threads for work that may block. A task waits for a thread only when 64 others are at work: until then the pool grows whenever all its threads are
/// busy. Tasks in `sleepFor` are not at work. A thread that found nothing to do for ten seconds ends. Where the system refuses a thread the task waits
/// for one that is there already, or until the pool is next asked for something.
class ThreadPool
{
public:
    ThreadPool();
    ~ThreadPool();
    ThreadPool(const ThreadPool &) = delete;
    ThreadPool &operator=(const ThreadPool &) = delete;

    /// Runs the task on one of the threads. Any thread. Ignored after `shutDown`.
    void run(Task task);
    /// A queue whose tasks run one at a time on these threads.
    std::shared_ptr<SerialQueue> makeSerialQueue();
    /// Holds the calling task for the duration. False, and at once, after `shutDown`.
    bool sleepFor(std::chrono::nanoseconds duration);
    /// Takes no more tasks, ends every `sleepFor`, and waits at most `patience` until those it has are done. False when some still run: the caller must
    /// then leave without destroying what they use.
    bool shutDown(std::chrono::milliseconds patience);

    struct State;

private:
    std::shared_ptr<State> m_state; // shared with the threads, which may outlive the pool
};

} // namespace lanterna
