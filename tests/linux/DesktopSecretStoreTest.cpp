#include "platform/linux/DesktopSecretStore.h"
#include "platform/linux/QtDispatch.h"
#include "tests/fakes/FakeSystemLog.h"
#include "tests/support/NeverLogged.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/ProgramRun.h"

#include <QDBusConnectionInterface>
#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <csignal>

#include <sys/stat.h>

using namespace lanterna;

namespace
{

/// Names of the desktop would send the keyring's library elsewhere.
QByteArrayList environmentFor(const QTemporaryDir &home, const QString &busAddress)
{
    const QByteArray folder = home.path().toUtf8();
    return {"HOME=" + folder, "XDG_DATA_HOME=" + folder + "/data", "XDG_RUNTIME_DIR=" + folder, "DBUS_SESSION_BUS_ADDRESS=" + busAddress.toUtf8(),
        "XDG_CURRENT_DESKTOP=", "DESKTOP_SESSION=", "KDE_FULL_SESSION=", "DISPLAY=", "WAYLAND_DISPLAY="};
}

/// A real keyring: gnome-keyring-daemon on a private bus, with a person's keyring in a temporary home.
class Keyring
{
public:
    /// `unlocked` makes the keyring when there is none; a locked one stays so, for nobody is there to type its password.
    Keyring(const QByteArrayList &environment, bool unlocked)
    {
        std::array<int, 2> input{-1, -1};
        if (::pipe2(input.data(), O_CLOEXEC) != 0)
            return;
        std::vector<QByteArray> variables(environment.begin(), environment.end());
        m_process = ::fork();
        if (m_process == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            for (QByteArray &variable : variables)
                ::putenv(variable.data());
            const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
            ::dup2(input[0], STDIN_FILENO);
            ::dup2(nowhere, STDOUT_FILENO);
            ::dup2(nowhere, STDERR_FILENO);
            ::execlp(
                "gnome-keyring-daemon", "gnome-keyring-daemon", "--foreground", "--components=secrets", unlocked ? "--unlock" : nullptr, nullptr);
            ::_exit(127);
        }
        ::close(input[0]);
        (void)!::write(input[1], SECRET_MARK, sizeof(SECRET_MARK) - 1);
        ::close(input[1]);
    }
    ~Keyring()
    {
        if (m_process > 0) {
            ::kill(m_process, SIGTERM);
            ::kill(m_process, SIGCONT);
            ::waitpid(m_process, nullptr, 0);
        }
    }
    /// Answers no more.
    void freeze() const { ::kill(m_process, SIGSTOP); }
    Keyring(const Keyring &) = delete;
    Keyring &operator=(const Keyring &) = delete;

private:
    pid_t m_process = -1;
};

/// Secrets as a process keeps them whose session bus is a private one. Each call is a process of its own: the session bus of one cannot be changed.
class DesktopSecrets : public testing::Test
{
protected:
    QTemporaryDir m_home;
    std::unique_ptr<PrivateBus> m_bus = std::make_unique<PrivateBus>();
    std::unique_ptr<Keyring> m_keyring;

    void startKeyring(bool unlocked)
    {
        m_keyring.reset();
        QDBusConnection connection = m_bus->connect();
        const auto hasOwner = [&] {
            QDBusMessage call =
                QDBusMessage::createMethodCall("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner");
            call.setArguments({"org.freedesktop.secrets"});
            return callAndTurnLoop(connection, call).arguments().value(0).toBool();
        };
        ASSERT_TRUE(turnLoopUntil([&] { return !hasOwner(); }));
        m_keyring = std::make_unique<Keyring>(environmentFor(m_home, m_bus->address()), unlocked);
        ASSERT_TRUE(turnLoopUntil(hasOwner)) << "gnome-keyring-daemon does not start";
    }

    [[nodiscard]] QString folder() const { return m_home.filePath("data/lanterna"); }
    [[nodiscard]] bool hasFile() const { return QFile::exists(folder() + "/secrets.json"); }

