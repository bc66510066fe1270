#include "platform/linux/EpollHostTester.h"

#include "platform/linux/Descriptor.h"
#include "platform/linux/SocketAddress.h"
#include "tests/linux/PrivateNetwork.h"
#include "tests/support/NoMoreThreads.h"

#include <QStringList>

#include <condition_variable>
#include <mutex>
#include <set>
#include <thread>

#include <sys/resource.h>
#include <sys/socket.h>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

/// Every 127.x.y.z answers, and 10.50.0.0/16 lies behind a gateway that never does.
class EpollHostTesterTest : public CableTest
{
protected:
    EpollHostTesterTest()
        : CableTest("address add 192.168.77.20/24 dev lan0\n"
                    "neighbour add 192.168.77.1 lladdr 02:00:00:00:00:99 dev lan0 nud permanent\n"
                    "route add 10.50.0.0/16 via 192.168.77.1")
    {
    }
    void start(const QStringList &addresses, const std::vector<quint16> &ports, std::chrono::milliseconds patience = 200ms)
    {
        begin = std::chrono::steady_clock::now();
        handle = tester.test(
            addresses, {ports, patience},
            [this](const QString &address) {
                const std::scoped_lock lock(mutex);
                answers.append(address);
                changed.notify_all();
            },
            [this] {
                const std::scoped_lock lock(mutex);
                ++ends;
                answersAtEnd = answers.size();
                took = std::chrono::steady_clock::now() - begin;
                changed.notify_all();
            });
    }
    /// Waits for a condition on what was called; false after thirty seconds.
    template <typename Condition> bool soon(Condition condition)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, 30s, condition);
    }
    bool ended()
    {
        return soon([this] { return ends > 0; });
    }
    static Descriptor listener(const QString &address, quint16 port, int backlog)
    {
        Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        const auto at = socketAddress(address, port).value();
        EXPECT_EQ(bind(socket.get(), reinterpret_cast<const sockaddr *>(&at), sizeof at), 0);
        EXPECT_EQ(listen(socket.get(), backlog), 0);
        return socket;
    }
    /// A port that takes nobody: its queue holds one connection, and that one is there.
    static std::pair<Descriptor, Descriptor> silentPort(const QString &address, quint16 port)
    {
        Descriptor socket = listener(address, port, 0);
        Descriptor first(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const auto at = socketAddress(address, port).value();
        EXPECT_EQ(connect(first.get(), reinterpret_cast<const sockaddr *>(&at), sizeof at), 0);
        return {std::move(socket), std::move(first)};
    }
    static QStringList addresses(const QString &net, int count)
    {
        QStringList result;
        for (int number = 0; number < count; ++number)
            result.append(QString("%1.%2.%3").arg(net).arg(number / 200).arg(number % 200 + 1));
        return result;
    }

    EpollHostTester tester;
    std::mutex mutex;
    std::condition_variable changed;
    QStringList answers;
    qsizetype answersAtEnd = -1;
    int ends = 0;
    std::chrono::steady_clock::time_point begin;
    std::chrono::steady_clock::duration took{};
    std::shared_ptr<void> handle; // goes first
};

TEST_F(EpollHostTesterTest, HostThatTakesTheConnectionAnswers)
{
    const Descriptor there = listener("127.0.0.5", 445, 5);
    start({"127.0.0.5"}, {445}, 20s);
    ASSERT_TRUE(ended());
    EXPECT_EQ(answers, QStringList{"127.0.0.5"});
    EXPECT_LT(took, 10s);
}

TEST_F(EpollHostTesterTest, HostThatRefusesAnswersToo)
{
    start({"127.0.0.6"}, {445}, 20s);
    ASSERT_TRUE(ended());
    EXPECT_EQ(answers, QStringList{"127.0.0.6"});
    EXPECT_LT(took, 10s);
}

TEST_F(EpollHostTesterTest, FurtherPortsOfAHostThatAnsweredAreLeftAlone)
{
    const Descriptor first = listener("127.0.0.5", 80, 5);
    const Descriptor second = listener("127.0.0.5", 443, 5);
    start({"127.0.0.5"}, {80, 443});
    ASSERT_TRUE(ended());
    EXPECT_EQ(answers.size(), 1);
    EXPECT_TRUE(Descriptor(accept(first.get(), nullptr, nullptr)));
    EXPECT_FALSE(Descriptor(accept(second.get(), nullptr, nullptr)));
}

TEST_F(EpollHostTesterTest, SilentPortIsFollowedByTheNext)
{
    const auto silent = silentPort("127.0.0.5", 80);
    start({"127.0.0.5"}, {80, 443});
    ASSERT_TRUE(ended());
    EXPECT_EQ(answers, QStringList{"127.0.0.5"});
    EXPECT_GE(took, 200ms);
}

TEST_F(EpollHostTesterTest, SilentHostHasItsPatienceForEachPort)
{
    start({"10.50.0.1"}, {80, 443, 22}, 100ms);
    ASSERT_TRUE(ended());
    EXPECT_EQ(answers, QStringList());
    EXPECT_GE(took, 300ms);
    EXPECT_LT(took, 10s);
}

TEST_F(EpollHostTesterTest, UnreachableHostIsNotWaitedFor)
{
    start({"203.0.113.9", "192.168.77.255"}, {80, 443}, 20s);
    ASSERT_TRUE(ended());
    EXPECT_EQ(answers, QStringList());
    EXPECT_LT(took, 10s);
}

