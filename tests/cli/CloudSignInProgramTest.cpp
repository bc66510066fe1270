#include "cloud/ChosenRecordDatabase.h"
#include "tests/cloud/FakeCloudKitServer.h"
#include "tests/fakes/FakeSystemLog.h"
#include "tests/support/Children.h"
#include "tests/support/NeverLogged.h"
#include "tests/support/RunUntil.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>

using namespace lanterna;

namespace
{

QByteArray read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The real program, on folders of its own, with nothing of a desktop but these; the server is the test's.
class CloudSignInProgram : public testing::Test
{
protected:
    void SetUp() override
    {
        for (const char *name : {"config/lanterna", "data", "run"})
            ASSERT_TRUE(QDir().mkpath(folder.filePath(name)));
        ASSERT_EQ(::chmod(QFile::encodeName(folder.filePath("run")).constData(), 0700), 0);
        FakeSystemLog log;
        SettingsStore settings(folder.filePath("config/lanterna"), log);
        server.storeIn(settings);
    }
    /// What it prints goes into the file of this name; it reads this.
    pid_t start(const QByteArrayList &arguments, const QString &outputName, const QByteArray &input = {})
    {
        const QByteArray inputName = QFile::encodeName(folder.filePath(outputName + "-input"));
        QFile inputFile(QFile::decodeName(inputName));
        EXPECT_TRUE(inputFile.open(QIODevice::WriteOnly));
        inputFile.write(input);
        inputFile.close();
        const QByteArray output = QFile::encodeName(folder.filePath(outputName));
        return startChild([&] {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            for (const auto &[variable, name] : {std::pair("XDG_CONFIG_HOME", "config"), {"XDG_DATA_HOME", "data"}, {"XDG_RUNTIME_DIR", "run"}})
                ::setenv(variable, QFile::encodeName(folder.filePath(name)).constData(), 1);
            ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
            ::unsetenv("DISPLAY");
            ::unsetenv("WAYLAND_DISPLAY");
            const int file = ::open(output.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
            ::dup2(::open(inputName.constData(), O_RDONLY | O_CLOEXEC), STDIN_FILENO);
            ::dup2(file, STDOUT_FILENO);
            ::dup2(file, STDERR_FILENO);
            std::vector<char *> words{const_cast<char *>(LANTERNACTL), const_cast<char *>("cloud")};
            for (const QByteArray &argument : arguments)
                words.push_back(const_cast<char *>(argument.constData()));
            words.push_back(nullptr);
            ::execv(LANTERNACTL, words.data());
            return 127;
        });
    }
    /// The exit status, while the server answers.
    static int end(pid_t child)
    {
        int status = 0;
        EXPECT_TRUE(runUntil([&] { return ::waitpid(child, &status, WNOHANG) == child; }));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    bool waits()
    {
        return runUntil([&] { return read(folder.filePath("signing-in")).contains("Waiting"); });
    }
    [[nodiscard]] bool hasSocket() const { return QFile::exists(folder.filePath("run/lanterna/sign-in")); }

    QTemporaryDir folder;
    FakeCloudKitServer server;
};

} // namespace

TEST_F(CloudSignInProgram, WhatTheDesktopHandsOverSignsIn)
{
    const pid_t signingIn = start({"sign-in"}, "signing-in");
    ASSERT_TRUE(waits());
    EXPECT_TRUE(hasSocket());
    EXPECT_TRUE(read(folder.filePath("config/mimeapps.list")).contains("=lanterna-sign-in.desktop"));
    const QString token = server.signIn();
    EXPECT_EQ(end(start({"callback", FakeCloudKitServer::callback("cloudkit-icloud.org.example.lanterna", token)}, "callback")), 0);
    EXPECT_EQ(end(signingIn), 0);
    EXPECT_TRUE(read(folder.filePath("signing-in")).endsWith("Signed in to iCloud, as _904181d1d76652d1.\n"));
    EXPECT_FALSE(hasSocket());
    EXPECT_TRUE(read(folder.filePath("data/lanterna/secrets.json")).contains(server.currentToken(token).toLatin1()));
    for (const char *name : {"signing-in", "callback", "config/lanterna/settings.json"})
        EXPECT_FALSE(read(folder.filePath(name)).contains("106__")) << name;
    EXPECT_EQ(end(start({"sign-out"}, "signing-out")), 0);
    EXPECT_FALSE(QFile::exists(folder.filePath("data/applications/lanterna-sign-in.desktop")));
    EXPECT_FALSE(read(folder.filePath("config/mimeapps.list")).contains("lanterna"));
}

TEST_F(CloudSignInProgram, InterruptionLeavesNothingThatListens)
{
    const pid_t signingIn = start({"sign-in"}, "signing-in");
    ASSERT_TRUE(waits());
    ::kill(signingIn, SIGINT);
    EXPECT_EQ(end(signingIn), 128 + SIGINT);
    EXPECT_FALSE(hasSocket());
    const QByteArray address = "cloudkit-icloud.org.example.lanterna:?ckSession=106__" SECRET_MARK;
    EXPECT_EQ(end(start({"callback", address}, "callback")), 1);
    EXPECT_EQ(read(folder.filePath("callback")), "") << "a journal would keep the arguments with the line";
    EXPECT_EQ(end(start({"callback"}, "callback-asked", address + "\n")), 1);
    EXPECT_TRUE(
        read(folder.filePath("callback-asked")).endsWith("lanternactl: no sign-in waits for an address; 'lanternactl cloud sign-in' begins one\n"));
}

TEST_F(CloudSignInProgram, AddressThatAPersonTypesSignsIn)
{
    const pid_t signingIn = start({"sign-in"}, "signing-in");
    ASSERT_TRUE(waits());
    const QByteArray address = FakeCloudKitServer::callback("cloudkit-icloud.org.example.lanterna", server.signIn());
    EXPECT_EQ(end(start({"callback"}, "callback", "  " + address + "\n")), 0);
    EXPECT_TRUE(read(folder.filePath("callback")).endsWith("Handed to the sign-in that waits.\n"));
    EXPECT_FALSE(read(folder.filePath("callback")).contains("106__"));
    EXPECT_EQ(end(signingIn), 0);
}
