#pragma once

#include "platform/Dispatch.h"

namespace lanterna
{

/// Knows which of the tasks that it saw have not run yet, for a program that is about to end and would like them to. Any thread.
class OutstandingTasks
{
public:
    OutstandingTasks();

    /// The same task, which counts as outstanding from now until it, and every copy of it, has run and gone, or was dropped without running.
    [[nodiscard]] Task tracked(Task task);
    /// Waits until no task is outstanding, at most `patience`; false when some still are. At once when there is none. Never from a tracked task.
    [[nodiscard]] bool wait(std::chrono::milliseconds patience);

private:
    struct State;
    std::shared_ptr<State> m_state; // shared with the tasks, which may outlive this object
};

} // namespace lanterna
