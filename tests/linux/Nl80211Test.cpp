#include "platform/linux/Nl80211.h"

#include "platform/linux/Netlink.h"
#include "tests/linux/CapturedKernel.h"
#include "tests/linux/NetlinkBytes.h"

#include <gtest/gtest.h>

#include <cerrno>

#include <linux/genetlink.h>
#include <linux/nl80211.h>

using namespace lanterna;

namespace
{

constexpr quint16 family = 32; // as in the recordings

QByteArray element(int kind, const QByteArray &value)
{
    return QByteArray{}.append(char(kind)).append(char(value.size())) + value;
}

QByteArray accessPoint(quint32 status, const QByteArray &elements)
{
    const QByteArray bss = numberAttribute(NL80211_BSS_STATUS, status) + attributeBytes(NL80211_BSS_INFORMATION_ELEMENTS, elements);
    return messageBytes(family, genlmsghdr{NL80211_CMD_NEW_SCAN_RESULTS, 1, 0}, attributeBytes(NL80211_ATTR_BSS, bss));
}

TEST(WirelessFamily, IdIsTakenFromTheAnswer)
{
    CapturedKernel kernel("80-no-radio.txt");
    EXPECT_EQ(parseFamilyId(kernel.exchange(NetlinkBus::generic, wirelessFamilyRequest()).bytes), family);
}

TEST(WirelessFamily, KernelWithoutWiFiSaysNoSuchEntry)
{
    CapturedKernel kernel("81-no-cfg80211.txt");
    const NetlinkAnswer answer = kernel.exchange(NetlinkBus::generic, wirelessFamilyRequest());
    EXPECT_EQ(answer.error, ENOENT);
    EXPECT_FALSE(parseFamilyId(answer.bytes));
}

TEST(WirelessInterfaces, OldestComesFirstAndOnlyNetworkClientsAreStations)
{
    CapturedKernel kernel("51-monitor-and-second.txt");
    const auto interfaces = parseWirelessInterfaces(kernel.exchange(NetlinkBus::generic, wirelessInterfacesRequest(family)).bytes);
    QStringList seen;
    for (const WirelessInterface &interface : interfaces)
        seen.append(QString::fromUtf8(interface.name) + (interface.station ? "+" : "-"));
    EXPECT_EQ(seen.join(' '), "wlan0- wlan1+ mon0- wlan9+"); // the peer-to-peer device has no name
}

TEST(WirelessInterfaces, AnswersOfAnotherCommandArePassedOver)
{
    EXPECT_TRUE(parseWirelessInterfaces(accessPoint(NL80211_BSS_STATUS_ASSOCIATED, element(0, "x"))).isEmpty());
}

TEST(AssociatedNetwork, OnlyTheAssociatedAccessPointCounts)
{
    const QByteArray bytes = accessPoint(NL80211_BSS_STATUS_AUTHENTICATED, element(0, "Other"))
        + accessPoint(NL80211_BSS_STATUS_ASSOCIATED, element(1, "rates") + element(0, "Home")) + doneBytes();
    EXPECT_EQ(parseAssociatedSsid(bytes), QByteArray("Home"));
    EXPECT_FALSE(parseAssociatedSsid(accessPoint(NL80211_BSS_STATUS_IBSS_JOINED, element(0, "AdHoc"))));
}

TEST(AssociatedNetwork, EmptyNameIsNone)
{
    EXPECT_FALSE(parseAssociatedSsid(accessPoint(NL80211_BSS_STATUS_ASSOCIATED, element(0, ""))));
    EXPECT_FALSE(parseAssociatedSsid(accessPoint(NL80211_BSS_STATUS_ASSOCIATED, element(1, "rates"))));
}

TEST(NetworkName, ElementsCutAnywhereGiveNoHalfName)
{
    const QByteArray elements = element(1, "rates") + element(0, "Home");
    for (qsizetype length = 0; length < elements.size(); ++length)
        EXPECT_FALSE(ssidElement(elements.first(length))) << length;
    EXPECT_EQ(ssidElement(elements), QByteArray("Home"));
}

TEST(WirelessAnswers, BytesCutAnywhereNeverCrash)
{
    CapturedKernel kernel("51-monitor-and-second.txt");
    const QByteArray interfaces = kernel.exchange(NetlinkBus::generic, wirelessInterfacesRequest(family)).bytes;
    const QByteArray scan = kernel.exchange(NetlinkBus::generic, scanResultsRequest(family, 3)).bytes;
    for (qsizetype length = 0; length < interfaces.size(); ++length)
        EXPECT_LE(parseWirelessInterfaces(interfaces.first(length)).size(), 4);
    for (qsizetype length = 0; length < scan.size(); ++length) {
        const auto ssid = parseAssociatedSsid(scan.first(length));
        EXPECT_TRUE(!ssid || *ssid == "LabNet") << length;
    }
}

} // namespace
