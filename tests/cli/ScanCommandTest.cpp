#include "cli/ScanCommand.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

using Format = ScanOptions::Format;

ScanOptions read(const QStringList &arguments)
{
    const ParsedScanOptions parsed = parseScanOptions(arguments);
    EXPECT_EQ(parsed.error, QString());
    return parsed.options;
}

std::string errorOf(const QStringList &arguments)
{
    return parseScanOptions(arguments).error.toStdString();
}

TEST(ScanCommand, SweepsAndPrintsATableByItself)
{
    EXPECT_EQ(read({}), (ScanOptions{Format::table, false, true}));
}

TEST(ScanCommand, EachOptionDoesItsOwnThing)
{
    EXPECT_EQ(read({"--json"}), (ScanOptions{Format::json, false, true}));
    EXPECT_EQ(read({"--format", "csv"}), (ScanOptions{Format::csv, false, true}));
    EXPECT_EQ(read({"--save"}), (ScanOptions{Format::table, true, true}));
    EXPECT_EQ(read({"--no-sweep"}), (ScanOptions{Format::table, false, false}));
}

TEST(ScanCommand, OptionsCombineInAnyOrder)
{
    EXPECT_EQ(read({"--no-sweep", "--save", "--json", "--save"}), (ScanOptions{Format::json, true, false}));
    EXPECT_EQ(read({"--save", "--format", "csv", "--no-sweep"}), (ScanOptions{Format::csv, true, false}));
}

TEST(ScanCommand, TwoFormatsAtOnceAreRefused)
{
    EXPECT_EQ(errorOf({"--json", "--format", "csv"}), "scan: --json and --format csv exclude each other");
    EXPECT_EQ(errorOf({"--format", "csv", "--json"}), "scan: --json and --format csv exclude each other");
}

TEST(ScanCommand, WhatIsNotKnownIsRefused)
{
    EXPECT_EQ(errorOf({"--fast"}), "scan: unknown argument '--fast'");
    EXPECT_EQ(errorOf({"csv"}), "scan: unknown argument 'csv'");
    EXPECT_EQ(errorOf({"--json", ""}), "scan: unknown argument ''");
    EXPECT_EQ(errorOf({"--format"}), "scan: --format needs a format: csv");
    EXPECT_EQ(errorOf({"--format", "xml"}), "scan: unknown format 'xml'; there is csv");
    EXPECT_EQ(errorOf({"--format", "--json"}), "scan: unknown format '--json'; there is csv");
}

} // namespace
