#include "app/AddressText.h"
#include "app/localhostAddresses.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

InterfaceAddress up(const char *name, const char *address)
{
    InterfaceAddress entry;
    entry.name = QString::fromLatin1(name);
    entry.address = QString::fromLatin1(address);
    entry.up = entry.running = true;
    return entry;
}

QStringList listed(const QList<InterfaceAddress> &addresses, const QStringList &hidden = builtInHiddenInterfaces())
{
    return localhostAddresses::addressDictionary(addresses, hidden).keys();
}

TEST(AddressText, LoopbackIsNotActiveAndNamesAreSorted)
{
    const QVariantMap addresses{{"en1", "en1: 10.0.0.5"}, {"lo0", "lo0: 127.0.0.1"}, {"en0", "en0: 192.168.1.20"}};
    EXPECT_EQ(activeInterfaces(addresses), QStringList({"en0: 192.168.1.20", "en1: 10.0.0.5"}));
}

TEST(AddressText, TheLoopbackAddressNeverCountsWhateverTheInterface)
{
    EXPECT_EQ(activeInterfaces({{"dummy0", "dummy0: 127.0.0.1"}}), QStringList());
}

TEST(AddressText, OnlyTheWholeNameIsLoopback)
{
    EXPECT_EQ(activeInterfaces({{"wlo0", "wlo0: 10.0.0.5"}}), QStringList({"wlo0: 10.0.0.5"}));
}

TEST(AddressText, EmptyAndForeignValuesAreSkipped)
{
    EXPECT_EQ(activeInterfaces({{"a", ""}, {"b", QVariant()}, {"c", QVariantMap()}, {"d", "d: 10.0.0.1"}}), QStringList({"d: 10.0.0.1"}));
}

TEST(AddressText, FormatsLANAddressesWithAndWithoutName)
{
    EXPECT_EQ(formatIPForDisplay("en0: 10.0.0.5", false, false), "10.0.0.5");
    EXPECT_EQ(formatIPForDisplay("en0: 10.0.0.5", true, false), "en0: 10.0.0.5");
    EXPECT_EQ(formatIPForDisplay("10.0.0.5", false, false), "10.0.0.5");
}

TEST(AddressText, FormatsWANAddressesWithAndWithoutPrefix)
{
    EXPECT_EQ(formatIPForDisplay("203.0.113.7", true, true), "wan: 203.0.113.7");
    EXPECT_EQ(formatIPForDisplay("203.0.113.7", false, true), "203.0.113.7");
}

TEST(AddressText, NoAddressIsOffline)
{
    EXPECT_EQ(formatIPForDisplay({}, true, true), "wan: offline");
    EXPECT_EQ(formatIPForDisplay({}, true, false), "offline");
    EXPECT_EQ(formatIPForDisplay("", false, true), "offline");
}

TEST(AddressText, ATitleOfTwentyFiveCharactersIsKeptAndOneOfTwentySixClipped)
{
    const QString kept = QStringLiteral("wlp0s20f3: 192.168.100.12");
    ASSERT_EQ(kept.size(), 25);
    EXPECT_EQ(clippedTitle(kept), kept);
    EXPECT_EQ(clippedTitle(kept + u'3'), "wlp0s20f3: 192.168.100...");
    EXPECT_EQ(clippedTitle({}), "offline");
}

TEST(AddressText, TheSecondAddressFallsBackToTheFirstAndThenToOffline)
{
    EXPECT_EQ(chooseTitle(3, "a", "b", "w").text, "b");
    EXPECT_FALSE(chooseTitle(3, "a", "b", "w").fellBackToFirst);
    EXPECT_TRUE(chooseTitle(3, "a", "offline", "w").fellBackToFirst);
    EXPECT_EQ(chooseTitle(3, "a", "offline", "w").text, "a");
    EXPECT_EQ(chooseTitle(3, {}, {}, "w").text, "offline");
}

