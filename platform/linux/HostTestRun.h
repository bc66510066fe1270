#pragma once

#include "platform/HostTester.h"
#include "platform/linux/Descriptor.h"

#include <chrono>
#include <deque>
#include <stop_token>
#include <vector>

#include <netinet/in.h>

namespace lanterna
{

/// One test of many hosts, from the first connect to `done`. Belongs to one thread, on which the callbacks run as well.
class HostTestRun
{
public:
    HostTestRun(const QStringList &addresses, const HostTest &test, HostTester::Answered answered, HostTester::Done done);

    /// Tests until every host is settled and `done` was called, or until asked to stop, which is noticed at once.
    void run(const std::stop_token &stop);

private:
    using Clock = std::chrono::steady_clock;
    struct Host {
        QString text;
        sockaddr_in address = {};
        size_t port = 0; ///< the place in the list of the one that is tried, or comes next
        Descriptor socket; ///< open while a connect is under way
    };
    /// The end of a connect's patience. It counts only while that connect is under way.
    struct Deadline {
        Clock::time_point time;
        size_t host = 0;
        size_t port = 0;
    };
    /// How a connect began.
    enum class Beginning { answered, underWay, failed, noDescriptor };

    bool openWatch(const std::stop_token &stop);
    void startWaiting();
    void goOn(size_t index);
    Beginning beginConnect(size_t index);
    void takeEvents();
    void connectEnded(size_t index);
    void expire(Clock::time_point now);
    void close(Host &host);
    void settle(size_t index, bool answers);
    [[nodiscard]] int untilNextDeadline() const;

    std::vector<quint16> m_ports;
    std::chrono::milliseconds m_patience;
    HostTester::Answered m_answered;
    HostTester::Done m_done;
    std::stop_token m_stop;
    Descriptor m_epoll;
    Descriptor m_wake;
    std::vector<Host> m_hosts;
    std::deque<size_t> m_waiting; ///< hosts that have no place yet, or lost theirs to a lack of descriptors
    std::deque<Deadline> m_deadlines; ///< in the order of time, as the patience is the same for all
    size_t m_underWay = 0;
    size_t m_unsettled = 0;
    bool m_outOfDescriptors = false;
};

} // namespace lanterna
