#pragma once

#include "platform/ChildProcesses.h"

#include <chrono>

namespace lanterna
{

/// Programs found on PATH. They begin with the null device for input, output and errors, with no other descriptor of ours, and with the signals as
/// a login shell would give them.
///
/// Each started program has a thread of its own that waits for its end and nothing else, so no handler for SIGCHLD is needed, nobody else's children
/// are waited for, and this object may go before the programs do.
///
/// `run` waits for its patience only. A program that has not ended by then is killed, and its end, which may be late where the kernel holds it, is
/// waited for on a thread as well.
class LinuxChildProcesses : public ChildProcesses
{
public:
    /// The pings that are run end by themselves after a second.
    static constexpr std::chrono::milliseconds usualPatience{5000};

    explicit LinuxChildProcesses(std::chrono::milliseconds patience = usualPatience) : m_patience(patience) { }

    void run(const QStringList &command) override;
    void start(const QStringList &command) override;

private:
    std::chrono::milliseconds m_patience;
};

} // namespace lanterna