TEST(AddressText, TheIconHasNoTitle)
{
    EXPECT_TRUE(chooseTitle(4, "a", "b", "w").text.isNull());
}

TEST(AddressText, SearchingIsCaseSensitiveUnlessAskedOtherwise)
{
    EXPECT_TRUE(containsString("Lanterna", "tern"));
    EXPECT_FALSE(containsString("Lanterna", "TERN"));
    EXPECT_TRUE(containsString("Lanterna", "TERN", true));
    EXPECT_FALSE(containsString("Lanterna", ""));
}

TEST(AddressText, CommaTextsHaveNoCommaAtTheEnd)
{
    EXPECT_EQ(toCommaString({"a", "b"}), "a, b");
    EXPECT_EQ(toCommaString({}), "");
}

TEST(AddressText, TruncatingTakesTwoCharactersAtATime)
{
    const auto width = [](const QString &text) { return 10.0 * static_cast<double>(text.size()); };
    EXPECT_EQ(truncateForWidth("lighthouse", 100, width), "lighthouse");
    EXPECT_EQ(truncateForWidth("lighthouse", 75, width), "lighth");
    EXPECT_EQ(truncateForWidth("abc", -1, width), "a");
}

TEST(AddressList, VirtualMachinesInterfacesAreNeverListed)
{
    EXPECT_EQ(listed({up("vnic0", "10.0.0.1"), up("eth0", "10.0.0.2")}), QStringList({"eth0"}));
    EXPECT_EQ(listed({up("vnic0", "10.0.0.1")}, {}), QStringList());
}

TEST(AddressList, KinOfVirtualMachinesAreHiddenAndRealBridgesStay)
{
    const QList<InterfaceAddress> addresses{up("docker0", "172.17.0.1"), up("veth12ab", "10.0.0.1"), up("virbr0", "192.168.122.1"),
        up("vnet3", "10.0.0.3"), up("lxcbr0", "10.0.3.1"), up("cni0", "10.1.0.1"), up("podman1", "10.88.0.1"), up("br-0123456789ab", "172.18.0.1"),
        up("br-lan", "192.168.1.1"), up("br0", "192.168.2.1"), up("br-0123456789abc", "192.168.3.1")};
    EXPECT_EQ(listed(addresses), QStringList({"br-0123456789abc", "br-lan", "br0"}));
}

TEST(AddressList, TheSettingReplacesTheBuiltInPatterns)
{
    EXPECT_EQ(listed({up("docker0", "172.17.0.1"), up("tun0", "10.8.0.2")}, {"tun*"}), QStringList({"docker0"}));
}

TEST(AddressList, OnlyInterfacesThatAreUpAndRunningAreListed)
{
    InterfaceAddress unplugged = up("eth1", "10.0.0.1");
    unplugged.running = false;
    InterfaceAddress down = up("eth2", "10.0.0.3");
    down.up = false;
    EXPECT_EQ(listed({unplugged, down, up("eth0", "10.0.0.2")}), QStringList({"eth0"}));
}

TEST(AddressList, LoopbackIsKnownByItsFlag)
{
    InterfaceAddress loopback = up("lo", "10.255.255.1");
    loopback.loopback = true;
    EXPECT_EQ(listed({loopback}), QStringList());
}

TEST(AddressList, TheLastOfSeveralAddressesCounts)
{
    const QVariantMap addresses = localhostAddresses::addressDictionary({up("eth0", "10.0.0.1"), up("eth0", "10.0.0.2")}, {});
    EXPECT_EQ(addresses, QVariantMap({{"eth0", "eth0: 10.0.0.2"}}));
}

TEST(AddressList, APatternThatIsNoPatternHidesNothing)
{
    EXPECT_EQ(listed({up("eth0", "10.0.0.1"), up("a]b[", "10.0.0.2")}, {"[", "", "(["}), QStringList({"a]b[", "eth0"}));
}

} // namespace
