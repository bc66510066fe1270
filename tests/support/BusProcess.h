#pragma once

#include <QByteArray>
#include <QString>

#include <array>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lanterna
{

/// A dbus-daemon as a child process.
///
/// Started by a plain fork, not by QProcess: that one's child runs in its parent's memory up to the exec, and the thread sanitizer, which counts the
/// calls that it is in on behalf of a library, is left with counts that never go down again. From then on it would see no lock that the thread takes.
class BusProcess
{
public:
    BusProcess() = default;
    ~BusProcess() { kill(); }
    BusProcess(const BusProcess &) = delete;
    BusProcess &operator=(const BusProcess &) = delete;

    /// Starts the daemon with a configuration and answers the address that it listens at; empty when it does not start within ten seconds.
    QString start(const QString &configurationFile)
    {
        std::array<int, 2> output{-1, -1};
        if (m_process > 0 || ::pipe2(output.data(), O_CLOEXEC) != 0)
            return {};
        const QByteArray configuration = "--config-file=" + configurationFile.toUtf8();
        m_process = ::fork();
        if (m_process == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::dup2(output[1], STDOUT_FILENO);
            ::execlp("dbus-daemon", "dbus-daemon", configuration.constData(), "--nofork", "--print-address=1", nullptr);
            ::_exit(127);
        }
        ::close(output[1]);
        QByteArray address;
        std::array<char, 512> bytes{};
        pollfd readable{output[0], POLLIN, 0};
        while (!address.endsWith('\n') && ::poll(&readable, 1, 10000) > 0) {
            const ssize_t count = ::read(output[0], bytes.data(), bytes.size());
            if (count <= 0)
                break;
            address.append(bytes.data(), qsizetype(count));
        }
        ::close(output[0]);
        return QString::fromUtf8(address).trimmed();
    }

    /// Ends the daemon under its clients, and waits for its end.
    void kill()
    {
        if (m_process <= 0)
            return;
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, nullptr, 0);
        m_process = -1;
    }

private:
    pid_t m_process = -1;
};

} // namespace lanterna
