#include "platform/linux/LinuxChildProcesses.h"

#include "platform/linux/Descriptor.h"

#include <QByteArray>
#include <QFile>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lanterna
{

namespace
{

/// What a child begins with.
class SpawnPlan
{
public:
    SpawnPlan()
    {
        posix_spawn_file_actions_init(&m_actions);
        posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDWR, 0);
        posix_spawn_file_actions_adddup2(&m_actions, STDIN_FILENO, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&m_actions, STDIN_FILENO, STDERR_FILENO);
        // Libraries open some without the mark that keeps them from children.
        posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1);

        sigset_t every;
        sigset_t none;
        sigfillset(&every);
        sigemptyset(&none);
        posix_spawnattr_init(&m_attributes);
        posix_spawnattr_setsigdefault(&m_attributes, &every);
        posix_spawnattr_setsigmask(&m_attributes, &none);
        posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }
    ~SpawnPlan()
    {
        posix_spawnattr_destroy(&m_attributes);
        posix_spawn_file_actions_destroy(&m_actions);
    }
    SpawnPlan(const SpawnPlan &) = delete;
    SpawnPlan &operator=(const SpawnPlan &) = delete;

    /// The child's process id; -1 when the program cannot be started.
    [[nodiscard]] pid_t spawn(const std::vector<char *> &arguments) const
    {
        pid_t child = -1;
        const int problem = posix_spawnp(&child, arguments.front(), &m_actions, &m_attributes, arguments.data(), environ);
        return problem == 0 ? child : -1;
    }

private:
    posix_spawn_file_actions_t m_actions = {};
    posix_spawnattr_t m_attributes = {};
};

pid_t spawn(const QStringList &command)
{
    if (command.isEmpty())
        return -1;
    std::vector<QByteArray> texts;
    for (const QString &part : command)
        texts.push_back(QFile::encodeName(part));
    std::vector<char *> arguments;
    for (QByteArray &text : texts)
        arguments.push_back(text.data());
    arguments.push_back(nullptr);
    return SpawnPlan().spawn(arguments);
}

/// Waits for this child alone. One that somebody else has waited for is gone as well.
void waitForEnd(pid_t child)
{
    while (child > 0 && waitpid(child, nullptr, 0) < 0 && errno == EINTR) { }
}

/// How often is looked where no descriptor can be had to wait on.
constexpr std::chrono::milliseconds lookingBeat{20};

/// Waits for this child alone, for at most that long. True when it is gone.
bool endsWithin(pid_t child, std::chrono::milliseconds patience)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    const Descriptor watch(int(syscall(SYS_pidfd_open, child, 0)));
    while (true) {
        const pid_t ended = waitpid(child, nullptr, WNOHANG);
        if (ended == child || (ended < 0 && errno != EINTR))
            return true;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            return false;
        pollfd watched = {watch.get(), POLLIN, 0};
        poll(&watched, watch ? 1 : 0, int((watch ? left : std::min(left, lookingBeat)).count()));
    }
}

} // namespace

void LinuxChildProcesses::run(const QStringList &command)
{
    const pid_t child = spawn(command);
    if (child <= 0 || endsWithin(child, m_patience))
        return;
    kill(child, SIGKILL);
    try {
        std::thread([child] { waitForEnd(child); }).detach();
    } catch (const std::system_error &) {
        endsWithin(child, m_patience); // no thread to be had: one that the kernel holds for even longer stays a zombie until we end
    }
}

void LinuxChildProcesses::start(const QStringList &command)
{
    // The thread comes first: a program that runs has somebody who waits for it.
    try {
        std::thread([command] { waitForEnd(spawn(command)); }).detach();
    } catch (const std::system_error &) {
        return; // no thread to be had: a program that could not be started
    }
}

} // namespace lanterna
