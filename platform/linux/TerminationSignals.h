#pragma once

#include <QSocketNotifier>

#include <functional>
#include <memory>

namespace lanterna
{

/// Turns SIGTERM, SIGINT and SIGHUP into a call on the main thread. One per process; needs the application object.
class TerminationSignals
{
public:
    /// Blocks these signals for this thread and those it starts. Call it first of all: an application object starts threads of its own, and a signal that
    /// one of them takes would end the program at once.
    static void block();

    explicit TerminationSignals(std::function<void()> terminate);
    ~TerminationSignals();
    TerminationSignals(const TerminationSignals &) = delete;
    TerminationSignals &operator=(const TerminationSignals &) = delete;

    /// The last signal that arrived, 0 for none.
    [[nodiscard]] int lastSignal() const { return m_lastSignal; }

private:
    int m_descriptor;
    int m_lastSignal = 0;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace lanterna
