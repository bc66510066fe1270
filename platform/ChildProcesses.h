#pragma once

#include <QStringList>

namespace lanterna
{

/// Starts programs of the system without a shell, with nothing to read and nobody to read their output. Any thread. A program that is missing or
/// fails is no error, and none is left as a zombie.
class ChildProcesses
{
public:
    virtual ~ChildProcesses() = default;
    /// Runs a command (program, then arguments) and waits for its end; one that takes unreasonably long is killed.
    virtual void run(const QStringList &command) = 0;
    /// Starts a command and returns at once.
    virtual void start(const QStringList &command) = 0;
};

} // namespace lanterna
