#include "tests/linux/EpollStreamListenerTest.h"
#include "tests/support/NoMoreThreads.h"

#include <QFile>

#include <ctime>

#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

using namespace lanterna;
using namespace std::chrono_literals;
using End = StreamClient::End;

namespace
{

using EpollStreamListenerLimitsTest = EpollStreamListenerTest;

/// The number that the next descriptor gets: the lowest that is free.
rlim_t nextDescriptor()
{
    return rlim_t(Descriptor(dup(0)).get());
}

TEST_F(EpollStreamListenerLimitsTest, ConnectionsShareTheBytesOfOneMessage)
{
    const auto residentPages = [] {
        QFile file("/proc/self/statm");
        return file.open(QFile::ReadOnly) ? file.readAll().split(' ').value(1).toLongLong() : 0;
    };
    answer = message(10'000'000);
    start();
    const qint64 before = residentPages();
    const auto clients = stalled(100);
    ASSERT_TRUE(soon([this] { return accepted == 100; }));
    EXPECT_EQ(listener->connectionCount(), 100U);
    EXPECT_LT((residentPages() - before) * sysconf(_SC_PAGESIZE), 20'000'000);
}

TEST_F(EpollStreamListenerLimitsTest, NewcomerTakesThePlaceOfTheOneThatStalledFirst)
{
    StreamLimits limits;
    limits.open = 4;
    answer = message(5'000'000);
    start(limits);
    auto clients = stalled(4);
    ASSERT_TRUE(soon([this] { return accepted == 4; }));
    for (int read = 0; read < 20; ++read) { // the first one reads on, so that the second has waited for the longest time
        ASSERT_FALSE(clients[0].read(200'000).isEmpty());
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_EQ(StreamClient(port).readAll(), whole());
    EXPECT_TRUE(eventually([&] { return clients[1].wasReset(); }));
    EXPECT_FALSE(clients[0].wasReset());
    EXPECT_FALSE(clients[2].wasReset());
    EXPECT_FALSE(clients[3].wasReset());
    EXPECT_EQ(clients[1].readAll().end, End::reset); // half a message does not look like a whole one
}

TEST_F(EpollStreamListenerLimitsTest, AtMost256AreOpen)
{
    answer = message(1'000'000);
    start();
    const auto clients = stalled(300);
    ASSERT_TRUE(soon([this] { return accepted == 300; }));
    EXPECT_EQ(listener->connectionCount(), 256U);
    EXPECT_EQ(StreamClient(port).readAll(), whole());
}

TEST_F(EpollStreamListenerLimitsTest, BurstOfHealthyClientsIsServedWhole)
{
    StreamLimits limits;
    limits.open = 8;
    start(limits);
    std::deque<StreamClient> clients;
    for (int number = 0; number < 200; ++number)
        clients.emplace_back(port);
    std::vector<std::jthread> readers;
    std::atomic<int> served = 0;
    for (StreamClient &client : clients) {
        readers.emplace_back([&] {
            served += client.readAll() == whole();
            client.endStream();
        });
    }
    readers.clear();
    EXPECT_EQ(served, 200);
}

TEST_F(EpollStreamListenerLimitsTest, ClientThatResetsIsForgotten)
{
    answer = message(3'000'000);
    start();
    for (int number = 0; number < 300; ++number) {
        StreamClient client(port, 2048);
        if (number % 3 == 0)
            client.send("request");
        if (number % 2 == 0)
            client.read(1000);
        client.reset();
    }
    EXPECT_TRUE(noneOpen());
    EXPECT_EQ(StreamClient(port).readAll(), whole());
    EXPECT_EQ(failures, QStringList());
}

TEST_F(EpollStreamListenerLimitsTest, ClientThatWentBeforeItsMessageIsForgotten)
{
    start({}, false);
    StreamClient(port).reset();
    ASSERT_TRUE(soon([this] { return waiting.size() == 1; }));
    waiting[0]->sendFinalMessage(answer);
    EXPECT_TRUE(noneOpen());
}

TEST_F(EpollStreamListenerLimitsTest, ClientThatLeavesAfterEndingItsStreamIsForgotten)
{
    start({}, false);
    for (int number = 0; number < 50; ++number) { // the message is on its way when the client, whose stream has ended, resets
        StreamClient client(port, 2048);
        ASSERT_TRUE(soon([this] { return waiting.size() == 1; }));
        client.endStream();
        waiting[0]->sendFinalMessage(answer);
        waiting.clear();
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_TRUE(noneOpen());
}

TEST_F(EpollStreamListenerLimitsTest, TenThousandClientsComeAndGo)
{
    start();
    for (int number = 0; number < 10'000; ++number) {
        StreamClient client(port);
        if (number % 100 == 0) {
            ASSERT_EQ(client.readAll(), whole());
        }
    }
    EXPECT_EQ(StreamClient(port).readAll(), whole());
    EXPECT_TRUE(noneOpen());
    EXPECT_EQ(failures, QStringList());
}

TEST_F(EpollStreamListenerLimitsTest, WithoutDescriptorsNewcomersWaitAndNobodyIsKeptBusy)
{
    start();
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    StreamClient client(port);
    EXPECT_EQ(client.readAll(), whole());
    client.endStream();
    ASSERT_TRUE(noneOpen());
    rlimit few = before;
    few.rlim_cur = nextDescriptor() + 1; // that one is what the newcomer takes
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    StreamClient newcomer(port);
    const std::clock_t busy = std::clock();
    std::this_thread::sleep_for(300ms);
    EXPECT_LT(double(std::clock() - busy) / CLOCKS_PER_SEC, 0.1);
    EXPECT_EQ(accepted, 1);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(newcomer.readAll(), whole());
    EXPECT_EQ(failures, QStringList());
}

TEST_F(EpollStreamListenerLimitsTest, WhoHasStalledMakesRoomWhereDescriptorsRunOut)
{
    answer = message(5'000'000);
    start();
    const auto clients = stalled(10);
    ASSERT_TRUE(soon([this] { return accepted == 10; }));
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit few = before;
    few.rlim_cur = nextDescriptor() + 1;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    StreamClient newcomer(port);
    const StreamClient::Reading reading = newcomer.readAll();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(reading, whole());
}

TEST_F(EpollStreamListenerLimitsTest, WithoutDescriptorsItDoesNotStartAndSaysWhy)
{
    start(); // once with descriptors: the sanitizer needs a pipe to get to know a class
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit none = before;
    none.rlim_cur = 0;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EpollStreamListener own;
    const auto started = own.start([](const std::shared_ptr<StreamConnection> &) {}, [](const QString &) {});
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(started.port, 0);
    EXPECT_EQ(started.error, "Too many open files");
}

TEST_F(EpollStreamListenerLimitsTest, WithoutAThreadItDoesNotStart)
{
    const NoMoreThreads limit;
    EpollStreamListener own;
    const auto started = own.start([](const std::shared_ptr<StreamConnection> &) {}, [](const QString &) {});
    EXPECT_EQ(started.port, 0);
    EXPECT_NE(started.error, "");
}

/// The descriptor of this process that listens at the port.
int listeningDescriptor(quint16 port)
{
    for (int number = 0; number < 1024; ++number) {
        sockaddr_in6 address = {};
        socklen_t size = sizeof address;
        int listens = 0;
        socklen_t flag = sizeof listens;
        if (getsockname(number, reinterpret_cast<sockaddr *>(&address), &size) == 0 && address.sin6_port == htons(port)
            && getsockopt(number, SOL_SOCKET, SO_ACCEPTCONN, &listens, &flag) == 0 && listens != 0)
            return number;
    }
    return -1;
}

TEST_F(EpollStreamListenerLimitsTest, BrokenListeningSocketIsReportedOnceAndOpenConnectionsGoOn)
{
    answer = message(5'000'000);
    start();
    StreamClient client(port, 2048);
    ASSERT_TRUE(soon([this] { return accepted == 1; }));
    ASSERT_EQ(shutdown(listeningDescriptor(port), SHUT_RDWR), 0);
    ASSERT_TRUE(soon([this] { return !failures.isEmpty(); }));
    EXPECT_EQ(client.readAll(), whole());
    EXPECT_EQ(failures, QStringList{"Invalid argument"});
}

TEST_F(EpollStreamListenerLimitsTest, EndsPromptlyWithClientsThatStall)
{
    answer = message(5'000'000);
    start();
    auto clients = stalled(100);
    ASSERT_TRUE(soon([this] { return accepted == 100; }));
    const auto begin = std::chrono::steady_clock::now();
    listener.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 500ms);
    EXPECT_EQ(clients[0].readAll().end, End::reset);
}

TEST_F(EpollStreamListenerLimitsTest, WhatTheSystemHasTakenOverArrivesAfterTheListenerIsGone)
{
    start({}, false);
    StreamClient client(port, 2048);
    ASSERT_TRUE(soon([this] { return waiting.size() == 1; }));
    waiting[0]->sendFinalMessage(answer);
    listener.reset();
    EXPECT_EQ(client.readAll(), whole());
}

TEST_F(EpollStreamListenerLimitsTest, AnswerAfterTheListenerIsGoneDoesNothing)
{
    start({}, false);
    StreamClient client(port);
    ASSERT_TRUE(soon([this] { return waiting.size() == 1; }));
    listener.reset();
    waiting[0]->sendFinalMessage(answer);
    waiting.clear();
    EXPECT_EQ(client.readAll().bytes, QByteArray());
}

} // namespace
