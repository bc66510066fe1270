#include "tests/fakes/VirtualDispatch.h"

#include <algorithm>

namespace lanterna
{

namespace
{

class VirtualSerialQueue : public SerialQueue
{
public:
    explicit VirtualSerialQueue(std::shared_ptr<TaskQueue> queue) : m_queue(std::move(queue)) { }
    void async(Task task) override { m_queue->post(std::move(task)); }

private:
    std::shared_ptr<TaskQueue> m_queue;
};

} // namespace

std::shared_ptr<SerialQueue> VirtualDispatch::makeSerialQueue()
{
    return std::make_shared<VirtualSerialQueue>(m_queue);
}

TimerHandle VirtualDispatch::cancelling(quint64 timer)
{
    return TimerHandle([queue = std::weak_ptr(m_queue), timer] {
        if (const auto alive = queue.lock())
            alive->cancelTimer(timer);
    });
}

TimerHandle VirtualDispatch::performAfter(std::chrono::milliseconds delay, Task task)
{
    return cancelling(m_queue->addTimer(m_now + std::min(delay, longestDelay), {}, std::move(task)));
}

TimerHandle VirtualDispatch::performEvery(std::chrono::milliseconds period, Task task)
{
    return cancelling(m_queue->addTimer(m_now + std::min(period, longestDelay), std::min(period, longestDelay), std::move(task)));
}

void VirtualDispatch::mainAfter(std::chrono::milliseconds delay, Task task)
{
    m_queue->addTimer(m_now + std::min(delay, longestDelay), {}, std::move(task));
}

QDateTime VirtualDispatch::now() const
{
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(m_now + m_wallOffset);
    return QDateTime(QDate(2026, 3, 1), QTime(12, 0), Qt::UTC).addMSecs(elapsed.count());
}

void VirtualDispatch::runReady()
{
    while (const auto task = m_queue->takeNext(m_now))
        (*task)();
}

void VirtualDispatch::advance(std::chrono::nanoseconds duration)
{
    runReady();
    const auto end = m_now + duration;
    for (auto deadline = m_queue->nextDeadline(); deadline && *deadline <= end; deadline = m_queue->nextDeadline()) {
        m_now = std::max(m_now, *deadline);
        runReady();
    }
    m_now = end;
}

} // namespace lanterna
