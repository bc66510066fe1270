#include "platform/linux/LinuxChildProcesses.h"

#include "platform/linux/Descriptor.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <memory>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace lanterna;

namespace
{

/// The children are shells that leave notes in a folder.
class LinuxChildProcessesTest : public testing::Test
{
protected:
    [[nodiscard]] QString path(const QString &name) const { return folder.filePath(name); }
    [[nodiscard]] QByteArray note(const QString &name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    /// A command for a shell, in which $1 is the folder.
    [[nodiscard]] QStringList shell(const QString &script) const { return {"sh", "-c", script, "sh", folder.path()}; }
    /// Looks again and again, for at most ten seconds.
    template <typename Condition> static bool soon(Condition condition)
    {
        QElapsedTimer time;
        time.start();
        while (!condition() && time.elapsed() < 10'000)
            QThread::msleep(5);
        return condition();
    }
    /// Whether this process has children, zombies among them.
    static bool hasChildren()
    {
        siginfo_t info = {};
        return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
    }

    QTemporaryDir folder;
    LinuxChildProcesses processes;
};

TEST_F(LinuxChildProcessesTest, RunWaitsForTheEnd)
{
    processes.run(shell("sleep 0.2; echo done > $1/note"));
    EXPECT_EQ(note("note"), "done\n");
}

TEST_F(LinuxChildProcessesTest, RunKillsWhatDoesNotEnd)
{
    LinuxChildProcesses impatient(std::chrono::milliseconds(200));
    for (const char *script : {"exec sleep 60", "trap '' TERM HUP INT; kill -STOP $$; echo on > $1/note"}) {
        QElapsedTimer time;
        time.start();
        impatient.run(shell(script));
        EXPECT_GE(time.elapsed(), 200) << script;
        EXPECT_LT(time.elapsed(), 5000) << script;
        EXPECT_TRUE(soon([] { return !hasChildren(); })) << script;
    }
    EXPECT_EQ(note("note"), "") << "a stopped program that was continued instead";
}

TEST_F(LinuxChildProcessesTest, RunIsBoundedWithoutADescriptor)
{
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    LinuxChildProcesses impatient(std::chrono::milliseconds(200));
    // Once with descriptors, to its end: the sanitizer needs a pipe to get to know a class, the reaping thread's as well.
    impatient.run({"sleep", "60"});
    ASSERT_TRUE(soon([] { return !hasChildren(); }));
    QElapsedTimer time;
    const Descriptor lowest(dup(STDERR_FILENO));
    rlimit none = before;
    none.rlim_cur = rlim_t(lowest.get()) + 1;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    time.start();
    impatient.run({"sleep", "60"});
    const qint64 late = time.restart();
    processes.run({"true"});
    const qint64 early = time.elapsed();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_GE(late, 200);
    EXPECT_LT(late, 5000);
    EXPECT_LT(early, 4000);
    EXPECT_TRUE(soon([] { return !hasChildren(); }));
}

TEST_F(LinuxChildProcessesTest, StartReturnsWhileTheProgramRuns)
{
    processes.run(shell("mkfifo $1/gate"));
    processes.start(shell("echo on > $1/begun; read line < $1/gate; echo $line > $1/note"));
    ASSERT_TRUE(soon([&] { return note("begun") == "on\n"; }));
    QFile gate(path("gate")); // the program cannot go on before this
    ASSERT_TRUE(gate.open(QIODevice::WriteOnly));
    gate.write("through\n");
    gate.close();
    EXPECT_TRUE(soon([&] { return note("note") == "through\n"; }));
}

TEST_F(LinuxChildProcessesTest, ArgumentsReachTheProgramAsTheyAre)
{
    const QStringList odd = {"two words", "", "$HOME `id` \"'\\", "*", ";&|<>", QString::fromUtf8("gr\u00fcn\n")};
    processes.run(shell("shift; printf '[%s]' \"$@\" > " + path("note")) + odd);
    EXPECT_EQ(note("note"), ('[' + odd.join("][") + ']').toUtf8());
}

TEST_F(LinuxChildProcessesTest, MissingProgramIsIgnored)
{
    processes.run({"lanterna-no-such-program", "-x"});
    processes.start({"lanterna-no-such-program", "-x"});
    processes.run({});
    processes.start({});
    EXPECT_TRUE(soon([] { return !hasChildren(); }));
}

TEST_F(LinuxChildProcessesTest, NoZombieStays)
{
    for (int number = 0; number < 20; ++number)
        processes.start(shell(QString("echo > $1/%1; exit 3").arg(number)));
    for (int number = 0; number < 20; ++number)
        EXPECT_TRUE(soon([&] { return QFile::exists(path(QString::number(number))); })) << number;
    EXPECT_TRUE(soon([] { return !hasChildren(); }));
}

TEST_F(LinuxChildProcessesTest, ProgramsOutliveTheObjectAndLeaveNoZombieEither)
{
    processes.run(shell("mkfifo $1/gate"));
    auto other = std::make_unique<LinuxChildProcesses>();
    other->start(shell("read line < $1/gate; echo $line > $1/note"));
    other.reset();
    QFile gate(path("gate"));
    ASSERT_TRUE(gate.open(QIODevice::WriteOnly));
    gate.write("still here\n");
    gate.close();
    EXPECT_TRUE(soon([&] { return note("note") == "still here\n"; }));
    EXPECT_TRUE(soon([] { return !hasChildren(); }));
}

TEST_F(LinuxChildProcessesTest, OtherChildrenAreNotWaitedFor)
{
    const pid_t stranger = fork();
    if (stranger == 0)
        _exit(7);
    processes.run({"true"});
    processes.start({"true"});
    processes.run({"true"});
    int status = 0;
    ASSERT_EQ(waitpid(stranger, &status, 0), stranger);
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST_F(LinuxChildProcessesTest, ProgramHasTheNullDeviceAndNothingOfOurs)
{
    const int zero = open("/dev/zero", O_RDONLY | O_CLOEXEC);
    const int ours = fcntl(zero, F_DUPFD, 200); // without O_CLOEXEC, and no number that the shell itself takes
    close(zero);
    ASSERT_GE(ours, 200);
    // The shell's own descriptors: a redirection within it would replace them for a moment.
    processes.run(shell("own=$(for number in 0 1 2; do readlink /proc/$$/fd/$number; done; ls /proc/$$/fd); echo \"$own\" > $1/note"));
    close(ours);
    const QList<QByteArray> lines = note("note").trimmed().split('\n');
    EXPECT_EQ(lines.mid(0, 3).join(' '), "/dev/null /dev/null /dev/null");
    EXPECT_TRUE(lines.contains("2"));
    EXPECT_FALSE(lines.contains(QByteArray::number(ours))) << lines.join(' ').constData();
}

TEST_F(LinuxChildProcessesTest, ProgramBeginsWithDefaultSignals)
{
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const auto handlerBefore = std::signal(SIGPIPE, SIG_IGN);
    // No shell here, since some put the mask of signals right.
    processes.run({"sed", "-n", "s/^Sig\\(Blk\\|Ign\\):[^0-9a-f]*//w " + path("note"), "/proc/self/status"});
    std::signal(SIGPIPE, handlerBefore);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    const QList<QByteArray> masks = note("note").trimmed().split('\n');
    ASSERT_EQ(masks.size(), 2);
    for (const QByteArray &mask : masks)
        EXPECT_EQ(mask.toULongLong(nullptr, 16) & 0x7fffffff, 0) << mask.constData(); // the threads library keeps 32 and 33 to itself
}

} // namespace
