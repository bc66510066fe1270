#pragma once

#include <QDateTime>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>
#include <utility>

namespace lanterna
{

using Task = std::function<void()>;

/// Longer delays and periods count as this one: it keeps sums of times inside 64 bits of nanoseconds, and nobody waits for it.
inline constexpr std::chrono::milliseconds longestDelay = std::chrono::hours(24 * 365 * 50);

/// Owns one delayed or repeating task. Dropping or cancelling it means that the task never starts again; a run that is under way ends normally.
///
/// Safe to cancel from any thread, from inside the task itself, and after the dispatch that made it is gone.
class TimerHandle
{
public:
    TimerHandle() = default;
    explicit TimerHandle(Task cancelTask) : m_cancel(std::move(cancelTask)) { }
    TimerHandle(TimerHandle &&other) noexcept : m_cancel(std::exchange(other.m_cancel, nullptr)) { }
    TimerHandle &operator=(TimerHandle &&other) noexcept
    {
        if (this != &other) {
            cancel();
            m_cancel = std::exchange(other.m_cancel, nullptr);
        }
        return *this;
    }
    TimerHandle(const TimerHandle &) = delete;
    TimerHandle &operator=(const TimerHandle &) = delete;
    ~TimerHandle() { cancel(); }

    /// Cancels the task; a second call does nothing.
    void cancel()
    {
        if (const Task cancelTask = std::exchange(m_cancel, nullptr))
            cancelTask();
    }

private:
    Task m_cancel;
};

/// Runs its tasks one after another, in the order of arrival, never on the main thread. Tasks that wait when it is dropped still run.
class SerialQueue
{
public:
    virtual ~SerialQueue() = default;
    /// Appends a task. Any thread.
    virtual void async(Task task) = 0;
};

/// The one source of threads, delays and time: main queue, global pool, serial queues, timers and clocks.
///
/// Every call may be made from any thread. Tasks never run inside the call that hands them over. Nothing runs any more once the dispatch is gone.
class Dispatch
{
public:
    virtual ~Dispatch() = default;

    /// Runs the task on the main thread, after those already waiting.
    virtual void mainAsync(Task task) = 0;
    /// Runs the task on a pool thread. The pool grows while all its threads are busy, so a task that blocks for minutes delays no other.
    virtual void globalAsync(Task task) = 0;
    /// A new serial queue on the pool's threads.
    virtual std::shared_ptr<SerialQueue> makeSerialQueue() = 0;

    /// Runs the task once on the main thread after the delay, unless the handle is dropped or cancelled first.
    [[nodiscard]] virtual TimerHandle performAfter(std::chrono::milliseconds delay, Task task) = 0;
    /// Runs the task on the main thread every period (at least 1 ms), first after one period. A main thread that was held up runs it once, not once
    /// per missed period, and keeps the original beat.
    [[nodiscard]] virtual TimerHandle performEvery(std::chrono::milliseconds period, Task task) = 0;
    /// Runs the task once on the main thread after the delay; it cannot be cancelled.
    virtual void mainAfter(std::chrono::milliseconds delay, Task task) = 0;

    /// Holds the calling pool thread for the duration, as exactly as the machine can. False, and at once, when the program is about to end: the
    /// caller then ends its work. Never on the main thread.
    [[nodiscard]] virtual bool sleepFor(std::chrono::nanoseconds duration) = 0;

    /// The wall clock, UTC. It may jump.
    [[nodiscard]] virtual QDateTime now() const = 0;
    /// Time since some fixed moment; never goes back, and stands still while the machine sleeps.
    [[nodiscard]] virtual std::chrono::nanoseconds steadyNow() const = 0;
};

} // namespace lanterna
