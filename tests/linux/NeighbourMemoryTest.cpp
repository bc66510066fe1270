#include "platform/linux/NeighbourMemory.h"

#include "platform/linux/RouteTable.h"
#include "tests/linux/NetlinkBytes.h"

#include <QStringList>

#include <gtest/gtest.h>

#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

using namespace lanterna;

namespace
{

const QByteArray printer = QByteArray::fromHex("001132007714");
const QByteArray camera = QByteArray::fromHex("001132007799");

/// A message about 192.168.1.`host`, as the kernel words it: a hardware address only where it has one.
QByteArray news(int type, int host, int state, const QByteArray &hardwareAddress = {}, int index = 2, int flags = 0)
{
    ndmsg header = {};
    header.ndm_family = AF_INET;
    header.ndm_ifindex = index;
    header.ndm_state = quint16(state);
    header.ndm_flags = quint8(flags);
    const QByteArray lladdr = hardwareAddress.isEmpty() ? QByteArray() : attributeBytes(NDA_LLADDR, hardwareAddress);
    return messageBytes(type, header, addressAttribute(NDA_DST, 192, 168, 1, host) + lladdr, 0);
}

QByteArray link(int type, int index, unsigned flags, int family = AF_UNSPEC)
{
    ifinfomsg header = {};
    header.ifi_family = quint8(family);
    header.ifi_index = index;
    header.ifi_flags = flags;
    return messageBytes(type, header, attributeBytes(IFLA_IFNAME, "eth0"), 0);
}

constexpr unsigned working = IFF_UP | IFF_RUNNING | IFF_LOWER_UP;

class NeighbourMemoryTest : public testing::Test
{
protected:
    /// What the memory says where the kernel's table holds what these messages say: "2 192.168.1.20 001132007714".
    [[nodiscard]] QStringList rows(const QByteArray &table = {}) const
    {
        QStringList lines;
        for (const Neighbour &neighbour : memory.merge(parseNeighbours(table))) {
            const QString hardwareAddress = QString::fromLatin1(neighbour.hardwareAddress.toHex());
            lines.append(QString("%1 %2 %3").arg(neighbour.interfaceIndex).arg(dottedAddress(neighbour.address), hardwareAddress).trimmed());
        }
        return lines;
    }
    void feed(const QByteArray &bytes, NeighbourMemory::Stamp now = 1) { memory.feed(bytes, now); }

