#include "scan/NetworkScanner.h"
#include "tests/scan/ScanFixture.h"

#include <thread>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class Environment : public ScanFixture
{
protected:
    /// Scans to the end; the table that the completion got, none when it was not called.
    std::optional<ARPTable> scan()
    {
        std::optional<ARPTable> found;
        NetworkScanner::scanNetworkWithCompletion(ports(), [&](const ARPTable &table) { found = table; });
        dispatch.advance(10min);
        return found;
    }
    void connect(const QString &ssid) { wiFi.setState({QStringLiteral("wlan0"), ssid, true, false}); }
};

TEST_F(Environment, PrefixesComeInInterfaceOrderWithoutDuplicates)
{
    addInterface("lo", "127.0.0.1");
    addInterface("eth1", "10.20.30.10");
    addInterface("eth0", "192.168.1.10");
    addInterface("eth0:1", "192.168.1.11");
    EXPECT_EQ(NetworkScanner::currentIPv4SubnetPrefixes(ports()), QStringList({"10.20.30", "192.168.1"}));
}

TEST_F(Environment, ALinkLocalInterfaceContributesNeitherPrefixNorBroadcast)
{
    lan.routes = QStringLiteral("");
    addInterface("eth0", "169.254.7.8", "169.254.255.255");
    EXPECT_TRUE(NetworkScanner::currentIPv4SubnetPrefixes(ports()).isEmpty());
    EXPECT_TRUE(NetworkScanner::allBroadcastsToSweep(ports()).isEmpty());
}

TEST_F(Environment, OnlyTheLiteralLoopbackAddressIsSkipped)
{
    addInterface("lo", "127.0.0.2");
    EXPECT_EQ(NetworkScanner::currentIPv4SubnetPrefixes(ports()), QStringList({"127.0.0"}));
}

TEST_F(Environment, AnInterfaceThatIsDownDoesNotCount)
{
    standardInterface();
    lan.addresses.last().up = false;
    EXPECT_TRUE(NetworkScanner::currentIPv4SubnetPrefixes(ports()).isEmpty());
}

TEST_F(Environment, IgnoredInterfacesDoNotCount)
{
    standardInterface();
    addInterface("docker0", "172.17.0.1", "172.17.255.255");
    set("ignoredInterfaces", QVariantList{"docker*"});
    EXPECT_EQ(NetworkScanner::allBroadcastsToSweep(ports()), QStringList({"192.168.1.255"}));
}

TEST_F(Environment, ThePrefixWithTheDefaultGatewayIsPreferredElseTheFirst)
{
    addInterface("eth1", "10.20.30.10");
    addInterface("eth0", "192.168.1.10");
    EXPECT_EQ(NetworkScanner::currentIPv4SubnetPrefix(ports()), "192.168.1");
    lan.routes = QStringLiteral("default 172.16.0.1 UGSc eth0\n");
    EXPECT_EQ(NetworkScanner::currentIPv4SubnetPrefix(ports()), "10.20.30");
    lan.addresses.clear();
    EXPECT_FALSE(NetworkScanner::currentIPv4SubnetPrefix(ports()));
}

TEST_F(Environment, TheBroadcastAddressOfAnInterfaceIsThatOfItsFirstEntryWithOne)
{
    addInterface("eth0", "192.168.1.9");
    addInterface("eth0", "192.168.1.10", "192.168.1.255");
    EXPECT_EQ(NetworkScanner::getBroadcastAddressForInterface(ports(), "eth0"), "192.168.1.255");
    EXPECT_FALSE(NetworkScanner::getBroadcastAddressForInterface(ports(), "eth1"));
}

TEST_F(Environment, EveryInterfaceIsSweptAsItsOwnTwentyFour)
{
    addInterface("eth0", "192.168.1.10", "192.168.3.255"); // a /22
    addInterface("eth1", "10.0.0.70", "10.0.0.127"); // a /25
    addInterface("tun0", "10.8.0.2");
    lan.routes = QStringLiteral("default 10.8.0.1 UGSc tun0\n");
    EXPECT_EQ(NetworkScanner::allBroadcastsToSweep(ports()), QStringList({"192.168.3.255", "192.168.1.255", "10.0.0.255", "10.8.0.255"}));
}

TEST_F(Environment, ABroadcastAddressCountsOnlyWhenTheInterfaceSaysThatItBroadcasts)
{
    addInterface("eth0", "192.168.1.10", "192.168.7.255");
    lan.addresses.last().hasBroadcast = false;
    EXPECT_EQ(NetworkScanner::allBroadcastsToSweep(ports()), QStringList({"192.168.1.255"}));
}

