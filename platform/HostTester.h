#pragma once

#include <QStringList>

#include <chrono>
#include <functional>
#include <memory>
#include <vector>

namespace lanterna
{

/// How a host is tested: TCP ports one after the other, each for at most `patience`.
struct HostTest {
    std::vector<quint16> ports;
    std::chrono::milliseconds patience{};
};

/// Finds out which hosts answer on TCP.
class HostTester
{
public:
    using Answered = std::function<void(const QString &address)>;
    using Done = std::function<void()>;

    virtual ~HostTester() = default;

    /// Tests all addresses (dotted, IPv4) side by side. A host that takes or refuses a connection on one of the ports answers: `answered` comes once
    /// for it, and its further ports are left alone. `done` comes once, when every host has answered or run out of ports. Both run on a thread of the
    /// implementation, never inside the call, and never two at a time. The call returns promptly, however many addresses there are; without any, `done`
    /// comes all the same. Where the system has no thread left, nothing is tested and nothing comes: callers have a deadline.
    ///
    /// Dropping the handle abandons what is under way: nothing is called any more once the drop has returned. It may not be dropped from inside a
    /// callback. Any thread.
    [[nodiscard]] virtual std::shared_ptr<void> test(const QStringList &addresses, const HostTest &test, Answered answered, Done done) = 0;
};

} // namespace lanterna
