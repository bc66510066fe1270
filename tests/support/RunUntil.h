#pragma once

#include <QCoreApplication>
#include <QTimer>

#include <chrono>

namespace lanterna
{

/// Turns the event loop until the condition holds; false after ten seconds. Looks after each event, and every 10 ms for what makes no event.
template <typename Condition> bool runUntil(Condition condition)
{
    QTimer tick;
    tick.start(10);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
    return true;
}

} // namespace lanterna
