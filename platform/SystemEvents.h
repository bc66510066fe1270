#pragma once

#include <functional>

namespace lanterna
{

/// Tells that the machine's network changed or that it woke from sleep.
class SystemEvents
{
public:
    virtual ~SystemEvents() = default;

    /// Starts watching. Both callbacks run on the main thread, never inside this call; empty ones are skipped. Called once.
    ///
    /// The network changed when, for the interfaces that the address list would show, a name, running flag, IPv4 address or prefix length, or one of
    /// the IPv4 default routes, differs from what it was at the last event. Bursts are read once.
    virtual void start(std::function<void()> networkChanged, std::function<void()> wokeFromSleep) = 0;
};

} // namespace lanterna