    NeighbourMemory memory;
};

TEST_F(NeighbourMemoryTest, KernelsTableIsShownAsItIs)
{
    const QByteArray table = news(RTM_NEWNEIGH, 41, NUD_FAILED) + news(RTM_NEWNEIGH, 20, NUD_STALE, printer);
    EXPECT_EQ(rows(table), (QStringList{"2 192.168.1.20 001132007714", "2 192.168.1.41"}));
}

TEST_F(NeighbourMemoryTest, NeighbourDroppedForItsAgeStays)
{
    for (const int state : {NUD_REACHABLE, NUD_STALE, NUD_DELAY, NUD_PROBE, NUD_PERMANENT}) {
        feed(news(RTM_NEWNEIGH, 20, state, printer) + news(RTM_DELNEIGH, 20, state, printer));
        EXPECT_EQ(rows(), QStringList{"2 192.168.1.20 001132007714"}) << state;
    }
}

TEST_F(NeighbourMemoryTest, NeighbourThatFailedIsOut)
{
    feed(news(RTM_NEWNEIGH, 20, NUD_REACHABLE, printer) + news(RTM_NEWNEIGH, 20, NUD_PROBE, printer) + news(RTM_NEWNEIGH, 20, NUD_FAILED));
    EXPECT_EQ(rows(), QStringList());
    feed(news(RTM_DELNEIGH, 20, NUD_FAILED));
    EXPECT_EQ(rows(), QStringList());
}

TEST_F(NeighbourMemoryTest, DeletionThatSaysFailedIsEnough)
{
    for (const int state : {NUD_FAILED, NUD_INCOMPLETE, NUD_NONE, NUD_NOARP}) {
        feed(news(RTM_NEWNEIGH, 20, NUD_STALE, printer) + news(RTM_DELNEIGH, 20, state));
        EXPECT_EQ(rows(), QStringList()) << state;
    }
}

TEST_F(NeighbourMemoryTest, NeighbourNeverResolvedIsNotKept)
{
    feed(news(RTM_NEWNEIGH, 20, NUD_INCOMPLETE) + news(RTM_DELNEIGH, 20, NUD_INCOMPLETE));
    EXPECT_EQ(rows(), QStringList());
}

TEST_F(NeighbourMemoryTest, OneThatComesBackIsTheKernelsAgain)
{
    feed(news(RTM_NEWNEIGH, 20, NUD_STALE, printer) + news(RTM_DELNEIGH, 20, NUD_STALE, printer));
    EXPECT_EQ(rows(news(RTM_NEWNEIGH, 20, NUD_REACHABLE, camera)), QStringList{"2 192.168.1.20 001132007799"});
    feed(news(RTM_NEWNEIGH, 20, NUD_REACHABLE, camera) + news(RTM_DELNEIGH, 20, NUD_STALE, camera));
    EXPECT_EQ(rows(), QStringList{"2 192.168.1.20 001132007799"});
}

TEST_F(NeighbourMemoryTest, DroppedOneThatIsAskedForAgainIsKnownUntilItFails)
{
    feed(news(RTM_NEWNEIGH, 20, NUD_STALE, printer) + news(RTM_DELNEIGH, 20, NUD_STALE, printer));
    EXPECT_EQ(rows(news(RTM_NEWNEIGH, 20, NUD_INCOMPLETE)), QStringList{"2 192.168.1.20 001132007714"});
    feed(news(RTM_NEWNEIGH, 20, NUD_FAILED));
    EXPECT_EQ(rows(news(RTM_NEWNEIGH, 20, NUD_FAILED)), QStringList{"2 192.168.1.20"});
    EXPECT_EQ(rows(), QStringList());
}

TEST_F(NeighbourMemoryTest, TableThatSaysFailedCountsBeforeTheNewsOfIt)
{
    feed(news(RTM_NEWNEIGH, 20, NUD_STALE, printer));
    EXPECT_EQ(rows(news(RTM_NEWNEIGH, 20, NUD_FAILED)), QStringList{"2 192.168.1.20"});
}

TEST_F(NeighbourMemoryTest, InterfaceWithoutItsLowerLayerTakesItsNeighboursAlong)
{
    for (const unsigned flags : {0U, unsigned(IFF_UP)}) {
        feed(news(RTM_NEWNEIGH, 20, NUD_STALE, printer) + news(RTM_NEWNEIGH, 21, NUD_STALE, camera, 3));
        feed(link(RTM_NEWLINK, 2, working));
        EXPECT_EQ(rows().size(), 2);
        feed(link(RTM_NEWLINK, 2, flags) + news(RTM_DELNEIGH, 20, NUD_STALE, printer)); // switched off: in this order
        EXPECT_EQ(rows(), QStringList{"3 192.168.1.21 001132007799"}) << flags;
    }
}

TEST_F(NeighbourMemoryTest, CarrierThatWentTakesTheNeighboursAlong)
{
    feed(news(RTM_NEWNEIGH, 20, NUD_STALE, printer));
    feed(news(RTM_DELNEIGH, 20, NUD_STALE, printer) + link(RTM_NEWLINK, 2, IFF_UP)); // no carrier: in this order
    EXPECT_EQ(rows(), QStringList());
}

TEST_F(NeighbourMemoryTest, RemovedInterfaceTakesItsNeighboursAlong)
{
    feed(news(RTM_NEWNEIGH, 20, NUD_STALE, printer) + link(RTM_DELLINK, 2, working));
    EXPECT_EQ(rows(), QStringList());
}

TEST_F(NeighbourMemoryTest, PortThatLeavesABridgeKeepsItsNeighbours)
{
    feed(news(RTM_NEWNEIGH, 20, NUD_STALE, printer) + link(RTM_DELLINK, 2, working, AF_BRIDGE));
    EXPECT_EQ(rows().size(), 1);
}

TEST_F(NeighbourMemoryTest, LostAddressTakesTheNeighboursOfItsNetworkAlong)
{
    ifaddrmsg header = {};
    header.ifa_family = AF_INET;
    header.ifa_prefixlen = 25;
    header.ifa_index = 2;
    const QByteArray lost = messageBytes(RTM_DELADDR, header, addressAttribute(IFA_ADDRESS, 192, 168, 1, 5), 0);
    feed(news(RTM_NEWNEIGH, 20, NUD_STALE, printer) + news(RTM_NEWNEIGH, 200, NUD_STALE, printer) + news(RTM_NEWNEIGH, 20, NUD_STALE, printer, 3));
    feed(lost);
    EXPECT_EQ(rows(), (QStringList{"2 192.168.1.200 001132007714", "3 192.168.1.20 001132007714"}));
    header.ifa_prefixlen = 0;
    feed(messageBytes(RTM_DELADDR, header, addressAttribute(IFA_ADDRESS, 10, 0, 0, 1), 0));
    EXPECT_EQ(rows(), QStringList{"3 192.168.1.20 001132007714"});
}

TEST_F(NeighbourMemoryTest, DumpForgetsNothing)
{
    feed(news(RTM_NEWNEIGH, 20, NUD_STALE, printer) + news(RTM_NEWNEIGH, 22, NUD_STALE, camera));
    feed(news(RTM_NEWNEIGH, 21, NUD_STALE, camera) + news(RTM_NEWNEIGH, 22, NUD_FAILED) + doneBytes());
    EXPECT_EQ(rows(), (QStringList{"2 192.168.1.20 001132007714", "2 192.168.1.21 001132007799"}));
}

TEST_F(NeighbourMemoryTest, DroppedOnesAreForgottenByTheTimeOfTheirDrop)
{
    for (int host = 20; host < 23; ++host)
        feed(news(RTM_NEWNEIGH, host, NUD_STALE, printer));
    feed(news(RTM_DELNEIGH, 20, NUD_STALE, printer), 4);
    feed(news(RTM_DELNEIGH, 21, NUD_STALE, printer), 5);
    memory.forgetDroppedBefore(4);
    EXPECT_EQ(rows().size(), 3);
    memory.forgetDroppedBefore(5);
    EXPECT_EQ(rows(), (QStringList{"2 192.168.1.21 001132007714", "2 192.168.1.22 001132007714"}));
    memory.forgetDroppedBefore(100);
    EXPECT_EQ(rows(), QStringList{"2 192.168.1.22 001132007714"}); // the kernel holds it
}

TEST_F(NeighbourMemoryTest, OneThatComesBackIsNotForgottenForItsDropBefore)
{
    feed(news(RTM_NEWNEIGH, 20, NUD_STALE, printer) + news(RTM_DELNEIGH, 20, NUD_STALE, printer), 1);
    feed(news(RTM_NEWNEIGH, 20, NUD_INCOMPLETE), 2);
    feed(news(RTM_NEWNEIGH, 20, NUD_REACHABLE, printer), 3);
    memory.forgetDroppedBefore(100);
    EXPECT_EQ(rows().size(), 1);
    feed(news(RTM_DELNEIGH, 20, NUD_STALE, printer), 5);
    memory.forgetDroppedBefore(5);
    EXPECT_EQ(rows().size(), 1);
    memory.forgetDroppedBefore(6);
    EXPECT_EQ(rows(), QStringList());
}

TEST_F(NeighbourMemoryTest, WhatTheTableDoesNotMentionWasDroppedByThen)
{
    feed(news(RTM_NEWNEIGH, 20, NUD_STALE, printer) + news(RTM_NEWNEIGH, 21, NUD_STALE, camera) + news(RTM_NEWNEIGH, 22, NUD_STALE, camera), 1);
    feed(news(RTM_DELNEIGH, 22, NUD_STALE, camera), 2);
    memory.feedTable(news(RTM_NEWNEIGH, 21, NUD_STALE, camera) + doneBytes(), 3);
    EXPECT_EQ(rows().size(), 3);
    memory.forgetDroppedBefore(3);
    EXPECT_EQ(rows(), (QStringList{"2 192.168.1.20 001132007714", "2 192.168.1.21 001132007799"}));
    memory.forgetDroppedBefore(4);
    EXPECT_EQ(rows(), QStringList{"2 192.168.1.21 001132007799"});
}

TEST_F(NeighbourMemoryTest, FullMemoryTakesNoFurtherRow)
{
    const int most = int(NeighbourMemory::mostRows);
    for (int index = 1; index <= most / 256 + 1; ++index) {
        for (int host = 0; host < 256; ++host)
            feed(news(RTM_NEWNEIGH, host, NUD_STALE, printer, index));
    }
    EXPECT_EQ(memory.merge({}).size(), most);
    feed(news(RTM_NEWNEIGH, 20, NUD_STALE, camera, 1) + news(RTM_DELNEIGH, 21, NUD_STALE, printer, 1), 2);
    EXPECT_EQ(rows().at(20), "1 192.168.1.20 001132007799") << "those that are in it are followed";
    EXPECT_EQ(memory.merge(parseNeighbours(news(RTM_NEWNEIGH, 20, NUD_STALE, printer, 9999))).size(), most + 1) << "the kernel's rows are shown";
    memory.forgetDroppedBefore(3);
    feed(news(RTM_NEWNEIGH, 20, NUD_STALE, printer, 9999), 3);
    EXPECT_EQ(memory.merge({}).size(), most) << "what was forgotten makes room";
    EXPECT_EQ(rows().last(), "9999 192.168.1.20 001132007714");
}

TEST_F(NeighbourMemoryTest, WhatIsNoNeighbourIsNotKept)
{
    feed(news(RTM_NEWNEIGH, 20, NUD_NOARP, printer) + news(RTM_NEWNEIGH, 21, NUD_PERMANENT, printer, 2, NTF_PROXY));
    EXPECT_EQ(rows(), QStringList());
}

TEST_F(NeighbourMemoryTest, OrderIsInterfaceThenAddress)
{
    feed(news(RTM_NEWNEIGH, 100, NUD_STALE, printer, 10) + news(RTM_NEWNEIGH, 20, NUD_STALE, printer, 10));
    EXPECT_EQ(rows(news(RTM_NEWNEIGH, 50, NUD_STALE, printer, 10) + news(RTM_NEWNEIGH, 200, NUD_STALE, printer)),
        (QStringList{
            "2 192.168.1.200 001132007714", "10 192.168.1.20 001132007714", "10 192.168.1.50 001132007714", "10 192.168.1.100 001132007714"}));
}

TEST_F(NeighbourMemoryTest, MessageCutAnywhereChangesNothing)
{
    const QByteArray bytes = news(RTM_NEWNEIGH, 20, NUD_STALE, printer);
    for (qsizetype length = 0; length < bytes.size(); ++length) {
        feed(bytes.first(length));
        EXPECT_EQ(rows(), QStringList()) << length;
    }
}

} // namespace
