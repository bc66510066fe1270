#pragma once

#include "platform/Dispatch.h"
#include "platform/TaskQueue.h"

namespace lanterna
{

/// A dispatch whose time stands still until a test moves it: main queue, pool, serial queues and timers all run on the test's thread, in a fixed
/// order.
class VirtualDispatch : public Dispatch
{
public:
    void mainAsync(Task task) override { m_queue->post(std::move(task)); }
    void globalAsync(Task task) override { m_queue->post(std::move(task)); }
    std::shared_ptr<SerialQueue> makeSerialQueue() override;
    TimerHandle performAfter(std::chrono::milliseconds delay, Task task) override;
    TimerHandle performEvery(std::chrono::milliseconds period, Task task) override;
    void mainAfter(std::chrono::milliseconds delay, Task task) override;
    [[nodiscard]] QDateTime now() const override;
    [[nodiscard]] std::chrono::nanoseconds steadyNow() const override { return m_now; }

    /// Runs everything that may run now, and what that starts, without moving time.
    void runReady();
    /// Moves time forward, running each task at its own moment.
    void advance(std::chrono::nanoseconds duration);
    /// Sets the wall clock forward or back; the steady clock and the timers do not notice.
    void jumpWallClock(std::chrono::seconds offset) { m_wallOffset += offset; }

private:
    TimerHandle cancelling(quint64 timer);

    std::shared_ptr<TaskQueue> m_queue = std::make_shared<TaskQueue>();
    std::chrono::nanoseconds m_now{0};
    std::chrono::seconds m_wallOffset{0};
};

} // namespace lanterna
