#include "scan/Customizations.h"
#include "scan/NetworkSnapshot.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

class Reading : public testing::Test
{
protected:
    void read(const QString &devices) { addCustomizations(known, {{"devices", devices}}); }
    [[nodiscard]] Customization of(const char *mac) const { return known.value(QLatin1String(mac)); }
    Customizations known;
};

TEST_F(Reading, AWrittenListGivesOneCustomisationPerDeviceWithARealAddress)
{
    RGFCoreScanDevice printer;
    printer.ipAddress = "10.0.0.1";
    printer.macAddress = "02:00:00:00:00:01";
    printer.deviceName = "Hall Printer";
    printer.deviceType = "Printer";
    printer.vendorInfo = "Acme";
    RGFCoreScanDevice nameless = printer;
    nameless.macAddress = "UNKNOWN";
    RGFCoreScanDevice other = printer;
    other.macAddress = "02:00:00:00:00:02";
    other.deviceName = "Other";
    read(deviceListText({printer, nameless, other}, "now"));
    EXPECT_EQ(
        known, Customizations({{"02:00:00:00:00:01", {"Hall Printer", "Printer", "Acme"}}, {"02:00:00:00:00:02", {"Other", "Printer", "Acme"}}}));
}

TEST_F(Reading, FewerThanFourFieldsAndBlankPiecesAreSkipped)
{
    read("***\n  ***\"a\"|*|Printer|*|10.0.0.1***\"b\"|*|iMac|*|10.0.0.2|*|02:00:00:00:00:02\n***");
    EXPECT_EQ(known, Customizations({{"02:00:00:00:00:02", {"b", "iMac", "UNKNOWN"}}}));
}

TEST_F(Reading, TheVendorIsThereFromSevenFieldsOn)
{
    read("\"a\"|*|iMac|*|10.0.0.2|*|02:00:00:00:00:02|*|v6|*|dns");
    EXPECT_EQ(of("02:00:00:00:00:02").vendor, "UNKNOWN");
    read("\"b\"|*|iMac|*|10.0.0.2|*|02:00:00:00:00:02|*|v6|*|dns|*|\"Acme\"");
    EXPECT_EQ(of("02:00:00:00:00:02").vendor, "Acme");
}

TEST_F(Reading, MissingAndMaskedAddressesAreSkippedAndOthersCountInUpperCase)
{
    read("\"a\"|*|T|*|ip|*|***\"b\"|*|T|*|ip|*|unknown***\"c\"|*|T|*|ip|*|02:00:xx:xx:00:01***\"d\"|*|T|*|ip|*|aa:bb:cc:dd:ee:ff");
    EXPECT_EQ(known.keys(), QStringList({"AA:BB:CC:DD:EE:FF"}));
}

TEST_F(Reading, AllQuotesAroundANameGoAndThoseInsideStay)
{
    read("\"\"the \"big\" one\"\"|*|T|*|ip|*|02:00:00:00:00:01");
    EXPECT_EQ(of("02:00:00:00:00:01").name, "the \"big\" one");
    read("\"\"|*|T|*|ip|*|02:00:00:00:00:02");
    EXPECT_EQ(of("02:00:00:00:00:02").name, "");
}

TEST_F(Reading, ANameThatHoldsTheSeparatorSplitsWrongly)
{
    read("\"a|*|b\"|*|iMac|*|10.0.0.1|*|02:00:00:00:00:01|*|UNKNOWN|*|dns|*|\"v\"");
    EXPECT_EQ(known, Customizations({{"10.0.0.1", {"a", "b\"", "dns"}}}));
}

TEST_F(Reading, WithoutADeviceListNothingHappens)
{
    addCustomizations(known, {});
    addCustomizations(known, {{"devices", 7}});
    EXPECT_TRUE(known.isEmpty());
}

TEST_F(Reading, AnotherNameReplacesAndAnEmptyOneDoesNot)
{
    read("\"a\"|*|iMac|*|ip|*|02:00:00:00:00:01");
    read("\"\"|*|MacPro|*|ip|*|02:00:00:00:00:01");
    EXPECT_EQ(of("02:00:00:00:00:01"), (Customization{"a", "iMac", "UNKNOWN"}));
    read("\"a\"|*|MacPro|*|ip|*|02:00:00:00:00:01");
    EXPECT_EQ(of("02:00:00:00:00:01").deviceType, "iMac");
    read("\"b\"|*|UNKNOWN|*|ip|*|02:00:00:00:00:01");
    EXPECT_EQ(of("02:00:00:00:00:01"), (Customization{"b", "UNKNOWN", "UNKNOWN"}));
}

TEST_F(Reading, AKnownTypeReplacesAnUnknownOneEvenWithAnEmptyName)
{
    read("\"a\"|*|UNKNOWN|*|ip|*|02:00:00:00:00:01");
    read("\"\"|*|iMac|*|ip|*|02:00:00:00:00:01");
    EXPECT_EQ(of("02:00:00:00:00:01"), (Customization{"", "iMac", "UNKNOWN"}));
}

} // namespace
