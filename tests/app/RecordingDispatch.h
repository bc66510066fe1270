#pragma once

#include "tests/fakes/VirtualDispatch.h"

namespace lanterna
{

/// A virtual dispatch that says what it is given, and when each of its timers fires for the first time.
class RecordingDispatch : public Dispatch
{
public:
    /// Receives a line as a task is handed over, and with `fires` as a timer's first run begins.
    using Record = std::function<void(const QString &line, bool fires)>;

    RecordingDispatch(VirtualDispatch &dispatch, Record record) : m_dispatch(dispatch), m_record(std::move(record)) { }

    void mainAsync(Task task) override
    {
        m_record(QStringLiteral("main queue"), false);
        m_dispatch.mainAsync(std::move(task));
    }
    void globalAsync(Task task) override
    {
        m_record(QStringLiteral("pool"), false);
        m_dispatch.globalAsync(std::move(task));
    }
    std::shared_ptr<SerialQueue> makeSerialQueue() override { return m_dispatch.makeSerialQueue(); }
    TimerHandle performAfter(std::chrono::milliseconds delay, Task task) override
    {
        return m_dispatch.performAfter(delay, announced(QStringLiteral("after"), delay, std::move(task)));
    }
    TimerHandle performEvery(std::chrono::milliseconds period, Task task) override
    {
        return m_dispatch.performEvery(period, announced(QStringLiteral("every"), period, std::move(task)));
    }
    void mainAfter(std::chrono::milliseconds delay, Task task) override
    {
        m_record(QStringLiteral("after %1 ms").arg(delay.count()), false);
        m_dispatch.mainAfter(delay, std::move(task));
    }
    [[nodiscard]] bool sleepFor(std::chrono::nanoseconds duration) override { return m_dispatch.sleepFor(duration); }
    [[nodiscard]] QDateTime now() const override { return m_dispatch.now(); }
    [[nodiscard]] std::chrono::nanoseconds steadyNow() const override { return m_dispatch.steadyNow(); }

private:
    /// Numbers the timer, says that it is there, and has its task say so when it first runs.
    Task announced(const QString &kind, std::chrono::milliseconds time, Task task)
    {
        const QString timer = QStringLiteral("timer %1 %2 %3 ms").arg(++m_timers).arg(kind).arg(time.count());
        m_record(timer, false);
        return [record = m_record, timer, task = std::move(task), first = true]() mutable {
            if (std::exchange(first, false))
                record(timer, true);
            task();
        };
    }

    VirtualDispatch &m_dispatch;
    Record m_record;
    int m_timers = 0;
};

} // namespace lanterna
