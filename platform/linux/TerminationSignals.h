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
    /// `terminate` gets the number of the signal.
    explicit TerminationSignals(std::function<void(int number)> terminate);
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals &) = delete;
    TerminationSignals &operator=(const TerminationSignals &) = delete;

private:
    static void handle(int number);

    // All that the handlers know: the descriptor to write to, and where to leave the signal's number.
    static inline std::atomic<int> s_wake{-1};
    static inline std::atomic<int> s_number{0};
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace lanterna
