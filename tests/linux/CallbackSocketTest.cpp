#include "platform/linux/CallbackSocket.h"

#include "platform/CallbackAwaiter.h"
#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/Children.h"
#include "tests/support/RunUntil.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class CallbackSocketTest : public testing::Test
{
protected:
    QString listen()
    {
        return socket.listen([this](const QByteArray &address) {
            came.append(address);
            if (endsWithTheFirst)
                socket.close();
            return address.startsWith("good:");
        });
    }
    /// What `handOver` says, from a process of its own.
    std::string handOver(const QByteArray &address)
    {
        const QString file = runtime.filePath("said");
        const pid_t child = startChild([&] {
            QFile said(file);
            (void)said.open(QIODevice::WriteOnly);
            said.write(CallbackSocket::handOver(folder, address).toUtf8());
            return 0;
        });
        int status = 0;
        EXPECT_TRUE(runUntil([&] { return ::waitpid(child, &status, WNOHANG) == child; }));
        QFile said(file);
        (void)said.open(QIODevice::ReadOnly);
        return said.readAll().toStdString();
    }
    /// A connection that has said this, by plain system calls.
    Descriptor connected(const QByteArray &words)
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        const QByteArray path = QFile::encodeName(socketFile());
        std::copy(path.begin(), path.end(), address.sun_path);
        Descriptor client(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        EXPECT_EQ(::connect(client.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
        EXPECT_EQ(::send(client.get(), words.constData(), std::size_t(words.size()), MSG_NOSIGNAL), words.size());
        return client;
    }
    /// The answer up to the end of the connection.
    QByteArray answer(const Descriptor &client)
    {
        QByteArray all;
        EXPECT_TRUE(runUntil([&] {
            char bytes[16];
            const ssize_t count = ::recv(client.get(), bytes, sizeof bytes, MSG_DONTWAIT);
            if (count > 0)
                all.append(bytes, count);
            return count == 0 || (count < 0 && errno == ECONNRESET);
        }));
        return all;
    }
    [[nodiscard]] QString socketFile() const { return folder + "/sign-in"; }
    static unsigned modeOf(const QString &path)
    {
        struct stat about = {};
        EXPECT_EQ(::stat(QFile::encodeName(path).constData(), &about), 0);
        return about.st_mode & 0777U;
    }

    QTemporaryDir runtime;
    const QString folder = runtime.filePath("lanterna");
    VirtualDispatch dispatch;
    CallbackSocket socket{dispatch, folder};
    QByteArrayList came;
    bool endsWithTheFirst = false;
};

const std::string nobodyWaits = "no sign-in waits for an address; 'lanternactl cloud sign-in' begins one";

} // namespace

TEST_F(CallbackSocketTest, AddressIsHandedOver)
{
    ASSERT_EQ(listen(), "");
    EXPECT_EQ(handOver("good://a?ckSession=1"), "");
    EXPECT_EQ(handOver("bad://"), "that is no address that is waited for");
    EXPECT_EQ(came, QByteArrayList({"good://a?ckSession=1", "bad://"}));
}

TEST_F(CallbackSocketTest, NobodyWaitsBeforeAndAfter)
{
    EXPECT_EQ(handOver("good:"), nobodyWaits);
    EXPECT_EQ(CallbackSocket::handOver({}, "good:").toStdString(), nobodyWaits) << "without a runtime folder";
    ASSERT_EQ(listen(), "");
    socket.close();
    EXPECT_FALSE(QFile::exists(socketFile()));
    EXPECT_EQ(handOver("good:"), nobodyWaits);
    EXPECT_TRUE(came.isEmpty());
}

TEST_F(CallbackSocketTest, FolderAndSocketAreTheOwnersAlone)
{
    ASSERT_EQ(::mkdir(QFile::encodeName(folder).constData(), 0755), 0);
    const mode_t before = ::umask(0);
    EXPECT_EQ(listen(), "");
    ::umask(before);
    EXPECT_EQ(modeOf(folder), 0700U);
    EXPECT_EQ(modeOf(socketFile()), 0600U);
}

TEST_F(CallbackSocketTest, OneProgramAtATimeListens)
{
    ASSERT_EQ(listen(), "");
    CallbackSocket other(dispatch, folder);
    EXPECT_EQ(other.listen([](const QByteArray &) { return true; }), "another sign-in is under way");
    other.close();
    EXPECT_EQ(handOver("good:"), "") << "the first one is not disturbed";
    socket.close();
    EXPECT_EQ(other.listen([](const QByteArray &) { return true; }), "");
}

TEST_F(CallbackSocketTest, WhatAKilledProgramLeftIsReplaced)
{
    const pid_t child = startChild([&] {
        CallbackSocket killed(dispatch, folder);
        const bool listens = killed.listen([](const QByteArray &) { return true; }).isEmpty();
        ::raise(listens ? SIGKILL : SIGTERM);
        return 0;
    });
    EXPECT_EQ(endOfChild(child), -1);
    EXPECT_TRUE(QFile::exists(socketFile()));
    EXPECT_EQ(handOver("good:"), nobodyWaits);
    EXPECT_EQ(listen(), "");
    EXPECT_EQ(handOver("good:"), "");
}

TEST_F(CallbackSocketTest, AddressMayComeInPiecesAndIsLimited)
{
    ASSERT_EQ(listen(), "");
    const Descriptor client = connected("good:");
    runUntil([ticks = 0]() mutable { return ++ticks > 2; });
    EXPECT_EQ(::send(client.get(), "//a\nmore\n", 9, 0), 9);
    EXPECT_EQ(answer(client), "1");
    EXPECT_EQ(came, QByteArrayList{"good://a"});
    EXPECT_EQ(answer(connected("good:" + QByteArray(CallbackAwaiter::longestAddress - 5, 'a') + '\n')), "1");
    EXPECT_EQ(answer(connected("good:" + QByteArray(CallbackAwaiter::longestAddress, 'a'))), "0") << "said at once, without a line's end";
    EXPECT_EQ(came.size(), 2);
    EXPECT_EQ(CallbackSocket::handOver(folder, QByteArray(CallbackAwaiter::longestAddress + 1, 'a')), "that is no address that is waited for");
    EXPECT_EQ(CallbackSocket::handOver(folder, "good:a\nb"), "that is no address that is waited for");
}

TEST_F(CallbackSocketTest, WhoSaysNothingIsLetGo)
{
    ASSERT_EQ(listen(), "");
    const Descriptor silent = connected("good:");
    EXPECT_EQ(handOver("good:b"), "") << "meanwhile others are heard";
    dispatch.advance(CallbackSocket::patience);
    EXPECT_EQ(answer(silent), "");
}

TEST_F(CallbackSocketTest, ListeningMayEndInsideTheCall)
{
    ASSERT_EQ(listen(), "");
    endsWithTheFirst = true;
    const Descriptor first = connected("good:a\n");
    const Descriptor second = connected("good:b\n");
    EXPECT_EQ(answer(first), "1");
    EXPECT_NE(answer(second), "1");
    EXPECT_EQ(came, QByteArrayList{"good:a"});
    EXPECT_EQ(handOver("good:c"), nobodyWaits);
}

TEST_F(CallbackSocketTest, FolderThatCannotBeIsSaid)
{
    EXPECT_EQ(CallbackSocket(dispatch, {}).listen({}), "XDG_RUNTIME_DIR is not set");
    EXPECT_TRUE(CallbackSocket(dispatch, "/nowhere/lanterna").listen({}).startsWith("/nowhere/lanterna: "));
    const QString elsewhere = runtime.filePath("link");
    ASSERT_TRUE(QFile::link(runtime.path(), elsewhere));
    EXPECT_TRUE(CallbackSocket(dispatch, elsewhere).listen({}).startsWith(elsewhere)) << "a link may lead anywhere";
    const QString deep = runtime.filePath(QString(100, 'a'));
    EXPECT_TRUE(CallbackSocket(dispatch, deep).listen({}).contains("too long"));
}
