#include "platform/linux/AvahiStack.h"

#include "platform/linux/AvahiServiceDiscovery.h"
#include "platform/linux/QtDispatch.h"

#include "tests/linux/PrivateNetwork.h"
#include "tests/support/RunUntil.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

// Before any test: the bus library remembers the first address it was given. The machine's own daemon sees the real network.
const bool noSystemBus = qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/lanterna-tests");

/// Whether somebody in this network namespace listens for multicast DNS.
bool isOnMdns()
{
    QFile sockets(QStringLiteral("/proc/thread-self/net/udp"));
    return sockets.open(QIODevice::ReadOnly) && sockets.readAll().contains(":14E9 "); // port 5353
}

/// A machine with one network, nobody else on it, and no avahi-daemon.
class AvahiStackTest : public PrivateNetworkTest
{
protected:
    void SetUp() override
    {
        PrivateNetworkTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        ASSERT_TRUE(noSystemBus);
        ASSERT_TRUE(
            PrivateNetwork::ip("link add eth0 type veth peer name eth1\nlink set eth0 up\nlink set eth1 up\naddr add 192.168.77.10/24 dev eth0"));
    }
    std::shared_ptr<void> search(const QString &type)
    {
        return discovery->searchForServices(
            type, "local.", [](const auto &) {}, [this] { ++ended; });
    }

    std::unique_ptr<PublishedService> publish(quint16 port = 40123) const
    {
        return discovery->publish({"Hall sensor", "_rgfscanmac._tcp", "", port, {{"rev", "1"}}});
    }

    QtDispatch dispatch;
    std::unique_ptr<AvahiServiceDiscovery> discovery = std::make_unique<AvahiServiceDiscovery>(dispatch);
    int ended = 0;
};

/// Another program of this machine, which watches for the service.
struct Neighbour {
    explicit Neighbour(Dispatch &dispatch) : discovery(dispatch) { }

    AvahiServiceDiscovery discovery;
    std::map<QString, ServiceInstance> found;
    std::shared_ptr<void> watching =
        discovery.watchForServices("_rgfscanmac._tcp", {}, [this](const ServiceInstance &service) { found.emplace(service.name, service); });
};

} // namespace

TEST_F(AvahiStackTest, WithoutDaemonTheProgramItselfIsOnTheNetworkWhileItSearches)
{
    EXPECT_FALSE(isOnMdns());
    auto handle = search("_ipp._tcp.");
    EXPECT_TRUE(runUntil(isOnMdns));
    handle.reset();
    EXPECT_TRUE(runUntil([] { return !isOnMdns(); }));
    EXPECT_EQ(ended, 0);
}

TEST_F(AvahiStackTest, WhatIsNoTypeCannotBeSearchedFor)
{
    const auto valid = search("_ipp._tcp.");
    const auto invalid = {search("ipp"), search(""), search("_ipp._tcp." + QString(QChar(0)) + "x"), search("_" + QString(300, 'a') + "._tcp.")};
    EXPECT_TRUE(runUntil([&] { return ended == int(invalid.size()); }));
}

TEST_F(AvahiStackTest, WhatIsNoServiceIsNotFoundAndHurtsNobody)
{
    int none = 0;
    std::vector<std::shared_ptr<void>> handles;
    for (const ServiceInstance &service : {ServiceInstance{QString(64, 'a'), "_ipp._tcp.", "local.", 2}, ServiceInstance{"a", "ipp", "local.", 2},
             ServiceInstance{"a", "_ipp._tcp.", "a..b", 2}, ServiceInstance{"a", "_ipp._tcp.", "local.", 0x80000000U},
             ServiceInstance{QString(QChar(0)), "_ipp._tcp.", "local.", 2}, ServiceInstance{QString(1000, 'a'), "_ipp._tcp.", "local.", 2}}) {
        handles.push_back(discovery->resolve(service, 1h, [&](const auto &where) { none += where ? 0 : 1; }));
    }
    EXPECT_TRUE(runUntil([&] { return none == int(handles.size()); }));
}

TEST_F(AvahiStackTest, ServiceOfNobodyIsNoneAtItsTimeout)
{
    bool answered = false;
    const auto handle = discovery->resolve({"Printer", "_ipp._tcp.", "local.", 0}, 100ms, [&](const auto &where) { answered = !where; });
    EXPECT_TRUE(runUntil([&] { return answered; }));
    EXPECT_TRUE(runUntil([] { return !isOnMdns(); }));
}

TEST_F(AvahiStackTest, WithoutDaemonTheProgramItselfAnnouncesItsServices)
{
    auto published = publish();
    Neighbour neighbour(dispatch);
    ASSERT_TRUE(runUntil([&] { return neighbour.found.contains("Hall sensor"); }));
    std::optional<ResolvedService> answer;
    const auto resolving = neighbour.discovery.resolve(neighbour.found.at("Hall sensor"), 8s, [&](const auto &where) { answer = where; });
    ASSERT_TRUE(runUntil([&] { return answer.has_value(); }));
    EXPECT_EQ(answer->port, 40123);
    EXPECT_EQ(answer->addresses, QStringList("192.168.77.10"));
    neighbour.watching.reset();
    published.reset();
    EXPECT_TRUE(runUntil([] { return !isOnMdns(); }));
}

TEST_F(AvahiStackTest, ServiceWhoseNameIsTakenGetsTheNextOne)
{
    Neighbour neighbour(dispatch);
    const auto taken = neighbour.discovery.publish({"Hall sensor", "_rgfscanmac._tcp", "", 1, {}});
    ASSERT_TRUE(runUntil([&] { return neighbour.found.contains("Hall sensor"); }));
    const auto other = publish();
    const auto third = publish(40124); // of one registration two would be one
    EXPECT_TRUE(runUntil([&] { return neighbour.found.contains("Hall sensor #2") && neighbour.found.contains("Hall sensor #3"); }));
}

TEST_F(AvahiStackTest, PassThatIsUnderWayOutlastsTheBeginningOfAnAnnouncement)
{
    const auto searching = search("_ipp._tcp.");
    EXPECT_TRUE(runUntil(isOnMdns));
    const auto published = publish();
    Neighbour neighbour(dispatch);
    EXPECT_TRUE(runUntil([&] { return neighbour.found.contains("Hall sensor"); }));
    EXPECT_EQ(ended, 0);
}

TEST_F(AvahiStackTest, LeavingEndsEverythingAtOnce)
{
    const auto published = publish();
    const auto searching = search("_ipp._tcp.");
    ASSERT_TRUE(runUntil(isOnMdns));
    discovery->leave(10s);
    EXPECT_FALSE(isOnMdns());
    published->setText({{"rev", "2"}});
}

TEST_F(AvahiStackTest, DiscoveryMayGoBeforeAnythingHasBegun)
{
    const auto searching = search("_ipp._tcp.");
    discovery.reset();
    EXPECT_FALSE(isOnMdns());
    EXPECT_EQ(ended, 0);
}

TEST_F(AvahiStackTest, DiscoveryMayGoWhileEverythingIsOpen)
{
    const auto searching = search("_ipp._tcp.");
    const auto resolving = discovery->resolve({"Printer", "_ipp._tcp.", "local.", 2}, 1h, [&](const auto &) { ++ended; });
    EXPECT_TRUE(runUntil(isOnMdns));
    discovery.reset();
    EXPECT_FALSE(isOnMdns());
    EXPECT_EQ(ended, 0);
}
