#pragma once

#include <QStringList>

#include <functional>
#include <memory>

namespace lanterna
{

/// Finds the names of hosts from their addresses: hosts file, DNS, the host itself over multicast DNS, and whatever else the system knows.
class HostNames
{
public:
    using Found = std::function<void(const QString &address, const QString &name)>;
    using Done = std::function<void()>;

    virtual ~HostNames() = default;

    /// Looks up all addresses (dotted, IPv4) at once. `found` gives the first name of an address, at most once each, as soon as it is known; `done`
    /// comes once, when nothing is left to wait for. Both run on threads of the implementation, never inside the call, and never two at a time.
    /// The call returns promptly, however many addresses there are; without any, `done` comes all the same. Names come without control characters and
    /// without a trailing dot; a numeric answer is no name. Where the system has no thread left, nothing is looked up and `done` never comes: the
    /// caller needs a deadline of its own.
    ///
    /// Dropping the handle abandons what is under way, without waiting for it: nothing is called any more once the drop has returned. It may not be
    /// dropped from inside a callback. Any thread.
    [[nodiscard]] virtual std::shared_ptr<void> lookUp(const QStringList &addresses, Found found, Done done) = 0;
};

} // namespace lanterna
