#include "scan/NetworkScanner.h"
#include "scan/Probes.h"
#include "tests/scan/ScanFixture.h"

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class Sweep : public ScanFixture
{
protected:
    /// Sweeps one /24 on a pool thread, to its end.
    void sweep(const QString &broadcast)
    {
        dispatch.globalAsync([this, broadcast] { whole = NetworkScanner::sweepSubnetRange(ports(), broadcast); });
        dispatch.advance(1min);
    }
    /// What one host got, as text: "icmp", "udp 9", "tcp 80" and so on.
    [[nodiscard]] QStringList packetsTo(const QString &host) const
    {
        QStringList packets;
        for (const SeenProbe &probe : lan.seen) {
            if (probe.host == host)
                packets.append(probe.port == 0 ? probe.what : probe.what + u' ' + QString::number(probe.port));
        }
        return packets;
    }
    std::optional<bool> whole;
};

TEST_F(Sweep, EachHostGetsEchoDatagramsAndConnectionsInTheirOrder)
{
    sweep("192.168.1.255");
    for (const char *host : {"192.168.1.1", "192.168.1.77", "192.168.1.254"}) {
        EXPECT_EQ(packetsTo(host), QStringList({"icmp", "udp 9", "udp 7", "udp 53", "udp 137", "udp 161", "udp 5353", "tcp 80", "tcp 443"})) << host;
    }
    EXPECT_EQ(lan.seen.size(), 254 * 9);
    EXPECT_EQ(whole, true);
}

TEST_F(Sweep, HostsFollowOneAnotherUpwardsAndHundredMillisecondsApart)
{
    sweep("192.168.1.255");
    for (int host = 1; host <= 254; ++host) {
        const SeenProbe &first = lan.seen[(host - 1) * 9];
        EXPECT_EQ(first.host, QStringLiteral("192.168.1.%1").arg(host));
        EXPECT_EQ(first.at, (host - 1) * 102ms); // two connections of a millisecond each, and the pause
        EXPECT_EQ(lan.seen[(host - 1) * 9 + 8].at, first.at + 1ms); // the second connection starts when the first is closed
    }
}

TEST_F(Sweep, ItsFirstAndLastAddressAreNeverProbed)
{
    sweep("192.168.1.255");
    EXPECT_TRUE(packetsTo("192.168.1.0").isEmpty());
    EXPECT_TRUE(packetsTo("192.168.1.255").isEmpty());
}

TEST_F(Sweep, PayloadsAreAnEchoRequestAndOneLetter)
{
    sweep("10.0.0.255");
    EXPECT_EQ(lan.seen[0].payload, QByteArray::fromHex("0800f7fd00010001"));
    EXPECT_EQ(lan.seen[253 * 9].payload, echoRequest(254));
    for (int udp = 1; udp <= 6; ++udp)
        EXPECT_EQ(lan.seen[udp].payload, "X");
}

TEST_F(Sweep, AllSocketsAreClosedAtItsEnd)
{
    sweep("10.0.0.255");
    EXPECT_EQ(lan.openSockets, 0);
}

TEST_F(Sweep, WithoutPermissionForEchoesItGoesOnWithTheRest)
{
    lan.refusesICMP = true;
    sweep("10.0.0.255");
    EXPECT_EQ(log.lines(),
        QStringList({"SubnetProbe: sweeping 10.0.0.1-254 (ICMP + UDP×6 + TCP/80,443, paced 100ms)",
            "SubnetProbe: ICMP socket failed: Permission denied", "SubnetProbe: sweep finished"}));
    EXPECT_EQ(lan.seen.size(), 254 * 8);
}

TEST_F(Sweep, WithoutDatagramsItGoesOnWithTheRest)
{
    lan.refusesUDP = true;
    sweep("10.0.0.255");
    EXPECT_TRUE(log.contains("SubnetProbe: UDP socket failed: Too many open files"));
    EXPECT_EQ(packetsTo("10.0.0.9"), QStringList({"icmp", "tcp 80", "tcp 443"}));
}

