#include "platform/linux/WatchedKernelTables.h"

#include "platform/linux/InterfaceAddresses.h"
#include "tests/linux/PrivateNetwork.h"

#include <sys/resource.h>

using namespace lanterna;

namespace
{

/// A machine with a cable whose near end has an address.
class WatchedKernelTablesTest : public CableTest
{
protected:
    WatchedKernelTablesTest() : CableTest("address add 192.168.77.20/24 broadcast 192.168.77.255 dev lan0") { }
    /// Whether it says at once what the system's list says.
    [[nodiscard]] bool isRight() const { return tables.interfaceAddresses() == readInterfaceAddresses(); }

    WatchedKernelTables tables;
};

TEST_F(WatchedKernelTablesTest, ListIsThatOfTheSystem)
{
    EXPECT_EQ(tables.interfaceAddresses().size(), 2);
    EXPECT_TRUE(isRight());
}

TEST_F(WatchedKernelTablesTest, ListIsSharedWhileNothingChanges)
{
    (void)tables.interfaceAddresses(); // what came in before the watch is news to it
    EXPECT_TRUE(tables.interfaceAddresses().isSharedWith(tables.interfaceAddresses()));
}

TEST_F(WatchedKernelTablesTest, EveryChangeShowsAtOnce)
{
    for (const char *change : {"address add 10.8.0.2/24 dev lan0", "address add 10.8.1.2/24 dev lan0 label lan0:1", "link set lan0 down",
             "link set lan0 up", "address del 192.168.77.20/24 dev lan0", "link set far0 down", "link set lan0 down\nlink set lan0 name net0",
             "link add eth1 type veth peer name eth2\naddress add 10.7.0.1/24 dev eth1\nlink set eth1 up", "link set eth2 up", "link del eth1",
             "link set lo down"}) {
        ASSERT_TRUE(isRight());
        ASSERT_TRUE(PrivateNetwork::ip(change));
        ASSERT_TRUE(isRight()) << change;
    }
}

TEST_F(WatchedKernelTablesTest, ChangesBeyondNumberShowToo)
{
    ASSERT_TRUE(isRight());
    QString lines;
    for (int number = 1; number < 250; ++number) // more messages than the kernel keeps
        lines += QStringLiteral("address add 10.8.0.%1/24 dev lan0\n").arg(number);
    ASSERT_TRUE(PrivateNetwork::ip(lines));
    EXPECT_TRUE(isRight());
    EXPECT_EQ(tables.interfaceAddresses().size(), 251);
}

TEST_F(WatchedKernelTablesTest, WithoutADescriptorForTheWatchTheListIsReadEachTime)
{
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit none = before;
    none.rlim_cur = 0;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_TRUE(tables.interfaceAddresses().isEmpty());
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_TRUE(isRight());
    EXPECT_EQ(tables.interfaceAddresses().size(), 2);
}

} // namespace
