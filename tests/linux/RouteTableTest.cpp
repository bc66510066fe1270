#include "platform/linux/RouteTable.h"

#include "tests/linux/NetlinkBytes.h"

#include <gtest/gtest.h>

#include <linux/rtnetlink.h>
#include <sys/socket.h>

using namespace lanterna;

namespace
{

const LinkTable links = {{2, {2, "eth0", 0}}, {3, {3, "wlan0", 0}}};

rtmsg mainRoute(int prefixLength)
{
    rtmsg header = {};
    header.rtm_family = AF_INET;
    header.rtm_table = RT_TABLE_MAIN;
    header.rtm_type = RTN_UNICAST;
    header.rtm_dst_len = quint8(prefixLength);
    return header;
}

QByteArray routeBytes(const rtmsg &header, const QByteArray &attributes)
{
    return messageBytes(RTM_NEWROUTE, header, attributes);
}

QByteArray via(int lastByte)
{
    return addressAttribute(RTA_GATEWAY, 192, 168, 1, lastByte);
}

QByteArray on(quint32 index)
{
    return numberAttribute(RTA_OIF, index);
}

QByteArray metric(quint32 value)
{
    return numberAttribute(RTA_PRIORITY, value);
}

QString rendered(const QByteArray &bytes)
{
    return renderRoutingTable(parseRoutes(bytes), links);
}

TEST(RoutingTable, DefaultRouteNamesGatewayFlagsAndInterface)
{
    EXPECT_EQ(rendered(routeBytes(mainRoute(0), via(1) + on(2))), "default 192.168.1.1 UGSc eth0\n");
}

TEST(RoutingTable, DefaultRouteWithoutGatewayShowsItsLink)
{
    EXPECT_EQ(rendered(routeBytes(mainRoute(0), on(3))), "default link#3 UCS wlan0\n");
}

TEST(RoutingTable, GatewayWithAnIPv6AddressCountsAsNone)
{
    const QByteArray throughIPv6 = attributeBytes(RTA_VIA, rawBytes(quint16(AF_INET6)) + QByteArray(16, '\x20'));
    EXPECT_EQ(rendered(routeBytes(mainRoute(0), throughIPv6 + on(2))), "default link#2 UCS eth0\n");
}

TEST(RoutingTable, DefaultRoutesComeFirstByMetric)
{
    const QByteArray bytes = routeBytes(mainRoute(24), addressAttribute(RTA_DST, 10, 0, 0, 0) + on(2))
        + routeBytes(mainRoute(0), via(9) + on(2) + metric(600)) + routeBytes(mainRoute(0), on(3) + metric(50))
        + routeBytes(mainRoute(0), via(1) + on(2) + metric(600));
    EXPECT_EQ(rendered(bytes),
        "default link#3 UCS wlan0\n"
        "default 192.168.1.9 UGSc eth0\n"
        "default 192.168.1.1 UGSc eth0\n"
        "10.0.0.0/24 link#2 UCS eth0\n");
}

TEST(RoutingTable, MissingMetricIsTheLowest)
{
    const QByteArray bytes = routeBytes(mainRoute(0), via(2) + on(2) + metric(1)) + routeBytes(mainRoute(0), via(1) + on(2));
    EXPECT_TRUE(rendered(bytes).startsWith("default 192.168.1.1 "));
}

TEST(RoutingTable, HostRoutesCarryTheHostFlag)
{
    const QByteArray bytes = routeBytes(mainRoute(32), addressAttribute(RTA_DST, 10, 0, 0, 7) + via(1) + on(2))
        + routeBytes(mainRoute(32), addressAttribute(RTA_DST, 10, 0, 0, 8) + on(2));
    EXPECT_EQ(rendered(bytes), "10.0.0.7 192.168.1.1 UGHS eth0\n10.0.0.8 link#2 UHS eth0\n");
}

TEST(RoutingTable, OfSeveralWaysTheFirstCounts)
{
    const auto way = [](int index, const QByteArray &attributes) {
        const rtnexthop header = {quint16(sizeof(rtnexthop) + size_t(attributes.size())), 0, 0, index};
        return rawBytes(header) + attributes;
    };
    const QByteArray ways = attributeBytes(RTA_MULTIPATH, way(3, via(254)) + way(2, via(1)));
    EXPECT_EQ(rendered(routeBytes(mainRoute(0), ways)), "default 192.168.1.254 UGSc wlan0\n");
}

TEST(RoutingTable, WaysThatLieAboutTheirLengthGiveNoRoute)
{
    for (const quint16 length : {quint16(0), quint16(7), quint16(200)}) {
        const QByteArray ways = attributeBytes(RTA_MULTIPATH, rawBytes(rtnexthop{length, 0, 0, 2}));
        EXPECT_EQ(rendered(routeBytes(mainRoute(0), ways)), "") << length;
    }
}

TEST(RoutingTable, OnlyTheMainTableCounts)
{
    rtmsg local = mainRoute(0);
    local.rtm_table = RT_TABLE_LOCAL;
    EXPECT_EQ(rendered(routeBytes(local, via(1) + on(2))), "");
    // A table number above 255 is only in the attribute; the header then says "compat".
    rtmsg compat = mainRoute(0);
    compat.rtm_table = RT_TABLE_COMPAT;
    EXPECT_EQ(rendered(routeBytes(compat, numberAttribute(RTA_TABLE, quint32(51820)) + via(1) + on(2))), "");
    EXPECT_EQ(rendered(routeBytes(mainRoute(0), numberAttribute(RTA_TABLE, quint32(51820)) + via(1) + on(2))), "");
}

TEST(RoutingTable, RoutesThatRefuseAndCachedOnesAreLeftOut)
{
    rtmsg unreachable = mainRoute(0);
    unreachable.rtm_type = RTN_UNREACHABLE;
    rtmsg cached = mainRoute(0);
    cached.rtm_flags = RTM_F_CLONED;
    rtmsg newer = mainRoute(0);
    newer.rtm_family = AF_INET6;
    EXPECT_EQ(rendered(routeBytes(unreachable, metric(1)) + routeBytes(cached, via(1) + on(2)) + routeBytes(newer, on(2))), "");
}

TEST(RoutingTable, RouteOfAVanishedInterfaceIsLeftOut)
{
    EXPECT_EQ(rendered(routeBytes(mainRoute(0), via(1) + on(77)) + routeBytes(mainRoute(0), via(1))), "");
}

TEST(RoutingTable, OddBytesInAnInterfaceNameAreReplaced)
{
    const LinkTable odd = {{2, {2, "e\xff\x1b", 0}}};
    EXPECT_EQ(renderRoutingTable(parseRoutes(routeBytes(mainRoute(0), via(1) + on(2))), odd), QString("default 192.168.1.1 UGSc e\ufffd\x1b\n"));
}

TEST(RoutingTable, ImpossiblePrefixIsNoRoute)
{
    EXPECT_EQ(rendered(routeBytes(mainRoute(33), on(2))), "");
}

TEST(RoutingTable, BytesCutAnywhereNeverCrash)
{
    const QByteArray bytes =
        routeBytes(mainRoute(0), via(1) + on(2) + metric(3)) + routeBytes(mainRoute(24), addressAttribute(RTA_DST, 10, 0, 0, 0) + on(2));
    qsizetype lines = 0;
    for (qsizetype length = 0; length <= bytes.size(); ++length) {
        const qsizetype now = rendered(bytes.first(length)).count('\n');
        EXPECT_GE(now, lines);
        lines = now;
    }
    EXPECT_EQ(lines, 2);
}

TEST(Links, NameAndFlagsAreRead)
{
    ifinfomsg header = {};
    header.ifi_index = 7;
    header.ifi_flags = 0x41;
    const LinkTable table = parseLinks(messageBytes(RTM_NEWLINK, header, attributeBytes(IFLA_IFNAME, QByteArray("wlo0", 5))) + doneBytes());
    EXPECT_EQ(table, (LinkTable{{7, {7, "wlo0", 0x41}}}));
}

} // namespace
