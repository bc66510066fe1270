#include "platform/OutstandingTasks.h"

#include <condition_variable>
#include <mutex>

namespace lanterna
{

struct OutstandingTasks::State {
    std::mutex mutex;
    std::condition_variable changed;
    std::size_t count = 0;

    void add(int change)
    {
        const std::lock_guard lock(mutex);
        count += std::size_t(change);
        changed.notify_all();
    }
};

OutstandingTasks::OutstandingTasks() : m_state(std::make_shared<State>()) { }

Task OutstandingTasks::tracked(Task task)
{
    m_state->add(1);
    const std::shared_ptr<void> token(nullptr, [state = m_state](void *) { state->add(-1); });
    return [token, run = std::move(task)] { run(); };
}

bool OutstandingTasks::wait(std::chrono::milliseconds patience)
{
    std::unique_lock lock(m_state->mutex);
    return m_state->changed.wait_for(lock, patience, [this] { return m_state->count == 0; });
}

} // namespace lanterna
