#include "tests/fakes/VirtualDispatch.h"

#include <algorithm>
#include <cstdlib>
#include <thread>

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

/// One pool task with its thread. It runs only while `running` is set, and the test's thread only while it is not.
struct VirtualDispatch::Worker {
    std::thread thread;
    bool running = false;
    bool ended = false;
};

namespace
{
thread_local std::shared_ptr<void> worker; // of the pool task that runs on this thread; none on the test's thread
}

VirtualDispatch::~VirtualDispatch()
{
    endSleeps();
}

void VirtualDispatch::globalAsync(Task task)
{
    m_queue->post([this, task = std::make_shared<Task>(std::move(task))]() mutable {
        const auto started = std::make_shared<Worker>();
        started->thread = std::thread([this, started, task = std::exchange(task, nullptr)]() mutable {
            worker = started;
            {
                std::unique_lock lock(m_mutex);
                m_handedOver.wait(lock, [&] { return started->running; });
            }
            (*task)();
            task = nullptr;
            const std::lock_guard lock(m_mutex);
            started->running = false;
            started->ended = true;
            m_handedOver.notify_all();
        });
        letRun(started);
    });
}

void VirtualDispatch::letRun(const std::shared_ptr<Worker> &next)
{
    {
        std::unique_lock lock(m_mutex);
        if (next->ended)
            return; // woken before its time, by the end of all sleeps
        m_sleeping.erase(next);
        next->running = true;
        m_handedOver.notify_all();
        m_handedOver.wait(lock, [&] { return !next->running; });
        if (!next->ended)
            return;
    }
    next->thread.join();
}

bool VirtualDispatch::sleepFor(std::chrono::nanoseconds duration)
{
    const auto self = std::static_pointer_cast<Worker>(worker);
    if (!self)
        std::abort(); // the main thread never sleeps
    std::unique_lock lock(m_mutex);
    if (m_ending)
        return false;
    m_queue->addTimer(m_now + duration, {}, [this, self] { letRun(self); });
    m_sleeping.insert(self);
    self->running = false;
    m_handedOver.notify_all();
    m_handedOver.wait(lock, [&] { return self->running; });
    return !m_ending;
}

void VirtualDispatch::endSleeps()
{
    std::set<std::shared_ptr<Worker>> sleeping;
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
        sleeping.swap(m_sleeping);
    }
    for (const auto &sleeper : sleeping)
        letRun(sleeper);
}

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