TEST_F(Environment, AGatewayOutsideEveryInterfaceStillAddsItsNetworkToTheSweep)
{
    standardInterface();
    lan.routes = QStringLiteral("default 10.9.8.1 UGSc eth0\n");
    EXPECT_EQ(NetworkScanner::allBroadcastsToSweep(ports()), QStringList({"192.168.1.255", "10.9.8.255"}));
    EXPECT_TRUE(log.contains("allBroadcastsToSweep: adding default-route subnet 10.9.8.0/24 (gateway 10.9.8.1)"));
}

TEST_F(Environment, AnUnreadableInterfaceListLeavesTheGatewaysNetwork)
{
    EXPECT_EQ(NetworkScanner::allBroadcastsToSweep(ports()), QStringList({"192.168.1.255"}));
}

TEST_F(Environment, ALiveNetworkNameIsTheKey)
{
    standardInterface();
    set("wiFiStubSSID", "stub");
    connect("Lighthouse");
    int redraws = 0;
    const auto observation = notifications.observe(updateMenubarDataNotification, [&](const Notification &) { ++redraws; });
    ASSERT_TRUE(scan());
    EXPECT_EQ(stored("currentWiFiName"), "Lighthouse");
    EXPECT_EQ(stored("realWiFiAvailable"), true);
    EXPECT_EQ(redraws, 1);
    EXPECT_TRUE(log.contains("WiFi check: interface=wlan0, ssid=Lighthouse"));
    EXPECT_TRUE(log.contains("Associating scan with: Lighthouse (interface: wlan0, real WiFi: YES)"));
}

TEST_F(Environment, WithoutALiveNameTheTrimmedStubIsTheKey)
{
    standardInterface();
    set("wiFiStubSSID", "  Attic \n");
    ASSERT_TRUE(scan());
    EXPECT_EQ(stored("currentWiFiName"), "Attic");
    EXPECT_EQ(stored("realWiFiAvailable"), false);
    EXPECT_TRUE(log.contains("WiFi check: interface=nil, ssid=nil"));
    EXPECT_TRUE(log.contains("No live WiFi — using stub SSID 'Attic' for data association"));
    EXPECT_TRUE(log.contains("Associating scan with: Attic (interface: <ethernet/stub>, real WiFi: NO)"));
}

TEST_F(Environment, AStubOfOnlyBlanksCountsAsNoStub)
{
    standardInterface();
    set("wiFiStubSSID", " \t\n");
    connect("");
    ASSERT_TRUE(scan());
    EXPECT_EQ(stored("currentWiFiName"), "Subnet 192.168.1.x");
    EXPECT_TRUE(log.contains("SSID unreadable and no stub — using subnet identifier 'Subnet 192.168.1.x'"));
    EXPECT_TRUE(log.contains("Associating scan with: Subnet 192.168.1.x (interface: wlan0, real WiFi: NO)"));
}

TEST_F(Environment, WithoutAnyNetworkTheScanEndsEmptyAndForgetsTheName)
{
    set("currentWiFiName", "Yesterday");
    lan.routes = QStringLiteral("");
    EXPECT_EQ(scan(), ARPTable());
    EXPECT_FALSE(stored("currentWiFiName").isValid());
    EXPECT_TRUE(log.contains("No IPv4 network at all (interface: (null), ssid: (null))"));
    EXPECT_TRUE(lan.seen.isEmpty());
}

TEST_F(Environment, WithANameButNothingToSweepTheScanEndsEmpty)
{
    lan.routes = QStringLiteral("");
    connect("Lighthouse");
    EXPECT_EQ(scan(), ARPTable());
    EXPECT_EQ(stored("currentWiFiName"), "Lighthouse");
    EXPECT_TRUE(log.contains("No broadcast addresses discovered"));
}

TEST_F(Environment, RefusedPermissionDoesNotStopTheScan)
{
    standardInterface();
    locationAllowed = false;
    EXPECT_TRUE(scan());
    EXPECT_TRUE(log.contains("Location permission denied; Wi-Fi SSID unreadable — scanning anyway"));
}

TEST_F(Environment, AMissingCallbackIsNoFault)
{
    standardInterface();
    NetworkScanner::scanNetworkWithCompletion(ports(), {});
    dispatch.advance(1min);
    EXPECT_TRUE(log.contains("Found 0 devices"));
}

TEST_F(Environment, TheLogTellsTheWholeScanInItsOrder)
{
    standardInterface();
    addInterface("eth1", "10.0.0.10", "10.0.0.255");
    addHost("192.168.1.20", "0:11:32:4e:0:15");
    EXPECT_EQ(scan(), ARPTable({{"192.168.1.20", "00:11:32:4E:00:15"}}));
    const QStringList expected = {"scanNetworkWithCompletion", "WiFi check: interface=nil, ssid=nil",
        "SSID unreadable and no stub — using subnet identifier 'Subnet 192.168.1.x'",
        "Associating scan with: Subnet 192.168.1.x (interface: <ethernet/stub>, real WiFi: NO)",
        "Broadcasts to sweep (2): [\"192.168.1.255\",\"10.0.0.255\"]", "Sweeping broadcast 192.168.1.255",
        "SubnetProbe: sweeping 192.168.1.1-254 (ICMP + UDP×6 + TCP/80,443, paced 100ms)", "SubnetProbe: sweep finished",
        "Sweeping broadcast 10.0.0.255", "SubnetProbe: sweeping 10.0.0.1-254 (ICMP + UDP×6 + TCP/80,443, paced 100ms)", "SubnetProbe: sweep finished",
        "Found 1 devices"};
    EXPECT_EQ(log.lines(), expected);
}

