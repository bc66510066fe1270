#pragma once

#include <QSocketNotifier>

#include <atomic>
#include <functional>
#include <memory>

namespace lanterna
{

/// Turns SIGTERM, SIGINT and SIGHUP into a call on the main thread. One per process; needs the application object.
///
/// Handlers, not a blocked mask: a mask would be inherited by every program that this one starts. A signal that is ignored when the program
/// starts (nohup) stays ignored.
class TerminationSignals
{
public:
    explicit TerminationSignals(std::function<void()> terminate);
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals &) = delete;
    TerminationSignals &operator=(const TerminationSignals &) = delete;

private:
    static void handle(int number);

    static inline std::atomic<int> s_wake{-1}; // descriptor that the handlers write to: they know nothing else
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace lanterna