TEST_F(EpollHostTesterTest, AnswersComeWhileOthersAreWaitedFor)
{
    start({"10.50.0.1", "127.0.0.5", "10.50.0.2"}, {80}, 20s);
    EXPECT_TRUE(soon([this] { return answers == QStringList{"127.0.0.5"}; }));
    const std::scoped_lock lock(mutex);
    EXPECT_EQ(ends, 0);
}

TEST_F(EpollHostTesterTest, EndComesOnceAndAfterTheAnswers)
{
    start({"127.0.0.1", "127.0.0.2", "10.50.0.1", "127.0.0.3"}, {80}, 50ms);
    ASSERT_TRUE(ended());
    handle.reset();
    EXPECT_EQ(answersAtEnd, 3);
    EXPECT_EQ(answers.size(), 3);
    EXPECT_EQ(ends, 1);
}

TEST_F(EpollHostTesterTest, NothingToTestEndsOutsideTheCall)
{
    const std::thread::id caller = std::this_thread::get_id();
    std::thread::id where = caller;
    auto nothing = tester.test(
        {}, {{80}, 200ms}, [](const QString &) {},
        [&] {
            const std::scoped_lock lock(mutex);
            where = std::this_thread::get_id();
            ++ends;
            changed.notify_all();
        });
    ASSERT_TRUE(ended());
    EXPECT_NE(where, caller);
    nothing.reset();
    ends = 0;
    start({"127.0.0.1"}, {});
    ASSERT_TRUE(ended());
    EXPECT_EQ(answers, QStringList());
}

TEST_F(EpollHostTesterTest, WithoutAThreadNothingIsTestedOrCalled)
{
    {
        const NoMoreThreads limit;
        start({"127.0.0.5"}, {80});
    }
    EXPECT_FALSE(handle);
    EXPECT_EQ(answers, QStringList());
    EXPECT_EQ(ends, 0);
    start({"127.0.0.5"}, {80}); // the next one is like any other
    ASSERT_TRUE(ended());
    EXPECT_EQ(answers, QStringList{"127.0.0.5"});
}

TEST_F(EpollHostTesterTest, TextThatIsNoAddressAndRepeatsAreLeftOut)
{
    start({"here", "", "127.0.0.5", "::1", "127.0.0.5"}, {80});
    ASSERT_TRUE(ended());
    EXPECT_EQ(answers, QStringList{"127.0.0.5"});
}

TEST_F(EpollHostTesterTest, DroppedHandleReturnsAtOnceAndNothingIsCalledAfterwards)
{
    start(addresses("10.50", 3000) + addresses("127.1", 2000), {80, 443}, 20s);
    ASSERT_TRUE(soon([this] { return answers.size() > 10; }));
    const auto drop = std::chrono::steady_clock::now();
    handle.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - drop, 500ms);
    EXPECT_EQ(ends, 0);
}

TEST_F(EpollHostTesterTest, DroppedHandleIsNoticedWhileAllAreWaitedFor)
{
    for (int round = 0; round < 20; ++round) { // most of them find the thread asleep
        answers.clear();
        start({"10.50.0.1", "127.0.0.5", "10.50.0.2"}, {80}, 20s);
        ASSERT_TRUE(soon([this] { return answers.size() == 1; }));
        const auto drop = std::chrono::steady_clock::now();
        handle.reset();
        ASSERT_LT(std::chrono::steady_clock::now() - drop, 500ms);
    }
}

TEST_F(EpollHostTesterTest, TwoThousandHostsAllAnswer)
{
    const QStringList all = addresses("127.1", 2000);
    start(all, {80}, 20s);
    ASSERT_TRUE(ended());
    EXPECT_EQ(std::set<QString>(answers.begin(), answers.end()), std::set<QString>(all.begin(), all.end()));
    EXPECT_EQ(answers.size(), 2000);
}

TEST_F(EpollHostTesterTest, MoreHostsThanMayBeUnderWayAreAllTested)
{
    start(addresses("10.50", 10'000) + addresses("127.1", 1000), {80}, 200ms);
    ASSERT_TRUE(ended());
    EXPECT_EQ(answers.size(), 1000);
    EXPECT_GE(took, 400ms); // 10,000 do not fit into one patience, as 4,000 are tested at a time
}

TEST(EpollHostTesterLimit, DescriptorsAreRaisedToEnoughAndNeverLowered)
{
    EXPECT_EQ(EpollHostTester::wantedDescriptors(1024, 1'048'576), 8192U);
    EXPECT_EQ(EpollHostTester::wantedDescriptors(1024, RLIM_INFINITY), 8192U);
    EXPECT_EQ(EpollHostTester::wantedDescriptors(1024, 4096), 4096U);
    EXPECT_EQ(EpollHostTester::wantedDescriptors(20'000, 524'288), 20'000U);
    EXPECT_EQ(EpollHostTester::wantedDescriptors(RLIM_INFINITY, RLIM_INFINITY), RLIM_INFINITY);
}

TEST_F(EpollHostTesterTest, HostsWaitForDescriptorsWhereTheseRunOut)
{
    rlimit given = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &given), 0);
    tester
        .test(
            {}, {}, [](const QString &) {}, [] {})
        .reset(); // the first test has raised the limit after this
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(before.rlim_cur, EpollHostTester::wantedDescriptors(given.rlim_cur, given.rlim_max));
    const Descriptor highest(dup(0));
    rlimit few = before;
    few.rlim_cur = rlim_t(highest.get()) + 9; // two of which the watch itself takes
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    start(addresses("127.1", 300), {80}, 20s);
    const bool allDone = ended();
    setrlimit(RLIMIT_NOFILE, &before);
    ASSERT_TRUE(allDone);
    EXPECT_EQ(answers.size(), 300);
}

} // namespace
