#include "tests/linux/EpollStreamListenerTest.h"

#include <QFile>

#include <ctime>

using namespace lanterna;
using namespace std::chrono_literals;
using End = StreamClient::End;

namespace
{

TEST_F(EpollStreamListenerTest, ClientThatSendsNothingGetsEveryByteAndTheEndOfTheStream)
{
    start();
    EXPECT_EQ(StreamClient(port).readAll(), whole());
    EXPECT_TRUE(noneOpen());
    EXPECT_EQ(failures, QStringList());
}

TEST_F(EpollStreamListenerTest, ClientsComeOverIPv6AsWell)
{
    start();
    EXPECT_EQ(StreamClient(port, 0, true).readAll(), whole());
}

TEST_F(EpollStreamListenerTest, WhereIPv6IsSwitchedOffClientsComeOverIPv4)
{
    QFile off("/proc/sys/net/ipv6/conf/all/disable_ipv6");
    if (!off.open(QFile::WriteOnly) || off.write("1") != 1 || !off.flush())
        GTEST_SKIP() << "IPv6 cannot be switched off here";
    start();
    EXPECT_FALSE(StreamClient(port, 0, true).isConnected());
    EXPECT_EQ(StreamClient(port).readAll(), whole());
}

TEST_F(EpollStreamListenerTest, EmptyMessageIsTheEndOfTheStream)
{
    answer.clear();
    start();
    EXPECT_EQ(StreamClient(port).readAll(), whole());
}

TEST_F(EpollStreamListenerTest, LargeMessageArrivesWhole)
{
    answer = message(10'000'000);
    start();
    EXPECT_EQ(StreamClient(port).readAll(), whole());
    EXPECT_TRUE(noneOpen());
}

TEST_F(EpollStreamListenerTest, MessageMayBeSentLaterFromAnotherThread)
{
    start({}, false);
    StreamClient client(port);
    ASSERT_TRUE(soon([this] { return waiting.size() == 1; }));
    waiting[0]->sendFinalMessage(answer);
    waiting[0]->sendFinalMessage("once at most");
    waiting.clear();
    EXPECT_EQ(client.readAll(), whole());
}

TEST_F(EpollStreamListenerTest, DroppingAConnectionUnansweredDisconnectsTheClient)
{
    start({}, false);
    StreamClient client(port);
    ASSERT_TRUE(soon([this] { return waiting.size() == 1; }));
    waiting.clear();
    EXPECT_NE(client.readAll().end, End::nothingCame);
    EXPECT_TRUE(noneOpen());
}

TEST_F(EpollStreamListenerTest, ClientThatSendsARequestFirstGetsEveryByteAndACleanEnd)
{
    start();
    for (int round = 0; round < 20; ++round) {
        StreamClient client(port, 2048);
        ASSERT_TRUE(client.send("GET / HTTP/1.1\r\nHost: sensor\r\n\r\n"));
        const QByteArray first = client.read(100); // and nothing for a moment: the server is through by now
        std::this_thread::sleep_for(2ms);
        StreamClient::Reading rest = client.readAll();
        rest.bytes.prepend(first);
        ASSERT_EQ(rest, whole());
    }
}

TEST_F(EpollStreamListenerTest, MegabytesFromTheClientAreIgnored)
{
    answer = message(2'000'000);
    start();
    StreamClient client(port, 2048);
    ASSERT_TRUE(client.send(message(8'000'000))); // which it reads nothing before
    EXPECT_EQ(client.readAll(), whole());
    ASSERT_TRUE(client.send(message(1'000'000)));
    client.endStream();
    EXPECT_TRUE(noneOpen());
}

TEST_F(EpollStreamListenerTest, ClientThatEndsItsStreamFirstGetsEveryByte)
{
    answer = message(2'000'000);
    start();
    StreamClient client(port, 2048);
    client.endStream();
    EXPECT_EQ(client.readAll(), whole());
    EXPECT_TRUE(noneOpen());
}

TEST_F(EpollStreamListenerTest, EndOfAClientsStreamKeepsNobodyBusy)
{
    answer = message(10'000'000);
    start();
    StreamClient client(port, 2048);
    client.endStream();
    ASSERT_TRUE(eventually([this] { return accepted == 1; }));
    const std::clock_t before = std::clock();
    std::this_thread::sleep_for(300ms);
    EXPECT_LT(double(std::clock() - before) / CLOCKS_PER_SEC, 0.1);
}

TEST_F(EpollStreamListenerTest, SlowReaderDelaysNobody)
{
    answer = message(2'000'000);
    start();
    auto slow = stalled(20);
    for (int number = 0; number < 5; ++number)
        EXPECT_EQ(StreamClient(port).readAll(), whole());
    for (StreamClient &client : slow)
        EXPECT_EQ(client.readAll(), whole()); // whenever it goes on
}

TEST_F(EpollStreamListenerTest, ReaderThatGoesOnAfterTheDrainsTimeGetsEveryByte)
{
    StreamLimits limits;
    limits.drain = 100ms;
    start(limits);
    StreamClient client(port, 2048);
    std::this_thread::sleep_for(500ms);
    EXPECT_EQ(client.readAll(), whole());
}

TEST_F(EpollStreamListenerTest, ClientThatStaysIsLeftSomeTimeAfterItsLastByte)
{
    StreamLimits limits;
    limits.drain = 100ms;
    start(limits);
    StreamClient client(port);
    EXPECT_EQ(client.readAll(), whole());
    EXPECT_TRUE(noneOpen());
}

TEST_F(EpollStreamListenerTest, ClientThatStaysAndSendsIsLeftAsWell)
{
    StreamLimits limits;
    limits.drain = 100ms;
    start(limits);
    StreamClient client(port);
    EXPECT_EQ(client.readAll(), whole());
    EXPECT_TRUE(eventually([&] { return !client.send("and another thing"); }));
    EXPECT_TRUE(noneOpen());
}

} // namespace
