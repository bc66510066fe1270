#include "scan/DeviceList.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

class Finalising : public testing::Test
{
protected:
    void row(const QString &address, const QString &mac = QStringLiteral("02:11:22:33:44:55")) { findings.arpTable.insert(address, mac); }
    [[nodiscard]] QStringList addresses() const
    {
        QStringList list;
        for (const RGFCoreScanDevice &device : devicesOf(findings))
            list.append(device.ipAddress);
        return list;
    }
    [[nodiscard]] RGFCoreScanDevice only() const
    {
        const QList<RGFCoreScanDevice> devices = devicesOf(findings);
        EXPECT_EQ(devices.size(), 1);
        return devices.value(0);
    }
    ScanFindings findings;
};

TEST_F(Finalising, AddressesComeInNumericOrder)
{
    for (const char *address : {"10.0.0.10", "10.0.0.9", "9.255.0.1", "10.0.0.100", "100.0.0.1"})
        row(address);
    EXPECT_EQ(addresses(), QStringList({"9.255.0.1", "10.0.0.9", "10.0.0.10", "10.0.0.100", "100.0.0.1"}));
}

TEST_F(Finalising, BroadcastNetworkAndAddresslessRowsAreDropped)
{
    row("10.0.0.0");
    row("10.0.0.255");
    row("10.0.0.7", "ff:ff:ff:ff:ff:ff");
    row("10.0.0.8", "");
    row("10.0.0.9");
    EXPECT_EQ(addresses(), QStringList({"10.0.0.9"}));
}

TEST_F(Finalising, GroupsAreDroppedUnlessTheFilterAllowsThem)
{
    row("224.0.0.251", "01:00:5E:00:00:FB");
    row("223.1.1.1");
    EXPECT_EQ(addresses(), QStringList({"223.1.1.1"}));
    findings.filterPrefs = {{"allowMulticast", false}};
    EXPECT_EQ(addresses(), QStringList({"223.1.1.1"}));
    findings.filterPrefs = {{"allowMulticast", true}};
    EXPECT_EQ(addresses(), QStringList({"223.1.1.1", "224.0.0.251"}));
}

TEST_F(Finalising, TheFilterSeesAddressUpperCaseMACAndDNSName)
{
    row("10.0.0.7", "aa:bb:cc:dd:ee:ff");
    row("10.0.0.8");
    findings.dnsNames = {{"10.0.0.8", "vmnet1.lan"}};
    findings.filterPrefs = {{"blacklistMACs", QVariantList{"AA:BB:CC:DD:EE:FF"}}};
    EXPECT_TRUE(addresses().isEmpty());
}

TEST_F(Finalising, APlainHostIsNamedByItsAddressAndKnowsNothing)
{
    row("10.0.0.7", "aa:bb:cc:dd:ee:ff");
    findings.pingable.emplace();
    RGFCoreScanDevice expected;
    expected.ipAddress = expected.deviceName = "10.0.0.7";
    expected.macAddress = "AA:BB:CC:DD:EE:FF";
    EXPECT_EQ(only(), expected);
}

TEST_F(Finalising, TheDNSNameIsHostNameDNSEntryAndDisplayName)
{
    row("10.0.0.7");
    findings.dnsNames = {{"10.0.0.7", "printer.lan"}};
    EXPECT_EQ(only().hostname, "printer.lan");
    EXPECT_EQ(only().dnsEntry, "printer.lan");
    EXPECT_EQ(only().deviceName, "printer.lan");
}

TEST_F(Finalising, TheBonjourNameReplacesTheDNSEntryOnly)
{
    row("10.0.0.7");
    findings.dnsNames = {{"10.0.0.7", "printer.lan"}};
    findings.localNames = {{"10.0.0.7", "printer.local."}};
    EXPECT_EQ(only().hostname, "printer.lan");
    EXPECT_EQ(only().dnsEntry, "printer.local.");
    EXPECT_EQ(only().deviceName, "printer.lan");
}

