#include "platform/linux/QtDispatch.h"

#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>

namespace lanterna
{

namespace
{

constexpr int tasksPerTurn = 256; // then other event sources get their turn

void drain(int descriptor)
{
    quint64 count = 0;
    [[maybe_unused]] const auto got = read(descriptor, &count, sizeof count);
}

itimerspec oneShot(std::chrono::nanoseconds deadline)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(deadline);
    itimerspec value{};
    value.it_value.tv_sec = seconds.count();
    value.it_value.tv_nsec = (deadline - seconds).count();
    return value;
}

} // namespace

QtDispatch::QtDispatch()
    : m_queue(std::make_shared<TaskQueue>()), m_wakeDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_timerDescriptor(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)), m_wakeNotifier(m_wakeDescriptor, QSocketNotifier::Read),
      m_timerNotifier(m_timerDescriptor, QSocketNotifier::Read)
{
    if (m_wakeDescriptor < 0 || m_timerDescriptor < 0)
        qFatal("no file descriptor left for the main queue");
    const auto activated = [this] { runReady(); };
    QObject::connect(&m_wakeNotifier, &QSocketNotifier::activated, activated);
    QObject::connect(&m_timerNotifier, &QSocketNotifier::activated, activated);
}

QtDispatch::~QtDispatch()
{
    m_pool.shutDown(std::chrono::milliseconds::zero());
    m_wakeNotifier.setEnabled(false);
    m_timerNotifier.setEnabled(false);
    close(m_wakeDescriptor);
    close(m_timerDescriptor);
}

void QtDispatch::mainAsync(Task task)
{
    m_queue->post(std::move(task));
    wake();
}

void QtDispatch::globalAsync(Task task)
{
    m_pool.run(std::move(task));
}

std::shared_ptr<SerialQueue> QtDispatch::makeSerialQueue()
{
    return m_pool.makeSerialQueue();
}

quint64 QtDispatch::addTimer(std::chrono::milliseconds delay, std::chrono::milliseconds period, Task task)
{
    const quint64 id = m_queue->addTimer(steadyNow() + std::min(delay, longestDelay), period, std::move(task));
    arm();
    return id;
}

TimerHandle QtDispatch::performAfter(std::chrono::milliseconds delay, Task task)
{
    const quint64 id = addTimer(delay, std::chrono::milliseconds::zero(), std::move(task));
    return TimerHandle([queue = std::weak_ptr(m_queue), id] {
        if (const auto alive = queue.lock())
            alive->cancelTimer(id);
    });
}

TimerHandle QtDispatch::performEvery(std::chrono::milliseconds period, Task task)
{
    const auto beat = std::clamp(period, std::chrono::milliseconds(1), longestDelay);
    const quint64 id = addTimer(beat, beat, std::move(task));
    return TimerHandle([queue = std::weak_ptr(m_queue), id] {
        if (const auto alive = queue.lock())
            alive->cancelTimer(id);
    });
}

void QtDispatch::mainAfter(std::chrono::milliseconds delay, Task task)
{
    addTimer(delay, std::chrono::milliseconds::zero(), std::move(task));
}

bool QtDispatch::sleepFor(std::chrono::nanoseconds duration)
{
    return m_pool.sleepFor(duration);
}

QDateTime QtDispatch::now() const
{
    return QDateTime::currentDateTimeUtc();
}

std::chrono::nanoseconds QtDispatch::steadyNow() const
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

bool QtDispatch::shutDown(std::chrono::milliseconds patience)
{
    return m_pool.shutDown(patience);
}

void QtDispatch::wake()
{
    constexpr quint64 one = 1;
    [[maybe_unused]] const auto written = write(m_wakeDescriptor, &one, sizeof one);
}

void QtDispatch::arm()
{
    const std::lock_guard lock(m_armMutex);
    const auto deadline = m_queue->nextDeadline();
    if (deadline == TaskQueue::Time::min()) {
        wake();
        return;
    }
    // A zero time would disarm the timer, so a deadline in the distant past still counts as a nanosecond.
    const itimerspec value = deadline ? oneShot(std::max(*deadline, std::chrono::nanoseconds(1))) : itimerspec{};
    timerfd_settime(m_timerDescriptor, TFD_TIMER_ABSTIME, &value, nullptr);
}

void QtDispatch::runReady()
{
    drain(m_wakeDescriptor);
    drain(m_timerDescriptor);
    for (int count = 0; count < tasksPerTurn; ++count) {
        const auto task = m_queue->takeNext(steadyNow());
        if (!task)
            break;
        (*task)();
    }
    arm();
}

} // namespace lanterna
