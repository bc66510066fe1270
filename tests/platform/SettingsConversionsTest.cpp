#include "platform/SettingsConversions.h"

#include <gtest/gtest.h>

#include <limits>

using namespace lanterna;

namespace
{

constexpr qlonglong largest = std::numeric_limits<qlonglong>::max();
constexpr qlonglong smallest = std::numeric_limits<qlonglong>::min();

struct Row {
    QVariant stored;
    QString text;
    qlonglong integer;
    bool boolean;
};

QVariant words(const char *text)
{
    return QString::fromUtf8(text);
}

const QDateTime someDate = QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC);

class SettingsConversionsTest : public testing::TestWithParam<Row>
{
};

TEST_P(SettingsConversionsTest, ReadsAsTextIntegerAndBoolean)
{
    const Row &row = GetParam();
    EXPECT_EQ(settingAsText(row.stored), row.text);
    EXPECT_EQ(settingAsInteger(row.stored), row.integer) << row.text.toStdString();
    EXPECT_EQ(settingAsBoolean(row.stored), row.boolean) << row.text.toStdString();
}

Row ofText(const char *text, qlonglong integer, bool boolean)
{
    return {words(text), QString::fromUtf8(text), integer, boolean};
}

INSTANTIATE_TEST_SUITE_P(Text, SettingsConversionsTest,
    testing::Values(ofText("60", 60, true), ofText("", 0, false), ofText(" \t\n-12 minutes", -12, true), ofText("+7", 7, true),
        ofText("007", 7, true), ofText("- 5", 0, false), ofText("--5", 0, false), ofText("0x1F", 0, false), ofText("3.99", 3, true),
        ofText("1e3", 1, true), ofText("TRUE", 0, true), ofText("true", 0, true), ofText("YES", 0, true), ofText("  yes", 0, true),
        ofText("NO", 0, false), ofText("false", 0, false), ofText("on", 0, false), ofText("0", 0, false), ofText("00", 0, false),
        ofText("-0001", -1, true), ofText("-00Y", 0, true), ofText("9", 9, true), ofText("none", 0, false), ofText("\xd9\xa3", 0, false)));

INSTANTIATE_TEST_SUITE_P(TextOutOfRange, SettingsConversionsTest,
    testing::Values(ofText("9223372036854775807", largest, true), ofText("9223372036854775808", largest, true),
        ofText("99999999999999999999999999", largest, true), ofText("-9223372036854775808", smallest, true),
        ofText("-9223372036854775809", smallest, true), ofText("-99999999999999999999999999", smallest, true),
        ofText("9223372036854775800", 9223372036854775800, true)));

INSTANTIATE_TEST_SUITE_P(Numbers, SettingsConversionsTest,
    testing::Values(Row{60LL, QStringLiteral("60"), 60, true}, Row{0LL, QStringLiteral("0"), 0, false}, Row{-1LL, QStringLiteral("-1"), -1, true},
        Row{9007199254740993LL, QStringLiteral("9007199254740993"), 9007199254740993, true},
        Row{18446744073709551615ULL, QStringLiteral("18446744073709551615"), largest, true}, Row{1.0, QStringLiteral("1"), 1, true},
        Row{0.5, QStringLiteral("0.5"), 0, true}, Row{-2.9, QStringLiteral("-2.9"), -2, true}, Row{0.0, QStringLiteral("0"), 0, false},
        Row{1e300, QStringLiteral("1e+300"), largest, true}, Row{-1e300, QStringLiteral("-1e+300"), smallest, true},
        Row{9223372036854775808.0, QStringLiteral("9223372036854776000"), largest, true}, Row{true, QStringLiteral("1"), 1, true},
        Row{false, QStringLiteral("0"), 0, false}));

INSTANTIATE_TEST_SUITE_P(OtherKindsAreAbsent, SettingsConversionsTest,
    testing::Values(Row{{}, {}, 0, false}, Row{QVariantList{1LL}, {}, 0, false}, Row{QVariantMap{{QStringLiteral("1"), 1LL}}, {}, 0, false},
        Row{someDate, {}, 0, false}));

TEST(SettingAsTextTest, AbsentIsNullAndEmptyIsNot)
{
    EXPECT_TRUE(settingAsText({}).isNull());
    EXPECT_TRUE(settingAsText(someDate).isNull());
    EXPECT_FALSE(settingAsText(QStringLiteral("")).isNull());
}

TEST(SettingAsDateTest, OnlyDatesAreDates)
{
    EXPECT_EQ(settingAsDate(someDate), someDate);
    EXPECT_TRUE(settingAsDate(1'700'000'000LL).isNull());
    EXPECT_TRUE(settingAsDate(QStringLiteral("2026-03-01")).isNull());
}

} // namespace
