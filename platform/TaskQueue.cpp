#include "platform/TaskQueue.h"

#include <algorithm>

namespace lanterna
{

void TaskQueue::post(Task task)
{
    const std::lock_guard lock(m_mutex);
    m_ready.push_back({0, std::make_shared<Task>(std::move(task))});
}

quint64 TaskQueue::addTimer(Time deadline, Time period, Task task)
{
    const std::lock_guard lock(m_mutex);
    const quint64 id = ++m_lastId;
    m_timers.emplace(Key{deadline, id}, Timer{period, std::make_shared<Task>(std::move(task))});
    m_deadlines.emplace(id, deadline);
    return id;
}

void TaskQueue::cancelTimer(quint64 id)
{
    std::vector<std::shared_ptr<Task>> dying; // what a task holds is released after the lock
    const std::lock_guard lock(m_mutex);
    if (const auto deadline = m_deadlines.find(id); deadline != m_deadlines.end()) {
        const auto timer = m_timers.find(Key{deadline->second, id});
        dying.push_back(std::move(timer->second.task));
        m_timers.erase(timer);
        m_deadlines.erase(deadline);
    }
    const auto waiting = std::find_if(m_ready.begin(), m_ready.end(), [id](const Ready &ready) { return ready.timer == id; });
    if (waiting != m_ready.end()) {
        dying.push_back(std::move(waiting->task));
        m_ready.erase(waiting);
    }
}

void TaskQueue::collectDue(Time now)
{
    while (!m_timers.empty() && m_timers.begin()->first.first <= now) {
        auto node = m_timers.extract(m_timers.begin());
        const auto [deadline, id] = node.key();
        m_ready.push_back({id, node.mapped().task});
        const Time period = node.mapped().period;
        if (period <= Time::zero()) {
            m_deadlines.erase(id);
            continue;
        }
        const Time next = deadline + period * ((now - deadline) / period + 1);
        m_deadlines[id] = next;
        node.key() = Key{next, id};
        m_timers.insert(std::move(node));
    }
}

std::optional<Task> TaskQueue::takeNext(Time now)
{
    std::shared_ptr<Task> task;
    {
        const std::lock_guard lock(m_mutex);
        collectDue(now);
        if (m_ready.empty())
            return std::nullopt;
        task = std::move(m_ready.front().task);
        m_ready.pop_front();
    }
    return [task = std::move(task)] { (*task)(); };
}

std::optional<TaskQueue::Time> TaskQueue::nextDeadline() const
{
    const std::lock_guard lock(m_mutex);
    if (!m_ready.empty())
        return Time::min();
    if (m_timers.empty())
        return std::nullopt;
    return m_timers.begin()->first.first;
}

} // namespace lanterna
