#include "platform/linux/NeighbourKeeper.h"

#include "platform/linux/NetlinkSockets.h"
#include "platform/linux/RtnetlinkKernelTables.h"
#include "tests/fakes/FakeNetlinkTransport.h"
#include "tests/linux/PrivateNetwork.h"
#include "tests/support/NoMoreThreads.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include <memory>
#include <utility>

using namespace lanterna;

namespace
{

/// lan0 and far0 are the two ends of a cable; nobody answers at the far end.
class NeighbourKeeperTest : public CableTest
{
protected:
    NeighbourKeeperTest() : CableTest("address add 10.7.0.1/16 dev lan0") { }
    static QString neighbours(int count, const QString &state = "stale")
    {
        QString lines;
        for (int number = 0; number < count; ++number)
            lines +=
                QString("neighbour replace 10.7.%1.%2 lladdr 02:00:00:00:00:09 dev lan0 nud %3\n").arg(1 + number / 250).arg(number % 250).arg(state);
        return lines.trimmed();
    }
    static int threads() { return int(QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot).size()); }
    /// The kernel notices a carrier that went a moment later; waits for at most ten seconds.
    [[nodiscard]] bool soonEmpty() const
    {
        QElapsedTimer time;
        time.start();
        while (rows() > 0 && time.elapsed() < 10'000)
            QThread::msleep(5);
        return rows() == 0;
    }
    [[nodiscard]] qsizetype rows() const { return tables.neighbourTableText().count('\n'); }

    RtnetlinkKernelTables tables;
};

TEST_F(NeighbourKeeperTest, NeighboursThatTheKernelDropsForTheirAgeAreKept)
{
    // The kernel looks every 15 s or so, when there are more than 128. What counts as old is a setting of the interface, in this namespace only.
    QFile age("/proc/sys/net/ipv4/neigh/lan0/gc_stale_time");
    if (!age.open(QIODevice::WriteOnly | QIODevice::Unbuffered) || age.write("1") != 1)
        GTEST_SKIP() << "the age at which neighbours are dropped cannot be set here";
    ASSERT_TRUE(PrivateNetwork::ip(neighbours(70)));
    const RtnetlinkKernelTables other;
    const auto kept = other.keepNeighbours();
    auto early = tables.keepNeighbours(); // knows these from the table, and the others from messages
    ASSERT_TRUE(PrivateNetwork::ip(neighbours(140)));
    const RtnetlinkKernelTables plain; // without a memory
    QElapsedTimer time;
    time.start();
    while (!plain.neighbourTableText().isEmpty() && time.elapsed() < 40'000)
        QThread::msleep(100);
    const QString left = plain.neighbourTableText();
    ASSERT_TRUE(left.isEmpty() && !left.isNull()) << "the kernel has not dropped all in 40 s: " << qPrintable(left);
    EXPECT_EQ(rows(), 140);
    EXPECT_TRUE(tables.neighbourTableText().startsWith("? (10.7.1.0) at 02:00:00:00:00:09 on lan0\n"));
    const auto late = tables.keepNeighbours();
    EXPECT_EQ(rows(), 140);
    early.reset(); // all were dropped before the other began
    EXPECT_EQ(rows(), 0);
    EXPECT_EQ(other.neighbourTableText().count('\n'), 140);
    ASSERT_TRUE(PrivateNetwork::ip("link set lan0 down"));
    EXPECT_EQ(other.neighbourTableText().count('\n'), 0);
}

TEST_F(NeighbourKeeperTest, RemovedNeighboursAreNotKept)
{
    const auto handle = tables.keepNeighbours();
    ASSERT_TRUE(PrivateNetwork::ip(neighbours(3, "permanent")));
    ASSERT_EQ(rows(), 3);
    ASSERT_TRUE(PrivateNetwork::ip("neighbour del 10.7.1.0 dev lan0"));
    EXPECT_EQ(rows(), 2);
    ASSERT_TRUE(PrivateNetwork::ip("neighbour flush dev lan0 nud permanent"));
    EXPECT_EQ(rows(), 0);
}

TEST_F(NeighbourKeeperTest, NeighboursGoWithInterfaceCarrierAndAddress)
{
    const auto handle = tables.keepNeighbours();
    for (const char *change : {"link set lan0 down", "link set far0 down", "address flush dev lan0", "link del lan0"}) {
        ASSERT_TRUE(PrivateNetwork::ip(neighbours(3))) << change;
        ASSERT_EQ(rows(), 3) << change;
        ASSERT_TRUE(PrivateNetwork::ip(change)) << change;
        EXPECT_TRUE(soonEmpty()) << change;
        if (QByteArrayView(change) != "link del lan0") {
            ASSERT_TRUE(PrivateNetwork::ip("link set lan0 up\nlink set far0 up\naddress replace 10.7.0.1/16 dev lan0")) << change;
        }
    }
}

TEST_F(NeighbourKeeperTest, HandlesShareOneMemoryAndOneThread)
{
    tables.keepNeighbours().reset(); // the thread sanitizer starts a thread of its own with the first
    const int before = threads();
    auto first = tables.keepNeighbours();
    auto second = tables.keepNeighbours();
    EXPECT_EQ(threads(), before + 1);
    first.reset();
    EXPECT_EQ(threads(), before + 1);
    second.reset();
    EXPECT_EQ(threads(), before);
}

TEST_F(NeighbourKeeperTest, WithoutAThreadTheHandleIsEmptyAndTheTableTheKernels)
{
    {
        const NoMoreThreads limit;
        EXPECT_FALSE(tables.keepNeighbours());
    }
    ASSERT_TRUE(PrivateNetwork::ip(neighbours(3)));
    EXPECT_EQ(rows(), 3);
    EXPECT_TRUE(tables.keepNeighbours());
}

TEST_F(NeighbourKeeperTest, HandleMayOutliveTheTables)
{
    auto other = std::make_unique<RtnetlinkKernelTables>();
    const auto handle = other->keepNeighbours();
    other.reset();
    EXPECT_TRUE(PrivateNetwork::ip(neighbours(3)));
}

TEST_F(NeighbourKeeperTest, MemoryIsTheTableOfItsBeginningAndTheNewsSince)
{
    ASSERT_TRUE(PrivateNetwork::ip(neighbours(2)));
    const auto keeper = NeighbourKeeper::begin(std::make_shared<NetlinkSockets>());
    ASSERT_TRUE(keeper);
    EXPECT_EQ(keeper->merge({}).size(), 2);
    ASSERT_TRUE(PrivateNetwork::ip(neighbours(5)));
    EXPECT_EQ(keeper->merge({}).size(), 5);
}

TEST_F(NeighbourKeeperTest, LostMessagesAreMadeUpForByTheTable)
{
    // While the first table is read nobody takes messages, of which there is room for one or two.
    NetlinkSockets kernel;
    bool first = true;
    const auto busy = std::make_shared<FakeNetlinkTransport>([&](NetlinkBus bus, const QByteArray &request) {
        const NetlinkAnswer answer = kernel.exchange(bus, request);
        if (std::exchange(first, false)) {
            EXPECT_TRUE(PrivateNetwork::ip(neighbours(100)));
        }
        return answer;
    });
    const auto keeper = NeighbourKeeper::begin(busy, 1);
    ASSERT_TRUE(keeper);
    EXPECT_EQ(keeper->merge({}).size(), 100);
    EXPECT_EQ(busy->count(), 4) << "two tables, twice";
}

TEST_F(NeighbourKeeperTest, MachineItselfIsNoNeighbour)
{
    const auto handle = tables.keepNeighbours();
    ASSERT_TRUE(PrivateNetwork::ip("address add 10.7.0.2/16 dev lan0\n" + neighbours(1)));
    EXPECT_EQ(tables.neighbourTableText(), "? (10.7.1.0) at 02:00:00:00:00:09 on lan0\n");
}

TEST_F(NeighbourKeeperTest, InterfaceOfTheDefaultRouteComesLast)
{
    ASSERT_TRUE(PrivateNetwork::ip("address add 10.9.0.1/24 dev far0\n"
                                   "neighbour add 10.9.0.5 lladdr 02:00:00:00:00:05 dev lan0 nud permanent\n"
                                   "neighbour add 10.9.0.6 lladdr 02:00:00:00:00:06 dev far0 nud permanent\n"
                                   "route add default via 10.9.0.6 metric 700"));
    EXPECT_EQ(tables.neighbourTableText(), "? (10.9.0.5) at 02:00:00:00:00:05 on lan0\n? (10.9.0.6) at 02:00:00:00:00:06 on far0\n");
    ASSERT_TRUE(PrivateNetwork::ip("route add default via 10.7.0.9 metric 50"));
    EXPECT_EQ(tables.neighbourTableText(), "? (10.9.0.6) at 02:00:00:00:00:06 on far0\n? (10.9.0.5) at 02:00:00:00:00:05 on lan0\n");
}

TEST_F(NeighbourKeeperTest, DefaultRouteWithoutAGatewayCountsWhereNoneHasOne)
{
    const QString lanLast = "? (10.9.0.6) at 02:00:00:00:00:06 on far0\n? (10.9.0.5) at 02:00:00:00:00:05 on lan0\n";
    const QString farLast = "? (10.9.0.5) at 02:00:00:00:00:05 on lan0\n? (10.9.0.6) at 02:00:00:00:00:06 on far0\n";
    ASSERT_TRUE(PrivateNetwork::ip("address add 10.9.0.1/24 dev far0\n"
                                   "neighbour add 10.9.0.5 lladdr 02:00:00:00:00:05 dev lan0 nud permanent\n"
                                   "neighbour add 10.9.0.6 lladdr 02:00:00:00:00:06 dev far0 nud permanent\n"
                                   "route add default dev lan0 metric 50"));
    EXPECT_EQ(tables.neighbourTableText(), lanLast);
    ASSERT_TRUE(PrivateNetwork::ip("route add default via 10.9.0.6 metric 700"));
    EXPECT_EQ(tables.neighbourTableText(), farLast);
}

} // namespace
