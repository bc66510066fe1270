#include "platform/linux/EpollHostTester.h"

#include "platform/linux/HostTestRun.h"

#include <algorithm>
#include <system_error>
#include <thread>
#include <utility>

namespace lanterna
{

namespace
{

/// Systems start programs with 1,024 descriptors, for the sake of programs that use select(); nothing here does.
void raiseDescriptorLimit()
{
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = EpollHostTester::wantedDescriptors(limit.rlim_cur, limit.rlim_max);
    setrlimit(RLIMIT_NOFILE, &limit);
}

} // namespace

rlim_t EpollHostTester::wantedDescriptors(rlim_t soft, rlim_t hard)
{
    return std::max(soft, std::min(hard, enoughDescriptors));
}

std::shared_ptr<void> EpollHostTester::test(const QStringList &addresses, const HostTest &test, Answered answered, Done done)
{
    static const bool raised = (raiseDescriptorLimit(), true);
    (void)raised;
    try {
        // A thread that is dropped is asked to stop, and joined.
        return std::make_shared<std::jthread>(
            [run = HostTestRun(addresses, test, std::move(answered), std::move(done))](const std::stop_token &stop) mutable { run.run(stop); });
    } catch (const std::system_error &) {
        return nullptr; // no thread to be had, so none on which `done` could run
    }
}

} // namespace lanterna
