#include "platform/linux/RtnetlinkKernelTables.h"

#include "platform/linux/InterfaceAddresses.h"
#include "tests/fakes/FakeNetlinkTransport.h"
#include "tests/linux/NetlinkBytes.h"
#include "tests/linux/PrivateNetwork.h"

#include <gtest/gtest.h>

#include <cerrno>

using namespace lanterna;

namespace
{

/// The tables of a real kernel, in a network of the test's own: lan0 and far0 are the two ends of a cable.
class KernelTablesTest : public CableTest
{
protected:
    KernelTablesTest() : CableTest("address add 192.168.77.20/24 broadcast 192.168.77.255 dev lan0") { }
    [[nodiscard]] QStringList routes() const { return tables.routingTableText().split('\n', Qt::SkipEmptyParts); }

    RtnetlinkKernelTables tables;
};

TEST_F(KernelTablesTest, DefaultRoutesAreListedByMetric)
{
    ASSERT_TRUE(PrivateNetwork::ip("route add default dev far0 metric 700\n"
                                   "route add default via 192.168.77.1 metric 100\n"
                                   "route add default via 192.168.77.2 metric 50"));
    EXPECT_EQ(routes().join('\n'),
        "default 192.168.77.2 UGSc lan0\n"
        "default 192.168.77.1 UGSc lan0\n"
        "default link#30 UCS far0\n"
        "192.168.77.0/24 link#20 UCS lan0");
}

TEST_F(KernelTablesTest, RoutesOfOtherTablesAndRefusingOnesAreNotListed)
{
    ASSERT_TRUE(PrivateNetwork::ip("route add default via 192.168.77.9 table 51820\n"
                                   "route add unreachable default metric 9999"));
    EXPECT_EQ(routes(), QStringList{"192.168.77.0/24 link#20 UCS lan0"});
}

TEST_F(KernelTablesTest, MultipathDefaultShowsItsFirstWay)
{
    ASSERT_TRUE(PrivateNetwork::ip("address add 10.9.0.1/24 dev far0\n"
                                   "route add default nexthop via 192.168.77.1 dev lan0 nexthop via 10.9.0.2 dev far0"));
    EXPECT_EQ(routes().first(), "default 192.168.77.1 UGSc lan0");
}

TEST_F(KernelTablesTest, NeighboursAreListedAsTheArpCommandDoes)
{
    ASSERT_TRUE(PrivateNetwork::ip("neighbour add 192.168.77.100 lladdr 00:11:32:00:77:99 dev lan0 nud stale\n"
                                   "neighbour add 192.168.77.21 lladdr 00:11:32:00:77:14 dev lan0 nud reachable\n"
                                   "neighbour add 192.168.77.41 dev lan0 nud failed\n"
                                   "neighbour add 192.168.77.50 lladdr 00:11:32:00:77:15 dev lan0 nud noarp\n"
                                   "neighbour add 10.9.0.1 lladdr 02:00:00:00:00:01 dev far0 nud permanent"));
    EXPECT_EQ(tables.neighbourTableText(),
        "? (192.168.77.21) at 00:11:32:00:77:14 on lan0\n"
        "? (192.168.77.41) at (incomplete) on lan0\n"
        "? (192.168.77.100) at 00:11:32:00:77:99 on lan0\n"
        "? (10.9.0.1) at 02:00:00:00:00:01 on far0\n");
}

TEST_F(KernelTablesTest, ThousandRoutesArriveWhole)
{
    QString lines;
    for (int number = 0; number < 1000; ++number)
        lines += QString("route add 10.%1.%2.0/24 dev lan0\n").arg(number / 250).arg(number % 250);
    ASSERT_TRUE(PrivateNetwork::ip(lines));
    EXPECT_EQ(routes().size(), 1001);
}

TEST_F(KernelTablesTest, InterfaceWithOddBytesInItsNameIsListed)
{
    ASSERT_TRUE(PrivateNetwork::ip("link set far0 down\nlink set far0 name \"f\u00e4r\u2603\"\nlink set \"f\u00e4r\u2603\" up\n"
                                   "address add 10.9.0.1/24 dev \"f\u00e4r\u2603\""));
    EXPECT_TRUE(routes().contains(QString::fromUtf8("10.9.0.0/24 link#30 UCS f\u00e4r\u2603")));
}

TEST_F(KernelTablesTest, InterfaceListHoldsEveryIPv4Address)
{
    ASSERT_TRUE(PrivateNetwork::ip("address add 10.1.2.3/30 dev lan0\naddress add 2001:db8::1/64 dev lan0"));
    const QList<InterfaceAddress> addresses = tables.interfaceAddresses();
    ASSERT_EQ(addresses.size(), 3); // loopback and two of lan0
    EXPECT_TRUE(addresses[0].loopback);
    EXPECT_EQ(addresses[0].address, "127.0.0.1");
    EXPECT_EQ(addresses[0].prefixLength, 8);
    EXPECT_EQ(addresses[1], (InterfaceAddress{"lan0", 20, "192.168.77.20", "192.168.77.255", 24, true, true, false, true}));
    EXPECT_EQ(addresses[2].address, "10.1.2.3");
    EXPECT_EQ(addresses[2].prefixLength, 30);
}

TEST(KernelTablesErrors, TablesThatCannotBeReadAreNull)
{
    const auto kernel = std::make_shared<FakeNetlinkTransport>([](NetlinkBus, const QByteArray &) { return NetlinkAnswer{{}, EACCES}; });
    const RtnetlinkKernelTables tables(kernel);
    EXPECT_TRUE(tables.routingTableText().isNull());
    EXPECT_TRUE(tables.neighbourTableText().isNull());
}

TEST(KernelTablesErrors, TablesWithoutRowsAreEmptyAndNotNull)
{
    const auto kernel = std::make_shared<FakeNetlinkTransport>([](NetlinkBus, const QByteArray &) { return NetlinkAnswer{doneBytes(), 0}; });
    const RtnetlinkKernelTables tables(kernel);
    for (const QString &text : {tables.routingTableText(), tables.neighbourTableText()}) {
        EXPECT_TRUE(text.isEmpty());
        EXPECT_FALSE(text.isNull());
    }
}

} // namespace