TEST_F(Sweep, AnAddressOfThreePartsDoesNothing)
{
    sweep("10.0.255");
    NetworkScanner::pingCommonAddressesForBroadcast(ports(), "10.0.255");
    EXPECT_TRUE(lan.seen.isEmpty());
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(Sweep, TheEndOfTheProgramEndsItAtOnce)
{
    dispatch.globalAsync([this] { whole = NetworkScanner::sweepSubnetRange(ports(), "10.0.0.255"); });
    dispatch.advance(5s);
    const qsizetype before = lan.seen.size();
    dispatch.endSleeps();
    EXPECT_EQ(whole, false);
    EXPECT_EQ(lan.seen.size(), before);
    EXPECT_EQ(lan.openSockets, 0);
}

TEST_F(Sweep, ItTellsWhichHostIsUnderWay)
{
    QList<int> told;
    dispatch.globalAsync([&] { NetworkScanner::sweepSubnetRange(ports(), "10.0.0.255", [&](int host) { told.append(host); }); });
    dispatch.advance(1min);
    EXPECT_EQ(told.size(), 254);
    EXPECT_EQ(told.first(), 1);
    EXPECT_EQ(told.last(), 254);
}

TEST_F(Sweep, UDPProbesGoToTheBroadcastAddressAndTheGroups)
{
    NetworkScanner::sendUDPProbes(ports(), "10.0.0.255");
    QStringList sent;
    for (const SeenProbe &probe : lan.seen)
        sent.append(QStringLiteral("%1 %2:%3 %4").arg(probe.what, probe.host).arg(probe.port).arg(probe.payload.size()));
    EXPECT_EQ(sent,
        QStringList({"broadcast 10.0.0.255:137 1", "broadcast 10.0.0.255:5355 1", "broadcast 10.0.0.255:9 1", "multicast 224.0.0.251:5353 32",
            "multicast 239.255.255.250:1900 32", "multicast 224.0.0.252:5355 32"}));
    EXPECT_EQ(lan.seen[0].payload, "X");
    EXPECT_EQ(lan.seen[3].payload, QByteArray(32, '\0'));
    lan.seen.clear();
    lan.refusesUDP = true;
    NetworkScanner::sendUDPProbes(ports(), "10.0.0.255");
    EXPECT_TRUE(lan.seen.isEmpty());
}

TEST_F(Sweep, CommonAddressesArePingedInTheirOrder)
{
    NetworkScanner::pingCommonAddressesForBroadcast(ports(), "10.0.0.255");
    QStringList commands;
    for (const SeenProbe &probe : lan.seen)
        commands.append(probe.what + u' ' + probe.host);
    EXPECT_EQ(commands,
        QStringList({"ping -c 2 -i 0.2 -W 1 10.0.0.1", "ping -c 2 -i 0.2 -W 1 10.0.0.254", "ping -c 2 -i 0.2 -W 1 10.0.0.2",
            "ping -c 2 -i 0.2 -W 1 10.0.0.100"}));
}

TEST_F(Sweep, AWholeScanPingsSweepsPingsAgainAndSendsItsLastProbes)
{
    standardInterface();
    NetworkScanner::scanNetworkWithCompletion(ports(), {});
    dispatch.advance(1min);
    EXPECT_EQ(lan.seen.first().host, "-b -c 3 -w 1 192.168.1.255");
    EXPECT_EQ(lan.seen[1].at, 1s); // the broadcast ping was waited for
    EXPECT_EQ(lan.seen[1].what, "icmp");
    const qsizetype after = 1 + 254 * 9;
    ASSERT_EQ(lan.seen.size(), after + 4 + 6);
    EXPECT_EQ(lan.seen[after].what, "ping");
    EXPECT_EQ(lan.seen[after + 4].what, "broadcast");
    EXPECT_EQ(lan.seen.last().what, "multicast");
}

TEST_F(Sweep, TwoSweepsRunSideBySide)
{
    standardInterface();
    NetworkScanner::scanNetworkWithCompletion(ports(), {});
    dispatch.advance(10s);
    NetworkScanner::scanNetworkWithCompletion(ports(), {});
    dispatch.advance(1min);
    EXPECT_EQ(packetsTo("192.168.1.77").count("icmp"), 2);
    EXPECT_EQ(log.count("SubnetProbe: sweep finished"), 2);
}

TEST(EchoRequests, CarryTheInternetChecksum)
{
    for (int number = 1; number <= 254; ++number) {
        const QByteArray request = echoRequest(quint16(number));
        ASSERT_EQ(request.size(), 8);
        EXPECT_EQ(request[0], 8);
        EXPECT_EQ(quint8(request[5]), number);
        EXPECT_EQ(internetChecksum(request), 0); // summing up with the checksum gives all ones
    }
}

TEST(EchoRequests, TheChecksumIsThatOfThePublishedExample)
{
    EXPECT_EQ(internetChecksum(QByteArray::fromHex("0001f203f4f5f6f7")), 0x220d); // RFC 1071, section 3
    EXPECT_EQ(internetChecksum(QByteArray::fromHex("01")), 0xfeff);
}

TEST_F(Sweep, ARefusedBroadcastSocketLeavesTheGroups)
{
    lan.refusesBroadcast = true;
    NetworkScanner::sendUDPProbes(ports(), "10.0.0.255");
    EXPECT_EQ(lan.seen.size(), 3);
    EXPECT_EQ(lan.seen.first().what, "multicast");
}

TEST_F(Sweep, AnAddressOfFivePartsDoesNothing)
{
    sweep("10.0.0.1.255");
    NetworkScanner::pingCommonAddressesForBroadcast(ports(), "10.0.0.1.255");
    EXPECT_TRUE(lan.seen.isEmpty());
}

} // namespace