    /// What the calls came to, a line each.
    std::string run(const QByteArrayList &calls, const QByteArray &patience = "20000")
    {
        const ProgramResult result = runProgram(SECRETS_PROBE, QByteArrayList{folder().toUtf8(), patience} + calls,
            environmentFor(m_home, m_bus ? m_bus->address() : "unix:path=/nowhere"));
        EXPECT_EQ(result.exitCode, 0) << result.errors.constData();
        EXPECT_FALSE(holdsSecret(result.errors));
        return result.output.toStdString();
    }
};

TEST_F(DesktopSecrets, WithoutAKeyringTheyAreInAFileOfTheirOwn)
{
    EXPECT_EQ(run({"read", "webdav", "write", "webdav", SECRET_MARK, "read", "webdav"}),
        "read webdav: none\nwrite webdav: done\nread webdav: \"" SECRET_MARK "\"\n");
    EXPECT_EQ(
        run({"read", "webdav", "remove", "webdav", "read", "webdav"}), "read webdav: \"" SECRET_MARK "\"\nremove webdav: done\nread webdav: none\n");
    struct stat information = {};
    ASSERT_EQ(::stat((folder() + "/secrets.json").toUtf8().constData(), &information), 0);
    EXPECT_EQ(information.st_mode & 07777U, 0600U);
    ASSERT_EQ(::stat(folder().toUtf8().constData(), &information), 0);
    EXPECT_EQ(information.st_mode & 07777U, 0700U);
}

TEST_F(DesktopSecrets, WithoutASessionBusTheyAreInTheFile)
{
    m_bus.reset();
    EXPECT_EQ(run({"write", "webdav", SECRET_MARK, "read", "webdav"}), "write webdav: done\nread webdav: \"" SECRET_MARK "\"\n");
    EXPECT_TRUE(hasFile());
}

TEST_F(DesktopSecrets, ADamagedFileIsSetAsideWithOneLine)
{
    QDir().mkpath(folder());
    QFile file(folder() + "/secrets.json");
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("{\"webdav\":\"hun");
    file.close();
    EXPECT_EQ(run({"read", "webdav", "read", "webdav"}),
        "read webdav: none\nread webdav: none\nlog: the file of secrets was damaged and is now " + folder().toStdString()
            + "/secrets.json.damaged-1\n");
}

TEST_F(DesktopSecrets, AKeyringKeepsThemFromProcessToProcess)
{
    startKeyring(true);
    EXPECT_EQ(run({"read", "webdav", "write", "webdav", "old", "write", "token", "pa ss\"\n\xc3\xa9"}),
        "read webdav: none\nwrite webdav: done\nwrite token: done\n");
    EXPECT_EQ(run({"write", "webdav", "new", "read", "webdav", "read", "token"}),
        "write webdav: done\nread webdav: \"new\"\nread token: \"pa ss\"\n\xc3\xa9\"\n");
    EXPECT_EQ(run({"remove", "webdav", "read", "webdav", "remove", "webdav", "read", "token"}),
        "remove webdav: done\nread webdav: none\nremove webdav: done\nread token: \"pa ss\"\n\xc3\xa9\"\n");
    EXPECT_FALSE(hasFile());
}

TEST_F(DesktopSecrets, ALockedKeyringThatNobodyUnlocksIsAnErrorAndLeavesTheFileAlone)
{
    startKeyring(true);
    EXPECT_EQ(run({"write", "webdav", SECRET_MARK}), "write webdav: done\n");
    startKeyring(false);
    EXPECT_EQ(
        run({"read", "webdav", "remove", "webdav"}), "read webdav: error: the keyring is locked\nremove webdav: error: the keyring is locked\n");
    EXPECT_EQ(run({"read", "other"}), "read other: none\n");
    const std::string written = run({"write", "webdav", "new " SECRET_MARK});
    EXPECT_TRUE(written.starts_with("write webdav: error: the keyring failed: ")) << written;
    EXPECT_EQ(written.find("new " SECRET_MARK), std::string::npos);
    EXPECT_EQ(std::count(written.begin(), written.end(), '\n'), 1);
    EXPECT_FALSE(hasFile());
    startKeyring(true);
    EXPECT_EQ(run({"read", "webdav"}), "read webdav: \"" SECRET_MARK "\"\n");
}

TEST_F(DesktopSecrets, AKeyringThatCouldBeStartedAndFailsIsAnErrorAndNoReasonForAFile)
{
    m_bus = std::make_unique<PrivateBus>("org.freedesktop.secrets");
    const std::string result = run({"write", "webdav", SECRET_MARK, "read", "webdav"});
    EXPECT_TRUE(result.starts_with("write webdav: error: the keyring failed: ")) << result;
    EXPECT_NE(result.find("\nread webdav: error: the keyring failed: "), std::string::npos) << result;
    EXPECT_EQ(result.find(SECRET_MARK), std::string::npos);
    EXPECT_FALSE(hasFile());
}

TEST_F(DesktopSecrets, ANameThatIsTakenByWhatIsNoKeyringIsAnError)
{
    const QDBusConnection impostor = m_bus->connect();
    ASSERT_TRUE(QDBusConnection(impostor).registerService("org.freedesktop.secrets"));
    const std::string result = run({"read", "webdav"});
    EXPECT_TRUE(result.starts_with("read webdav: error: the keyring failed: ")) << result;
    EXPECT_FALSE(hasFile());
}

TEST_F(DesktopSecrets, AKeyringThatComesLaterIsUsedFromThenOn)
{
    EXPECT_EQ(run({"write", "webdav", "in the file"}), "write webdav: done\n");
    startKeyring(true);
    EXPECT_EQ(run({"read", "webdav", "write", "webdav", "in the keyring"}), "read webdav: none\nwrite webdav: done\n");
    m_keyring.reset();
    EXPECT_EQ(run({"read", "webdav"}), "read webdav: \"in the file\"\n");
}

TEST_F(DesktopSecrets, AKeyringThatDoesNotAnswerIsAnErrorAndHoldsUpNoEnd)
{
    startKeyring(true);
    m_keyring->freeze();
    EXPECT_EQ(run({"write", "webdav", SECRET_MARK, "read", "webdav"}, "200"),
        "write webdav: error: the keyring did not answer\nread webdav: error: the keyring did not answer\n");
    EXPECT_FALSE(hasFile());
}

TEST_F(DesktopSecrets, ProcessesWriteToOneKeyringAtTheSameTime)
{
    startKeyring(true);
    std::vector<pid_t> children;
    for (const char *name : {"a", "b", "c"})
        children.push_back(startChild([&] { return run({"write", name, name, "read", name}).ends_with(name + std::string("\"\n")) ? 0 : 1; }));
    for (const pid_t child : children)
        EXPECT_EQ(endOfChild(child), 0);
    EXPECT_EQ(run({"read", "a", "read", "b", "read", "c"}), "read a: \"a\"\nread b: \"b\"\nread c: \"c\"\n");
}

/// The order of calls, with a real bus that has no keyring.
class DesktopSecretCalls : public testing::Test
{
protected:
    QTemporaryDir m_folder;
    PrivateBus m_bus;
    FakeSystemLog m_log;
    QtDispatch m_dispatch;
    std::unique_ptr<DesktopSecretStore> m_store = std::make_unique<DesktopSecretStore>(m_bus.connect(), m_dispatch, m_folder.path(), m_log);
    QStringList m_order;
};

TEST_F(DesktopSecretCalls, AreCarriedOutInTheirOrderAndNeverInsideTheCall)
{
    m_store->write("a", "1", [&](const SecretResult &) {
        m_order.append("written");
        m_store->read("a", [&](const SecretResult &result) { m_order.append("last " + result.secret); });
    });
    m_store->read("a", [&](const SecretResult &result) { m_order.append(result.secret); });
    m_store->write("a", "2", [&](const SecretResult &) { m_order.append("written again"); });
    EXPECT_TRUE(m_order.isEmpty());
    ASSERT_TRUE(turnLoopUntil([&] { return m_order.size() == 4; }));
    EXPECT_EQ(m_order, (QStringList{"written", "1", "written again", "last 2"}));
}

TEST_F(DesktopSecretCalls, ACompletionMayDropTheStoreAndNoneIsCalledAfterwards)
{
    m_store->read("a", [&](const SecretResult &) {
        m_order.append("read");
        m_store.reset();
    });
    m_store->read("b", [&](const SecretResult &) { m_order.append("read too late"); });
    ASSERT_TRUE(turnLoopUntil([&] { return !m_store; }));
    m_store = std::make_unique<DesktopSecretStore>(m_bus.connect(), m_dispatch, m_folder.path(), m_log);
    m_store->read("c", [&](const SecretResult &) { m_order.append("never read"); });
    m_store = std::make_unique<DesktopSecretStore>(m_bus.connect(), m_dispatch, m_folder.path(), m_log);
    m_store->read("d", [&](const SecretResult &) { m_order.append("done"); });
    ASSERT_TRUE(turnLoopUntil([&] { return m_order.contains("done"); }));
    EXPECT_EQ(m_order, (QStringList{"read", "done"}));
}

TEST_F(DesktopSecretCalls, ABusThatEndsLeavesTheFile)
{
    m_bus.kill();
    m_store->write("a", "1", [&](const SecretResult &result) { m_order.append("error '" + result.error + "'"); });
    ASSERT_TRUE(turnLoopUntil([&] { return !m_order.isEmpty(); }));
    EXPECT_EQ(m_order, QStringList{"error ''"});
}

} // namespace
