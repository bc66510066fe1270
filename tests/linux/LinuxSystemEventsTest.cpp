#include "platform/linux/LinuxSystemEvents.h"

#include "platform/linux/InterfaceAddresses.h"
#include "tests/fakes/FakeSystemLog.h"
#include "tests/fakes/VirtualDispatch.h"
#include "tests/linux/PrivateNetwork.h"
#include "tests/support/RunUntil.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

constexpr const char *noBus = "unix:path=/nonexistent/bus";

/// Listens to the same messages without taking them, to show what a listener had to cope with.
class Witness
{
public:
    Witness() : m_socket(mnl_socket_open2(NETLINK_ROUTE, SOCK_NONBLOCK))
    {
        mnl_socket_bind(m_socket, RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE, MNL_SOCKET_AUTOPID);
    }
    ~Witness() { mnl_socket_close(m_socket); }
    Witness(const Witness &) = delete;
    Witness &operator=(const Witness &) = delete;

    /// Whether the kernel had to drop messages.
    [[nodiscard]] bool overflowed() const
    {
        char byte = 0;
        return recv(mnl_socket_get_fd(m_socket), &byte, 1, MSG_DONTWAIT | MSG_PEEK) < 0 && errno == ENOBUFS;
    }

private:
    mnl_socket *m_socket;
};

/// A machine with one cable: lan0 is its end, far0 the other one. Time stands still except in `settle`.
class NetworkEvents : public PrivateNetworkTest
{
protected:
    void SetUp() override
    {
        PrivateNetworkTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        ASSERT_TRUE(PrivateNetwork::ip("link add lan0 type veth peer name far0\n"
                                       "link set lan0 up\n"
                                       "link set far0 up\n"
                                       "address add 192.168.1.20/24 dev lan0\n"
                                       "route add default via 192.168.1.1"));
        ASSERT_TRUE(runUntil([] { return lanRuns(); }));
        events.start([this] { ++changes; }, {});
    }
    static bool lanRuns()
    {
        const auto addresses = readInterfaceAddresses().value_or(QList<InterfaceAddress>());
        return std::any_of(addresses.begin(), addresses.end(), [](const InterfaceAddress &entry) { return entry.name == "lan0" && entry.running; });
    }
    /// Takes what the kernel has sent, then lets the settling time pass.
    void settle()
    {
        QCoreApplication::processEvents();
        dispatch.advance(NetworkWatcher::settlingTime);
    }
    /// Waits for a change that the kernel reports in its own time.
    bool changesReach(int count)
    {
        return runUntil([&] {
            settle();
            return changes >= count;
        });
    }

    VirtualDispatch dispatch;
    FakeSystemLog log;
    int changes = 0;
    LinuxSystemEvents events{dispatch, log, [](const InterfaceAddress &entry) { return !entry.loopback && !entry.name.startsWith("hidden"); }, noBus};
};

