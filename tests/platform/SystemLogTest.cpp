#include "tests/fakes/FakeSystemLog.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

QString filled(const char *format, const QVariantList &values)
{
    return formatText(QString::fromUtf8(format), values);
}

TEST(SystemLog, FillsTheDirectivesInOrder)
{
    EXPECT_EQ(filled("Active interfaces: first=%@, second=%@, count=%d", {"eth0: 10.0.0.5", "eth1: 10.0.1.5", 2}),
        "Active interfaces: first=eth0: 10.0.0.5, second=eth1: 10.0.1.5, count=2");
}

TEST(SystemLog, NothingPrintsAsNull)
{
    EXPECT_EQ(filled("first=%@, second=%@, third=%@", {QVariant(), QString()}), "first=(null), second=(null), third=(null)");
}

TEST(SystemLog, AnEmptyTextIsNotNothing)
{
    EXPECT_EQ(filled("[%@]", {QStringLiteral("")}), "[]");
}

TEST(SystemLog, IntegersKeepAllTheirBits)
{
    EXPECT_EQ(filled("%ld %llu", {Q_INT64_C(-9223372036854775807), Q_UINT64_C(18446744073709551615)}), "-9223372036854775807 18446744073709551615");
}

TEST(SystemLog, ABooleanUnderAnIntegerDirectiveIsZeroOrOne)
{
    EXPECT_EQ(filled("%d%d", {true, false}), "10");
}

TEST(SystemLog, CollectionsPrintOnOneLine)
{
    EXPECT_EQ(filled("%@", QVariantList{QVariant(QVariantList({"a", 1}))}), "[\"a\",1]");
    EXPECT_EQ(filled("%@", QVariantList{QVariant(QStringList({"a", "b"}))}), "[\"a\",\"b\"]");
    EXPECT_EQ(filled("%@", QVariantList{QVariant(QVariantMap({{"k", "v"}}))}), "{\"k\":\"v\"}");
}

TEST(SystemLog, APercentSignInAValueIsNotADirective)
{
    EXPECT_EQ(filled("%@ at 100%% of 5%", {"%@"}), "%@ at 100% of 5%");
}

TEST(SystemLog, ControlCharactersAreEscapedSoThatOneEventIsOneLine)
{
    FakeSystemLog log;
    log("ssid %@", QStringLiteral("evil\nfake line\x1b[31m\ttab"));
    EXPECT_EQ(log.lines(), QStringList({"ssid evil\\nfake line\\x1b[31m\\ttab"}));
}

} // namespace
