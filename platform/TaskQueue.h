#pragma once

#include "platform/Dispatch.h"

#include <deque>
#include <map>
#include <mutex>
#include <optional>

namespace lanterna
{

/// The order in which a main thread runs its tasks: those handed over, first in first out, and timers as they fall due, earliest first.
///
/// Knows no clock; its owner tells it the time. Any thread.
class TaskQueue
{
public:
    using Time = std::chrono::nanoseconds;

    /// Appends a task that can run at once.
    void post(Task task);
    /// Adds a timer that falls due at `deadline`, and every `period` after that unless it is zero. Returns its id, never 0.
    quint64 addTimer(Time deadline, Time period, Task task);
    /// Drops the timer, also when it fell due and waits to run.
    void cancelTimer(quint64 id);

    /// Takes the next task that may run at `now`; none when nothing is due. A repeating timer that missed several beats runs once.
    std::optional<Task> takeNext(Time now);
    /// When the next task may run: `Time::min()` when one waits already, none when there is nothing.
    [[nodiscard]] std::optional<Time> nextDeadline() const;

private:
    struct Timer {
        Time period{};
        std::shared_ptr<Task> task;
    };
    struct Ready {
        quint64 timer; // 0 for a posted task
        std::shared_ptr<Task> task;
    };
    using Key = std::pair<Time, quint64>; // equal deadlines run in the order in which they were added

    void collectDue(Time now);

    mutable std::mutex m_mutex;
    quint64 m_lastId = 0;
    std::map<Key, Timer> m_timers;
    std::map<quint64, Time> m_deadlines; // of the timers in m_timers
    std::deque<Ready> m_ready;
};

} // namespace lanterna
