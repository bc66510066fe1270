#include "cli/VendorLookup.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

constexpr const char *header = "Registry,Assignment,Organization Name,Organization Address\r\n";

class VendorLookupTest : public testing::Test
{
protected:
    void list(const char *name, const QByteArray &lines)
    {
        QFile file(folder.filePath(QString::fromLatin1(name)));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(header + lines);
    }
    [[nodiscard]] QString vendor(const char *mac) const { return VendorLookup(folder.path()).vendor(QString::fromLatin1(mac)); }
    static QString name(const QByteArray &text)
    {
        const std::vector<VendorBlock> blocks = parseVendorList(text);
        return blocks.empty() ? QString() : vendorName(blocks.front().name);
    }

    QTemporaryDir folder;
};

TEST_F(VendorLookupTest, ThePrefixNamesTheMaker)
{
    list("oui.csv", "MA-L,001132,Northwind Storage,1 Quay Road\r\n");
    EXPECT_EQ(vendor("00:11:32:00:77:14"), "Northwind Storage");
    EXPECT_EQ(vendor("00:11:33:00:77:14"), "");
}

TEST_F(VendorLookupTest, TheLongestPrefixWins)
{
    list("oui.csv", "MA-L,70B3D5,Registrar,\r\n");
    list("mam.csv", "MA-M,70B3D5A,Middle,\r\n");
    list("oui36.csv", "MA-S,70B3D5A12,Small,\r\n");
    list("iab.csv", "IAB,0050C2FFF,Block,\r\n");
    EXPECT_EQ(vendor("70:B3:D5:A1:23:45"), "Small");
    EXPECT_EQ(vendor("70:B3:D5:A1:33:45"), "Middle");
    EXPECT_EQ(vendor("70:B3:D5:B1:23:45"), "Registrar");
    EXPECT_EQ(vendor("00:50:C2:FF:F0:00"), "Block");
    EXPECT_EQ(vendor("00:50:C2:FF:E0:00"), "");
}

TEST_F(VendorLookupTest, OfTwoEqualPrefixesTheFirstCounts)
{
    list("oui.csv", "MA-L,080030,First,\nMA-L,080030,Second,\n");
    EXPECT_EQ(vendor("08:00:30:00:00:01"), "First");
}

TEST_F(VendorLookupTest, LocallyAdministeredAddressesBelongToNobody)
{
    list("oui.csv", "MA-L,02608C,Old Maker,\n");
    EXPECT_EQ(vendor("02:60:8C:01:02:03"), "private");
    EXPECT_EQ(vendor("DE:AD:BE:EF:00:01"), "private");
}

TEST_F(VendorLookupTest, WhatIsNoDevicesAddressHasNoMaker)
{
    list("oui.csv", "MA-L,000000,Zeros,\n");
    EXPECT_EQ(vendor("00:00:00:00:00:01"), "Zeros");
    for (const char *mac : {"", "UNKNOWN", "00:00:00:00:00:00", "FF:FF:FF:FF:FF:FF", "01:00:5E:00:00:FB", "00:00:00:00:00:0", "00-00-00-00-00-01",
             "00:00:00:00:00:01:", "0:00:00:00:00:001", "00:00:00:00:00:0G"})
        EXPECT_EQ(vendor(mac), "") << mac;
}

TEST_F(VendorLookupTest, CaseDoesNotMatter)
{
    list("oui.csv", "MA-L,5c5188,Lower,\n");
    EXPECT_EQ(vendor("5C:51:88:00:00:01"), "Lower");
    EXPECT_EQ(vendor("5c:51:88:00:00:01"), "Lower");
}

TEST_F(VendorLookupTest, WithoutListsNothingIsKnown)
{
    EXPECT_EQ(vendor("00:11:32:00:77:14"), "");
    EXPECT_EQ(vendor("02:11:32:00:77:14"), "private");
}

TEST_F(VendorLookupTest, TheListsAreReadOnceAndNotBeforeTheyAreNeeded)
{
    const VendorLookup lookup(folder.path());
    EXPECT_EQ(lookup.vendor(QStringLiteral("02:11:32:00:77:14")), "private");
    list("oui.csv", "MA-L,001132,Northwind,\n");
    EXPECT_EQ(lookup.vendor(QStringLiteral("00:11:32:00:77:14")), "Northwind");
    list("oui.csv", "MA-L,001132,Other,\n");
    EXPECT_EQ(lookup.vendor(QStringLiteral("00:11:32:00:77:14")), "Northwind");
}

TEST_F(VendorLookupTest, QuotedNamesMayHoldCommasQuotesAndLineEnds)
{
    EXPECT_EQ(name("MA-L,001132,\"Quay, Inc\",x\n"), "Quay, Inc");
    EXPECT_EQ(name("MA-L,001132,\"The \"\"Quay\"\"\",x\n"), "The \"Quay\"");
    EXPECT_EQ(name("MA-L,001132,\"Quay\r\n  Works\",\"1 Road\nTown\"\r\n"), "Quay Works");
    EXPECT_EQ(name("MA-L,001132,Quay \"South\" Ltd,x\n"), "Quay \"South\" Ltd");
    EXPECT_EQ(name("MA-L,001132,\"Last line\""), "Last line");
}

TEST_F(VendorLookupTest, BrokenLinesAreSkipped)
{
    for (const char *line : {"MA-L,001133,\"never closed,x\n", "MA-L,001133,\"closed\" badly,x\n", "MA-L,00113,Short,x\n",
             "MA-L,00113G,No digits,x\n", "MA-L,001133\n", "MA-L,001133,,x\n", "\n", "MA-L,0011333333,Long,x\n", "\xff\xfe\n"})
        EXPECT_EQ(name(line + QByteArray("MA-L,001132,Good,\"a, b\"\n")), "Good") << line;
}

TEST_F(VendorLookupTest, AQuoteWithoutPartnerSwallowsNoMoreThanItsLine)
{
    QByteArray lines = "MA-L,001133,\"open,x\n";
    for (int line = 0; line < 1000; ++line)
        lines += "MA-L,001132,Good,plain\n";
    EXPECT_EQ(parseVendorList(lines).size(), 1000U);
}

TEST_F(VendorLookupTest, ALineTooLongForAListIsSkippedAsAWhole)
{
    const QByteArray tail = "\nMA-L,001132,Good,x\n";
    EXPECT_EQ(name("MA-L,001133," + QByteArray(4083, 'x') + tail), QString(4083, u'x'));
    EXPECT_EQ(name("MA-L,001133," + QByteArray(4084, 'x') + tail), "Good");
    EXPECT_EQ(name("MA-L,001133,name," + QByteArray(9000, ',') + "001134,inside,x" + tail), "Good");
}

} // namespace
