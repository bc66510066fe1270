#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>

namespace lanterna
{

/// Waits for many descriptors at once on one thread, whatever their numbers are (epoll). For one thread only.
class Readiness
{
public:
    /// Gets the epoll events that have come.
    using Handler = std::function<void(uint32_t events)>;

    Readiness();
    ~Readiness();
    Readiness(const Readiness &) = delete;
    Readiness &operator=(const Readiness &) = delete;

    /// False when the system has no descriptor left for it; then nothing can be watched.
    [[nodiscard]] bool valid() const { return m_descriptor >= 0; }
    /// Watches a descriptor for the epoll events; replaces what was watched for it before.
    void watch(int descriptor, uint32_t events, const Handler &handler);
    /// Must come before the descriptor is closed. Also from inside a handler.
    void forget(int descriptor);
    /// Waits for the first event or the time-out and runs the handlers of all that are ready.
    void wait(std::chrono::milliseconds timeout);

private:
    int m_descriptor;
    std::map<int, Handler> m_handlers;
};

/// Wakes a thread that waits. `ring` from any thread.
class WakeBell
{
public:
    WakeBell();
    ~WakeBell();
    WakeBell(const WakeBell &) = delete;
    WakeBell &operator=(const WakeBell &) = delete;

    /// Readable from the ring until `quieten`; negative when the system had none left.
    [[nodiscard]] int descriptor() const { return m_descriptor; }
    void ring() const;
    void quieten() const;

private:
    int m_descriptor;
};

} // namespace lanterna