TEST_F(Finalising, ABonjourNameIsShownWithoutItsDot)
{
    row("10.0.0.7");
    findings.localNames = {{"10.0.0.7", "printer.local."}};
    EXPECT_EQ(only().deviceName, "printer.local");
    EXPECT_EQ(only().hostname, "UNKNOWN");
    findings.dnsNames = {{"10.0.0.7", "UNKNOWN"}};
    EXPECT_EQ(only().deviceName, "printer.local");
}

TEST_F(Finalising, ServicesAreJoinedAndDecideTheType)
{
    row("10.0.0.7");
    findings.services = {{"10.0.0.7", {"_http._tcp.", "_ipp._tcp."}}};
    EXPECT_EQ(only().services, "_http._tcp.,_ipp._tcp.");
    EXPECT_EQ(only().deviceType, "Printer");
}

TEST_F(Finalising, WithoutTestResultsEveryHostCountsAsAnswering)
{
    row("10.0.0.7");
    EXPECT_TRUE(only().isPingable);
    findings.pingable = {"10.0.0.8"};
    EXPECT_FALSE(only().isPingable);
    findings.pingable = {"10.0.0.7"};
    EXPECT_TRUE(only().isPingable);
}

TEST_F(Finalising, AnUnknownDeviceAtOneIsARouter)
{
    row("10.0.0.1");
    row("10.0.0.11");
    const QList<RGFCoreScanDevice> devices = devicesOf(findings);
    EXPECT_EQ(devices[0].deviceType, "Router");
    EXPECT_EQ(devices[1].deviceType, "UNKNOWN");
}

TEST_F(Finalising, AKnownDeviceAtOneStaysWhatItIs)
{
    row("10.0.0.1");
    findings.services = {{"10.0.0.1", {"_appletv-v2._tcp."}}};
    EXPECT_EQ(only().deviceType, "AppleTV");
}

TEST_F(Finalising, TheOwnersWordsComeFirst)
{
    row("10.0.0.1", "aa:bb:cc:dd:ee:ff");
    findings.dnsNames = {{"10.0.0.1", "printer.lan"}};
    findings.services = {{"10.0.0.1", {"_ipp._tcp."}}};
    findings.customizations = {{"AA:BB:CC:DD:EE:FF", {"My Box", "Toaster", "Acme"}}};
    EXPECT_EQ(only().deviceName, "My Box");
    EXPECT_EQ(only().deviceType, "Toaster");
    EXPECT_EQ(only().vendorInfo, "Acme");
    findings.customizations = {{"AA:BB:CC:DD:EE:FF", {"", "UNKNOWN", "UNKNOWN"}}};
    EXPECT_EQ(only().deviceName, "printer.lan");
    EXPECT_EQ(only().deviceType, "Printer");
    EXPECT_EQ(only().vendorInfo, "UNKNOWN");
    findings.customizations = {{"AA:BB:CC:DD:EE:FF", {"", "", ""}}};
    EXPECT_EQ(only().deviceType, "Printer");
    EXPECT_EQ(only().vendorInfo, "UNKNOWN");
}

TEST_F(Finalising, SpeakersWithoutANameAreUnknownButARouterAtOne)
{
    for (const char *address : {"10.0.0.1", "10.0.0.7"}) {
        row(QLatin1String(address));
        findings.dnsNames.insert(QLatin1String(address), "kitchen.lan");
        findings.localNames.insert(QLatin1String(address), "kitchen.local.");
        findings.services.insert(QLatin1String(address), {"_airplay._tcp.", "_raop._tcp."});
    }
    const QList<RGFCoreScanDevice> devices = devicesOf(findings);
    EXPECT_EQ(devices[0].deviceType, "Router");
    EXPECT_EQ(devices[1].deviceType, "UNKNOWN");
}

TEST_F(Finalising, HidingLeavesOutARowWithoutAnAddressAndKeepsTheRest)
{
    row("10.0.0.7", "unknown");
    row("10.0.0.8");
    EXPECT_EQ(addresses(), QStringList({"10.0.0.7", "10.0.0.8"}));
    findings.filterPrefs = {{"showHidden", false}};
    EXPECT_EQ(addresses(), QStringList({"10.0.0.8"}));
}

} // namespace
