#include "scan/NetworkTables.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

QString recorded(const char *name)
{
    QFile file(QStringLiteral(TEST_DATA "/bsd/") + QLatin1String(name));
    if (!file.open(QIODevice::ReadOnly))
        ADD_FAILURE() << "cannot read " << name;
    return QString::fromUtf8(file.readAll());
}

TEST(RoutingTableText, ADefaultLineWithoutAGatewayIsSkippedForTheNext)
{
    EXPECT_EQ(defaultGateway(QStringLiteral("default link#5 UCSg utun4\ndefault 192.168.1.1 UGSc eth0\n")), "192.168.1.1");
    EXPECT_EQ(defaultGateway(QStringLiteral("default link#5.1 UCSg utun4\n")), ""); // a dot alone makes no gateway
}

TEST(RoutingTableText, ADefaultLineWithASingleFieldIsSkipped)
{
    EXPECT_EQ(defaultGateway(QStringLiteral("default\ndefault   \ndefault 10.0.0.1\n")), "10.0.0.1");
}

TEST(RoutingTableText, WithoutADefaultLineThereIsNoGateway)
{
    for (const char *text : {"", "10.0.0.0 10.0.0.1 UG eth0\n", " default 10.0.0.1 UG eth0\n", "default fe80::1 UG eth0\n"}) {
        const QString gateway = defaultGateway(QLatin1String(text));
        EXPECT_EQ(gateway, "") << text;
        EXPECT_FALSE(gateway.isNull());
    }
}

TEST(RoutingTableText, ThatOfBSDIsRead)
{
    EXPECT_EQ(defaultGateway(recorded("netstat-rn.txt")), "192.168.1.1");
}

TEST(ARPTableText, ThatOfBSDIsRead)
{
    const ARPTable expected = {{"192.168.1.1", "0C:9D:92:7C:B0:18"}, {"192.168.1.7", "00:1B:63:0A:0B:0C"}, {"192.168.1.20", "00:11:32:4E:00:15"},
        {"192.168.1.255", "FF:FF:FF:FF:FF:FF"}, {"224.0.0.251", "01:00:5E:00:00:FB"}};
    EXPECT_EQ(parseARPTable(recorded("arp-an.txt")), expected);
}

TEST(ARPTableText, AnIncompleteRowYieldsNoEntry)
{
    EXPECT_TRUE(parseARPTable(QStringLiteral("? (192.168.1.7) at (incomplete) on en0\n? (192.168.1.8) at <incomplete> on eth0\n")).isEmpty());
}

TEST(ARPTableText, AResolvedRowYieldsItsNormalisedAddress)
{
    EXPECT_EQ(parseARPTable(QStringLiteral("? (192.168.1.7) at 0:1b:63:a:b:c on en0")), ARPTable({{"192.168.1.7", "00:1B:63:0A:0B:0C"}}));
}

TEST(ARPTableText, ALaterRowForAnAddressOverwritesAnEarlierOne)
{
    const QString text = QStringLiteral("? (10.0.0.7) at 02:00:00:00:00:01 on eth1\n? (10.0.0.7) at 02:00:00:00:00:02 on eth0\n");
    EXPECT_EQ(parseARPTable(text), ARPTable({{"10.0.0.7", "02:00:00:00:00:02"}}));
}

TEST(ARPTableText, RowsWithFewerThanFourWordsAndOddLengthsAreSkipped)
{
    for (const char *row :
        {"? (10.0.0.7) at", "? (10.0.0.7) at 1:2:3:4:5 on eth0", "? (10.0.0.7) at 00:11:22:33:44:55:66 on eth0", "? (10.0.0.7) at 0:1:2:3:45 on eth0",
            "? (10.0.0.7) at 00:11:22:33:44:556 on eth0", "? (10.0.0.7) at 0011.2233.4455 on eth0", "?  (10.0.0.7) at 00:11:22:33:44:55"})
        EXPECT_TRUE(parseARPTable(QLatin1String(row)).isEmpty()) << row;
}

TEST(ARPTableText, ALineWithoutEndIsReadInPieces)
{
    const QString line = QString(4000, u'x') + QStringLiteral(" (10.0.0.7) at 00:11:22:33:44:55 on eth0");
    EXPECT_EQ(parseARPTable(line).keys(), QStringList({"10.0.0.7"})); // the last piece is a row like any other
    EXPECT_TRUE(parseARPTable(QString(2046, u'x') + QStringLiteral("? (10.0.0.7) at 00:11:22:33:44:55 on eth0")).contains("10.0.0.7"));
}

TEST(HardwareAddresses, PartsOfOneDigitGetAZeroAndAllIsUpperCase)
{
    EXPECT_EQ(normalizeMACAddress(QStringLiteral("a:b:c:d:e:f")), "0A:0B:0C:0D:0E:0F");
    EXPECT_EQ(normalizeMACAddress(QStringLiteral("00:1b:63:84:45:e6")), "00:1B:63:84:45:E6");
}

TEST(HardwareAddresses, OfFiveOrSevenPartsAreKeptAsRead)
{
    for (const char *text : {"00:1b:63:84:45", "0:1b:63:84:45:e6:7f", "", "incomplete"})
        EXPECT_EQ(normalizeMACAddress(QLatin1String(text)), QLatin1String(text));
    EXPECT_TRUE(normalizeMACAddress(QString()).isNull());
}

TEST(SubnetPrefixes, AreWhatStandsBeforeTheLastDot)
{
    EXPECT_EQ(subnetPrefix(QStringLiteral("192.168.1.20")), "192.168.1");
    EXPECT_TRUE(subnetPrefix(QStringLiteral("192")).isEmpty());
}

TEST(ARPTableText, AnAddressOfFiveOrSevenPartsStaysInItsRowAsRead)
{
    const QString text =
        QStringLiteral("? (10.0.0.5) at 0a:1b:2c:3d:4e on eth0\n? (10.0.0.7) at a:b:c:d:e:f:0 on eth0\n? (10.0.0.8) at 0:1:2:3:4:5 on eth0\n");
    EXPECT_EQ(parseARPTable(text), ARPTable({{"10.0.0.5", "0a:1b:2c:3d:4e"}, {"10.0.0.7", "a:b:c:d:e:f:0"}, {"10.0.0.8", "00:01:02:03:04:05"}}));
}

TEST(RoutingTableText, ADefaultLineOfAnIgnoredInterfaceIsSkipped)
{
    const QString text = QStringLiteral("default 10.8.0.1 UGSc tun0\ndefault 192.168.1.1 UGScg en0 1195\n");
    EXPECT_EQ(defaultGateway(text, {"tun*"}), "192.168.1.1");
    EXPECT_EQ(defaultGateway(text, {"en0"}), "10.8.0.1");
    EXPECT_EQ(defaultGateway(text, {"*"}), "");
}

} // namespace
