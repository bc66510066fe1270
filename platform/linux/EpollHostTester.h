#pragma once

#include "platform/HostTester.h"

#include <sys/resource.h>

namespace lanterna
{

/// Tests hosts with non-blocking connects that one thread watches (epoll). A test is one thread while its handle lives, however many the hosts.
///
/// At most 4,000 connects are under way at a time; further hosts follow as places become free, and each has its whole patience from its own
/// connect. Hosts also wait where the process runs out of descriptors, for which the first test raises the soft limit.
///
/// Where the system refuses the thread, nothing is tested and nothing called, not even `done`; the handle is null.
class EpollHostTester : public HostTester
{
public:
    /// Two tests of as many hosts as may be under way. Programs that we start inherit the limit, and some of them walk through every number below it:
    /// the hard limit is a million in places, and more.
    static constexpr rlim_t enoughDescriptors = 8192;

    /// The soft limit to set for one that is, and for a hard one. Never lower than what is.
    static rlim_t wantedDescriptors(rlim_t soft, rlim_t hard);

    [[nodiscard]] std::shared_ptr<void> test(const QStringList &addresses, const HostTest &test, Answered answered, Done done) override;
};

} // namespace lanterna
