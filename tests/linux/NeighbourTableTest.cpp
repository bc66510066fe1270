#include "platform/linux/NeighbourTable.h"

#include "tests/linux/NetlinkBytes.h"

#include <gtest/gtest.h>

#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>

using namespace lanterna;

namespace
{

const LinkTable links = {{1, {1, "lo", IFF_LOOPBACK}}, {2, {2, "eth0", 0}}, {10, {10, "eth1", 0}}};
const QByteArray someHardwareAddress = QByteArray::fromHex("001132007714");

QByteArray neighbourBytes(int index, int state, const QByteArray &address, const QByteArray &hardwareAddress = someHardwareAddress, int flags = 0)
{
    ndmsg header = {};
    header.ndm_family = AF_INET;
    header.ndm_ifindex = index;
    header.ndm_state = quint16(state);
    header.ndm_flags = quint8(flags);
    const QByteArray lladdr = hardwareAddress.isNull() ? QByteArray() : attributeBytes(NDA_LLADDR, hardwareAddress);
    return messageBytes(RTM_NEWNEIGH, header, address + lladdr);
}

QByteArray address(int a, int b, int c, int d)
{
    return addressAttribute(NDA_DST, a, b, c, d);
}

QString rendered(const QByteArray &bytes)
{
    return renderNeighbourTable(parseNeighbours(bytes), links);
}

TEST(NeighbourTable, ResolvedNeighbourShowsItsHardwareAddress)
{
    for (const int state : {NUD_REACHABLE, NUD_STALE, NUD_DELAY, NUD_PROBE, NUD_PERMANENT})
        EXPECT_EQ(rendered(neighbourBytes(2, state, address(192, 168, 1, 20))), "? (192.168.1.20) at 00:11:32:00:77:14 on eth0\n") << state;
}

TEST(NeighbourTable, UnresolvedAndFailedAreIncomplete)
{
    for (const int state : {NUD_INCOMPLETE, NUD_FAILED})
        EXPECT_EQ(rendered(neighbourBytes(2, state, address(192, 168, 1, 41), {})), "? (192.168.1.41) at (incomplete) on eth0\n") << state;
    EXPECT_EQ(rendered(neighbourBytes(2, NUD_FAILED, address(192, 168, 1, 41))), "? (192.168.1.41) at (incomplete) on eth0\n");
}

TEST(NeighbourTable, HardwareAddressWithoutBytesIsIncomplete)
{
    EXPECT_EQ(rendered(neighbourBytes(2, NUD_STALE, address(192, 168, 1, 41), "")), "? (192.168.1.41) at (incomplete) on eth0\n");
}

TEST(NeighbourTable, OrderIsInterfaceThenAddressAsNumber)
{
    const QByteArray bytes = neighbourBytes(10, NUD_STALE, address(10, 0, 0, 1)) + neighbourBytes(2, NUD_STALE, address(192, 168, 1, 100))
        + neighbourBytes(2, NUD_STALE, address(192, 168, 1, 20)) + neighbourBytes(2, NUD_STALE, address(9, 0, 0, 1));
    QStringList addresses;
    for (const QString &line : rendered(bytes).split('\n', Qt::SkipEmptyParts))
        addresses.append(line.section(' ', 1, 1));
    EXPECT_EQ(addresses.join(' '), "(9.0.0.1) (192.168.1.20) (192.168.1.100) (10.0.0.1)");
}

TEST(NeighbourTable, NoiseIsLeftOut)
{
    EXPECT_EQ(rendered(neighbourBytes(2, NUD_NOARP, address(192, 168, 1, 255))), "");
    EXPECT_EQ(rendered(neighbourBytes(2, NUD_NONE, address(192, 168, 1, 7))), "");
    EXPECT_EQ(rendered(neighbourBytes(2, NUD_PERMANENT, address(224, 0, 0, 251))), "");
    EXPECT_EQ(rendered(neighbourBytes(2, NUD_PERMANENT, address(255, 255, 255, 255))), "");
    EXPECT_EQ(rendered(neighbourBytes(1, NUD_REACHABLE, address(127, 0, 0, 1))), "");
    EXPECT_EQ(rendered(neighbourBytes(2, NUD_PERMANENT, address(192, 168, 1, 7), someHardwareAddress, NTF_PROXY)), "");
}

TEST(NeighbourTable, NeighbourOfAVanishedInterfaceIsLeftOut)
{
    EXPECT_EQ(rendered(neighbourBytes(5, NUD_STALE, address(192, 168, 1, 20))), "");
}

TEST(NeighbourTable, EmptyTableIsEmptyText)
{
    EXPECT_EQ(rendered(doneBytes()), "");
}

TEST(NeighbourTable, AddressOfTheWrongLengthIsLeftOut)
{
    EXPECT_EQ(rendered(neighbourBytes(2, NUD_STALE, attributeBytes(NDA_DST, "abc"))), "");
    EXPECT_EQ(rendered(neighbourBytes(2, NUD_STALE, {})), "");
}

TEST(NeighbourTable, BytesCutAnywhereGiveNoHalfLine)
{
    const QByteArray bytes = neighbourBytes(2, NUD_STALE, address(192, 168, 1, 20));
    for (qsizetype length = 0; length < bytes.size(); ++length)
        EXPECT_EQ(rendered(bytes.first(length)), "") << length;
}

} // namespace
