#include "platform/ThreadPool.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>

namespace lanterna
{

namespace
{
constexpr std::size_t maximumThreads = 64; // far above what the program blocks at once; keeps a runaway producer from exhausting the machine
constexpr std::chrono::seconds idleLife{10};
} // namespace

struct ThreadPool::State {
    std::mutex mutex;
    std::condition_variable work;
    std::condition_variable finished;
    std::condition_variable closing; // what sleeping tasks wait for
    std::deque<Task> tasks;
    std::size_t threads = 0;
    std::size_t idle = 0;
    std::size_t sleeping = 0; // threads whose tasks are in sleepFor
    bool closed = false;
};

namespace
{

void serve(const std::shared_ptr<ThreadPool::State> &state)
{
    std::unique_lock lock(state->mutex);
    while (true) {
        ++state->idle;
        state->work.wait_for(lock, idleLife, [&] { return state->closed || !state->tasks.empty(); });
        --state->idle;
        if (state->tasks.empty())
            break; // closed, or idle for long enough
        Task task = std::move(state->tasks.front());
        state->tasks.pop_front();
        lock.unlock();
        task();
        task = nullptr;
        lock.lock();
    }
    --state->threads;
    state->finished.notify_all();
}

/// Starts a thread when tasks wait for one. Tasks that sleep do not count against the ceiling: a sweep sleeps for nearly all of its half minute.
void grow(const std::shared_ptr<ThreadPool::State> &state)
{
    if (state->idle < state->tasks.size() && state->threads - state->sleeping < maximumThreads) {
        try {
            std::thread(serve, state).detach(); // which waits for the lock that is held here
            ++state->threads;
        } catch (const std::system_error &) {
            return; // no thread to be had: the tasks wait for those there are, or for the next call
        }
    }
}

bool submit(const std::shared_ptr<ThreadPool::State> &state, Task task)
{
    const std::lock_guard lock(state->mutex);
    if (state->closed)
        return false;
    state->tasks.push_back(std::move(task));
    grow(state);
    state->work.notify_one();
    return true;
}

class PoolSerialQueue : public SerialQueue
{
public:
    explicit PoolSerialQueue(std::shared_ptr<ThreadPool::State> pool) : m_pool(std::move(pool)), m_state(std::make_shared<Waiting>()) { }

    void async(Task task) override
    {
        const std::lock_guard lock(m_state->mutex);
        m_state->tasks.push_back(std::move(task));
        if (!m_state->draining)
            m_state->draining = submit(m_pool, [state = m_state] { drain(*state); });
    }

private:
    struct Waiting {
        std::mutex mutex;
        std::deque<Task> tasks;
        bool draining = false;
    };

    static void drain(Waiting &state)
    {
        std::unique_lock lock(state.mutex);
        while (!state.tasks.empty()) {
            Task task = std::move(state.tasks.front());
            state.tasks.pop_front();
            lock.unlock();
            task();
            task = nullptr;
            lock.lock();
        }
        state.draining = false;
    }

    std::shared_ptr<ThreadPool::State> m_pool;
    std::shared_ptr<Waiting> m_state;
};

} // namespace

ThreadPool::ThreadPool() : m_state(std::make_shared<State>()) { }

ThreadPool::~ThreadPool()
{
    shutDown(std::chrono::milliseconds::zero());
}

void ThreadPool::run(Task task)
{
    submit(m_state, std::move(task));
}

std::shared_ptr<SerialQueue> ThreadPool::makeSerialQueue()
{
    return std::make_shared<PoolSerialQueue>(m_state);
}

bool ThreadPool::sleepFor(std::chrono::nanoseconds duration)
{
    std::unique_lock lock(m_state->mutex);
    ++m_state->sleeping;
    grow(m_state); // for a task that waits behind this one
    const bool closed = m_state->closing.wait_for(lock, duration, [this] { return m_state->closed; });
    --m_state->sleeping;
    return !closed;
}

bool ThreadPool::shutDown(std::chrono::milliseconds patience)
{
    std::unique_lock lock(m_state->mutex);
    m_state->closed = true;
    m_state->work.notify_all();
    m_state->closing.notify_all();
    return m_state->finished.wait_for(lock, patience, [this] { return m_state->threads == 0; });
}

} // namespace lanterna
