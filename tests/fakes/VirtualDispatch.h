#pragma once

#include "platform/Dispatch.h"
#include "platform/TaskQueue.h"

#include <condition_variable>
#include <mutex>
#include <set>

namespace lanterna
{

/// A dispatch whose time stands still until a test moves it: main queue, serial queues and timers run on the test's thread, in a fixed order.
///
/// A pool task runs on a thread of its own, but only while the test's thread waits for it: never do two run at once, and what they do comes in the
/// same order in every run. A task that sleeps hands control back until time has moved far enough.
class VirtualDispatch : public Dispatch
{
public:
    VirtualDispatch() = default;
    /// Wakes the sleeping tasks, as the end of the program does, and waits for their ends.
    ~VirtualDispatch() override;
    VirtualDispatch(const VirtualDispatch &) = delete;
    VirtualDispatch &operator=(const VirtualDispatch &) = delete;

    void mainAsync(Task task) override { m_queue->post(std::move(task)); }
    void globalAsync(Task task) override;
    std::shared_ptr<SerialQueue> makeSerialQueue() override;
    TimerHandle performAfter(std::chrono::milliseconds delay, Task task) override;
    TimerHandle performEvery(std::chrono::milliseconds period, Task task) override;
    void mainAfter(std::chrono::milliseconds delay, Task task) override;
    [[nodiscard]] bool sleepFor(std::chrono::nanoseconds duration) override;
    [[nodiscard]] QDateTime now() const override;
    [[nodiscard]] std::chrono::nanoseconds steadyNow() const override { return m_now; }

    /// Runs everything that may run now, and what that starts, without moving time.
    void runReady();
    /// Moves time forward, running each task at its own moment.
    void advance(std::chrono::nanoseconds duration);
    /// Sets the wall clock forward or back; the steady clock and the timers do not notice.
    void jumpWallClock(std::chrono::seconds offset) { m_wallOffset += offset; }
    /// Wakes the sleeping tasks for good: their sleeps answer false.
    void endSleeps();

private:
    struct Worker;

    TimerHandle cancelling(quint64 timer);
    void letRun(const std::shared_ptr<Worker> &worker);

    std::shared_ptr<TaskQueue> m_queue = std::make_shared<TaskQueue>();
    std::chrono::nanoseconds m_now{0};
    std::chrono::seconds m_wallOffset{0};

    std::mutex m_mutex; // guards the workers' states
    std::condition_variable m_handedOver;
    std::set<std::shared_ptr<Worker>> m_sleeping;
    bool m_ending = false;
};

} // namespace lanterna
