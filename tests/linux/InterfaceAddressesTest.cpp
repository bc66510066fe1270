#include "platform/linux/InterfaceAddresses.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>

using namespace lanterna;

namespace
{

/// An entry of the system's list, made by hand.
class InterfaceEntry : public testing::Test
{
protected:
    InterfaceEntry()
    {
        entry.ifa_name = name;
        entry.ifa_flags = IFF_UP | IFF_BROADCAST;
        set(address, "10.8.0.2");
        set(netmask, "255.255.255.0");
        set(other, "10.8.0.255");
        entry.ifa_addr = reinterpret_cast<sockaddr *>(&address);
        entry.ifa_netmask = reinterpret_cast<sockaddr *>(&netmask);
        entry.ifa_broadaddr = reinterpret_cast<sockaddr *>(&other);
    }
    static void set(sockaddr_in &where, const char *text)
    {
        where.sin_family = AF_INET;
        ASSERT_EQ(inet_pton(AF_INET, text, &where.sin_addr), 1);
    }

    char name[IFNAMSIZ] = "tun0";
    sockaddr_in address = {};
    sockaddr_in netmask = {};
    sockaddr_in other = {};
    ifaddrs entry = {};
};

TEST_F(InterfaceEntry, ShowsAddressPrefixBroadcastAndFlags)
{
    EXPECT_EQ(interfaceAddress(entry), (InterfaceAddress{"tun0", 0, "10.8.0.2", "10.8.0.255", 24, true, false, false, true}));
}

TEST_F(InterfaceEntry, FarEndOfAPointToPointLinkIsNoBroadcast)
{
    entry.ifa_flags = IFF_UP | IFF_RUNNING | IFF_POINTOPOINT;
    EXPECT_EQ(interfaceAddress(entry), (InterfaceAddress{"tun0", 0, "10.8.0.2", "", 24, true, true, false, false}));
}

TEST_F(InterfaceEntry, MissingMaskAndBroadcastAreNone)
{
    entry.ifa_netmask = nullptr;
    entry.ifa_broadaddr = nullptr;
    EXPECT_EQ(interfaceAddress(entry), (InterfaceAddress{"tun0", 0, "10.8.0.2", "", 0, true, false, false, true}));
}

TEST_F(InterfaceEntry, OtherFamiliesAndAddresslessOnesAreLeftOut)
{
    address.sin_family = AF_INET6;
    EXPECT_FALSE(interfaceAddress(entry));
    entry.ifa_addr = nullptr;
    EXPECT_FALSE(interfaceAddress(entry));
}

TEST_F(InterfaceEntry, OddBytesInTheNameAreReplaced)
{
    strcpy(name, "t\xff\x1bn");
    EXPECT_EQ(interfaceAddress(entry)->name, QString("t\ufffd\x1bn"));
}

} // namespace
