#pragma once

#include "platform/Dispatch.h"
#include "platform/TaskQueue.h"
#include "platform/ThreadPool.h"

#include <QSocketNotifier>

#include <mutex>

namespace lanterna
{

/// The dispatch of the running program: the main queue lives in Qt's event loop on the thread that creates it, everything else on a growing pool.
///
/// Threads hand work over through a mutex-guarded queue and wake the event loop through file descriptors; Qt's own cross-thread posting is not used.
/// Create it after the application object and on the same thread, and destroy it there.
class QtDispatch : public Dispatch
{
public:
    QtDispatch();
    ~QtDispatch() override;
    QtDispatch(const QtDispatch &) = delete;
    QtDispatch &operator=(const QtDispatch &) = delete;

    void mainAsync(Task task) override;
    void globalAsync(Task task) override;
    std::shared_ptr<SerialQueue> makeSerialQueue() override;
    TimerHandle performAfter(std::chrono::milliseconds delay, Task task) override;
    TimerHandle performEvery(std::chrono::milliseconds period, Task task) override;
    void mainAfter(std::chrono::milliseconds delay, Task task) override;
    [[nodiscard]] bool sleepFor(std::chrono::nanoseconds duration) override;
    [[nodiscard]] QDateTime now() const override;
    [[nodiscard]] std::chrono::nanoseconds steadyNow() const override;

    /// Ends the pool, waiting at most `patience`. False when tasks still run; the program must then leave by `_Exit`.
    bool shutDown(std::chrono::milliseconds patience);

private:
    quint64 addTimer(std::chrono::milliseconds delay, std::chrono::milliseconds period, Task task);
    void wake();
    void arm();
    void runReady();

    std::shared_ptr<TaskQueue> m_queue; // shared with the handles, which may outlive the dispatch
    ThreadPool m_pool;
    std::mutex m_armMutex; // the timer is set to the deadline that was read under it
    int m_wakeDescriptor;
    int m_timerDescriptor;
    QSocketNotifier m_wakeNotifier;
    QSocketNotifier m_timerNotifier;
};

} // namespace lanterna