TEST_F(Environment, AnAnswerWithinThreeSecondsOfTheSweepIsStillFound)
{
    standardInterface();
    addHost("192.168.1.254", "02:00:00:00:00:01").arp = 3s;
    addHost("192.168.1.253", "02:00:00:00:00:02").arp = 3400ms;
    EXPECT_EQ(scan().value_or(ARPTable()).keys(), QStringList({"192.168.1.254"}));
}

TEST_F(Environment, TheKernelsMemoryIsKeptForTheWholeScanAndNoLonger)
{
    standardInterface();
    NetworkScanner::scanNetworkWithCompletion(ports(), {});
    dispatch.advance(20s);
    EXPECT_EQ(lan.keepers, 1);
    dispatch.advance(1min);
    EXPECT_EQ(lan.keepers, 0);
}

TEST_F(Environment, WithoutSweepingTheTableIsReadAsItIs)
{
    standardInterface();
    lan.neighbours = QStringLiteral("? (192.168.1.20) at 00:11:32:4e:00:15 on eth0\n");
    ScanPorts quiet = ports();
    quiet.sweeps = false;
    std::optional<ARPTable> found;
    NetworkScanner::scanNetworkWithCompletion(quiet, [&](const ARPTable &table) { found = table; });
    dispatch.runReady();
    EXPECT_EQ(found, ARPTable({{"192.168.1.20", "00:11:32:4E:00:15"}}));
    EXPECT_TRUE(lan.seen.isEmpty());
}

TEST_F(Environment, TheDiagnosisSaysWhatCanBeRead)
{
    NetworkScanner::testSSIDDetection(ports());
    EXPECT_EQ(log.lines(),
        QStringList({"=== SSID Test ===", "Interface: nil", "SSID: <redacted or nil>", "Power: 0", "==================", "✗ SSID not accessible."}));
    log.clear();
    connect("Lighthouse");
    NetworkScanner::testSSIDDetection(ports());
    EXPECT_EQ(log.lines(),
        QStringList({"=== SSID Test ===", "Interface: wlan0", "SSID: Lighthouse", "Power: 1", "==================", "✓ SSID found successfully!"}));
    log.clear();
    connect("<redacted>");
    NetworkScanner::testSSIDDetection(ports());
    EXPECT_EQ(log.lines().last(), "✗ SSID not accessible.");
}

TEST_F(Environment, TheGatewayBehindAnIgnoredInterfaceIsNotSwept)
{
    standardInterface();
    addInterface("tun0", "10.8.0.2");
    set("ignoredInterfaces", QVariantList{"tun0"});
    lan.routes = QStringLiteral("default 10.8.0.1 UGSc tun0\ndefault 192.168.1.1 UGSc eth0\n");
    EXPECT_EQ(NetworkScanner::allBroadcastsToSweep(ports()), QStringList({"192.168.1.255"}));
}

TEST_F(Environment, TablesThatCannotBeReadAreEmptyAndLogged)
{
    lan.routes = QString();
    lan.neighbours = QString();
    EXPECT_EQ(NetworkScanner::defaultRouteGatewayIP(ports()), "");
    EXPECT_TRUE(NetworkScanner::readARPTable(ports()).isEmpty());
    EXPECT_EQ(log.lines(), QStringList({"defaultRouteGatewayIP: exception the routing table cannot be read", "Failed to open pipe for arp command"}));
}

TEST_F(Environment, TheTableArrivesOnTheMainThread)
{
    standardInterface();
    std::thread::id thread;
    NetworkScanner::scanNetworkWithCompletion(ports(), [&](const ARPTable &) { thread = std::this_thread::get_id(); });
    dispatch.advance(1min);
    EXPECT_EQ(thread, std::this_thread::get_id()); // pool tasks have threads of their own
}

TEST_F(Environment, TheEndOfTheProgramDuringTheFirstPingSendsNothingMore)
{
    standardInterface();
    bool called = false;
    NetworkScanner::scanNetworkWithCompletion(ports(), [&](const ARPTable &) { called = true; });
    dispatch.advance(500ms);
    dispatch.endSleeps();
    dispatch.advance(1min);
    EXPECT_EQ(lan.seen.size(), 1); // the ping itself
    EXPECT_FALSE(called);
}

} // namespace