TEST_F(NetworkEvents, NothingIsToldBeforeSomethingChanges)
{
    settle();
    EXPECT_EQ(changes, 0);
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(NetworkEvents, AddressAddedAndRemovedAreOneEventEach)
{
    ASSERT_TRUE(PrivateNetwork::ip("address add 10.0.0.5/24 dev lan0"));
    settle();
    EXPECT_EQ(changes, 1);
    ASSERT_TRUE(PrivateNetwork::ip("address del 10.0.0.5/24 dev lan0"));
    settle();
    EXPECT_EQ(changes, 2);
}

TEST_F(NetworkEvents, NothingIsToldBeforeTheSettlingTimeHasPassed)
{
    ASSERT_TRUE(PrivateNetwork::ip("address add 10.0.0.5/24 dev lan0"));
    QCoreApplication::processEvents();
    dispatch.advance(NetworkWatcher::settlingTime - 1ms);
    EXPECT_EQ(changes, 0);
    dispatch.advance(1ms);
    EXPECT_EQ(changes, 1);
}

TEST_F(NetworkEvents, BurstIsReadOnceCountedFromItsFirstMessage)
{
    for (int number = 1; number <= 4; ++number) {
        ASSERT_TRUE(PrivateNetwork::ip(QString("address add 10.0.0.%1/24 dev lan0").arg(number)));
        QCoreApplication::processEvents();
        dispatch.advance(15ms); // a delay that began anew with each message would still run after the fourth
    }
    EXPECT_EQ(changes, 1);
    settle();
    EXPECT_EQ(changes, 1);
}

TEST_F(NetworkEvents, PrefixLengthChangedIsAnEvent)
{
    ASSERT_TRUE(PrivateNetwork::ip("address del 192.168.1.20/24 dev lan0\naddress add 192.168.1.20/16 dev lan0"));
    settle();
    EXPECT_EQ(changes, 1);
}

TEST_F(NetworkEvents, DefaultRouteRemovedIsAnEvent)
{
    ASSERT_TRUE(PrivateNetwork::ip("route del default"));
    settle();
    EXPECT_EQ(changes, 1);
}

TEST_F(NetworkEvents, AnotherRouteIsNoEvent)
{
    ASSERT_TRUE(PrivateNetwork::ip("route add 10.20.0.0/16 via 192.168.1.7\nroute add default via 192.168.1.9 table 77"));
    settle();
    EXPECT_EQ(changes, 0);
}

TEST_F(NetworkEvents, RunningFlagLostAndRegainedAreEvents)
{
    ASSERT_TRUE(PrivateNetwork::ip("link set far0 down"));
    ASSERT_TRUE(changesReach(1));
    EXPECT_FALSE(lanRuns());
    ASSERT_TRUE(PrivateNetwork::ip("link set far0 up"));
    ASSERT_TRUE(changesReach(2));
    EXPECT_TRUE(lanRuns());
}

TEST_F(NetworkEvents, ChangeUndoneWithinTheSettlingTimeIsNone)
{
    ASSERT_TRUE(PrivateNetwork::ip("address add 10.0.0.5/24 dev lan0\naddress del 10.0.0.5/24 dev lan0"));
    settle();
    EXPECT_EQ(changes, 0);
}

TEST_F(NetworkEvents, IPv6OnlyChangeIsNoEvent)
{
    ASSERT_TRUE(PrivateNetwork::ip("address add 2001:db8::5/64 dev lan0 nodad\nroute add default via 2001:db8::1"));
    settle();
    EXPECT_EQ(changes, 0);
}

TEST_F(NetworkEvents, HundredVethPairsCreatedAndRemovedAreNoEvent)
{
    for (int pair = 0; pair < 100; ++pair) {
        const QString name = QString("pair%1").arg(pair);
        ASSERT_TRUE(
            PrivateNetwork::ip("link add " + name + " type veth peer name " + name + "x\nlink set " + name + " up\nlink set " + name + "x up"));
        settle();
        ASSERT_TRUE(PrivateNetwork::ip("link del " + name));
        settle();
    }
    EXPECT_EQ(changes, 0);
    ASSERT_TRUE(PrivateNetwork::ip("address add 10.0.0.5/24 dev lan0")); // and it still listens
    settle();
    EXPECT_EQ(changes, 1);
}

TEST_F(NetworkEvents, AddressOnAHiddenInterfaceIsNoEvent)
{
    ASSERT_TRUE(PrivateNetwork::ip("link add hidden0 type veth peer name other0\nlink set hidden0 up\naddress add 172.17.0.1/16 dev hidden0"));
    settle();
    EXPECT_EQ(changes, 0);
}

TEST_F(NetworkEvents, LostMessagesLeadToAFreshReading)
{
    const Witness witness;
    QString lines;
    for (int round = 0; round < 500; ++round)
        lines += "address add 10.0.0.5/24 dev lan0\naddress del 10.0.0.5/24 dev lan0\n";
    ASSERT_TRUE(PrivateNetwork::ip(lines + "address add 10.0.0.6/24 dev lan0"));
    ASSERT_TRUE(witness.overflowed());
    settle();
    EXPECT_EQ(changes, 1);
    ASSERT_TRUE(PrivateNetwork::ip("address del 10.0.0.6/24 dev lan0")); // and it still listens
    settle();
    EXPECT_EQ(changes, 2);
}

TEST_F(NetworkEvents, NothingIsToldOnceItIsGone)
{
    auto other = std::make_unique<LinuxSystemEvents>(
        dispatch, log, [](const InterfaceAddress &) { return true; }, noBus);
    int told = 0;
    other->start([&] { ++told; }, {});
    ASSERT_TRUE(PrivateNetwork::ip("address add 10.0.0.5/24 dev lan0"));
    QCoreApplication::processEvents();
    other.reset();
    settle();
    EXPECT_EQ(told, 0);
}

TEST_F(NetworkEvents, EmptyCallbacksAreSkipped)
{
    LinuxSystemEvents other(
        dispatch, log, [](const InterfaceAddress &) { return true; }, noBus);
    other.start({}, {});
    ASSERT_TRUE(PrivateNetwork::ip("address add 10.0.0.5/24 dev lan0"));
    settle();
    EXPECT_EQ(changes, 1);
}

} // namespace
