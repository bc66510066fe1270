#include "platform/linux/NetworkState.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

InterfaceAddress onInterface(const QString &name, const QString &address, int prefixLength = 24, bool running = true)
{
    InterfaceAddress entry;
    entry.name = name;
    entry.address = address;
    entry.prefixLength = prefixLength;
    entry.up = true;
    entry.running = running;
    return entry;
}

NetworkState stateOf(const QList<InterfaceAddress> &addresses, const QList<IPv4Route> &routes = {})
{
    return networkState(addresses, routes, [](const InterfaceAddress &address) { return !address.name.startsWith("hidden"); });
}

IPv4Route defaultVia(quint32 gateway, quint32 metric = 0)
{
    return {0, 0, gateway, 2, metric};
}

bool changes(const NetworkState &before, const NetworkState &now)
{
    return isNetworkChange(before, now);
}

const InterfaceAddress home = onInterface("eth0", "192.168.1.20");

TEST(NetworkStates, EqualReadingsAreNoChange)
{
    EXPECT_FALSE(changes(stateOf({home}, {defaultVia(1)}), stateOf({home}, {defaultVia(1)})));
}

TEST(NetworkStates, AddressPrefixNameAndRunningFlagEachCount)
{
    for (const InterfaceAddress &other : {onInterface("eth0", "192.168.1.21"), onInterface("eth0", "192.168.1.20", 16),
             onInterface("eth1", "192.168.1.20"), onInterface("eth0", "192.168.1.20", 24, false)})
        EXPECT_TRUE(changes(stateOf({home}), stateOf({other})));
    EXPECT_TRUE(changes(stateOf({home}), stateOf({})));
    EXPECT_TRUE(changes(stateOf({home}), stateOf({home, onInterface("eth0", "10.0.0.1")})));
}

TEST(NetworkStates, HiddenInterfacesDoNotCount)
{
    EXPECT_FALSE(changes(stateOf({home}), stateOf({home, onInterface("hidden0", "172.17.0.1")})));
}

TEST(NetworkStates, OrderOfInterfacesDoesNotCountOrderOfAddressesDoes)
{
    const InterfaceAddress other = onInterface("wlan0", "10.0.0.5");
    const InterfaceAddress second = onInterface("eth0", "192.168.1.99");
    EXPECT_FALSE(changes(stateOf({home, other}), stateOf({other, home})));
    EXPECT_TRUE(changes(stateOf({home, second}), stateOf({second, home})));
}

TEST(NetworkStates, DefaultRoutesCountOtherRoutesDoNot)
{
    const IPv4Route network = {0x0a000000, 24, {}, 2, 0};
    EXPECT_FALSE(changes(stateOf({home}), stateOf({home}, {network})));
    EXPECT_TRUE(changes(stateOf({home}), stateOf({home}, {defaultVia(1)})));
    EXPECT_TRUE(changes(stateOf({home}, {defaultVia(1)}), stateOf({home}, {defaultVia(2)})));
    EXPECT_TRUE(changes(stateOf({home}, {defaultVia(1)}), stateOf({home}, {defaultVia(1, 100)})));
    EXPECT_FALSE(changes(stateOf({home}, {defaultVia(1, 5), defaultVia(2)}), stateOf({home}, {defaultVia(2), defaultVia(1, 5)})));
}

TEST(NetworkStates, FirstReadingAndFailedReadingAreNoChange)
{
    EXPECT_FALSE(isNetworkChange(std::nullopt, stateOf({home})));
    EXPECT_FALSE(isNetworkChange(stateOf({home}), std::nullopt));
    EXPECT_FALSE(isNetworkChange(std::nullopt, std::nullopt));
}

} // namespace
