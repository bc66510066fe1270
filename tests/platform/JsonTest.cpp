#include "platform/Json.h"
#include "platform/JsonMending.h"

#include <gtest/gtest.h>

#include <limits>

using namespace lanterna;

namespace
{

QVariant parsed(const QByteArray &text)
{
    const std::optional<QVariant> value = parseJson(text);
    EXPECT_TRUE(value.has_value()) << text.constData();
    return value.value_or(QVariant());
}

QByteArray rewritten(const QByteArray &text)
{
    return compactJson(parsed(text));
}

QByteArray nested(int depth)
{
    return QByteArray(depth, '[') + QByteArray(depth, ']');
}

TEST(JsonTest, IntegersKeepAll64Bits)
{
    const QByteArray numbers = "[9223372036854775807,-9223372036854775808,18446744073709551615,12345678901234567890,0]";
    EXPECT_EQ(rewritten(numbers), numbers);
    EXPECT_EQ(parsed("9007199254740993").typeId(), QMetaType::LongLong);
    EXPECT_EQ(parsed("9223372036854775808").typeId(), QMetaType::ULongLong);
}

TEST(JsonTest, RealsStayReals)
{
    EXPECT_EQ(rewritten("[1.0,0.1,-0.0,1e300,5e-324]"), "[1.0,0.1,-0.0,1e+300,5e-324]");
    EXPECT_EQ(parsed("1.0").typeId(), QMetaType::Double);
    EXPECT_EQ(parsed("18446744073709551616").typeId(), QMetaType::Double); // no integer of 64 bits
}

TEST(JsonTest, NumbersBeyondDoubleClampToTheLargest)
{
    constexpr double largest = std::numeric_limits<double>::max();
    EXPECT_EQ(parsed("1e400").toDouble(), largest);
    EXPECT_EQ(parsed("[-1e400, 2]").toList(), (QVariantList{-largest, 2LL}));
    EXPECT_EQ(parsed(QByteArray(500, '9')).toDouble(), largest);
    EXPECT_EQ(parsed("1e-400").toDouble(), 0);
    EXPECT_EQ(parsed("{\"1e400\": \"-1e400\", \"x\": 1e999999}").toMap(),
        (QVariantMap{{QStringLiteral("1e400"), QStringLiteral("-1e400")}, {QStringLiteral("x"), largest}}));
}

TEST(JsonTest, TheLastOfEqualKeysCounts)
{
    EXPECT_EQ(rewritten("{\"a\":1,\"b\":2,\"a\":3}"), "{\"a\":3,\"b\":2}");
}

TEST(JsonTest, TextRoundTrips)
{
    const QByteArray text = "[\"\",\"\\\"\\\\\\n\\t\\u0000\\u001f\",\"\xc3\xa9\xf0\x9f\x98\x80\\u007f\"]";
    EXPECT_EQ(rewritten(text), text);
    EXPECT_FALSE(parsed("\"\"").toString().isNull());
}

TEST(JsonTest, WhatCommandsATerminalIsEscaped)
{
    const QString text = QString::fromUtf8("a\x1b[2J\x7f\xc2\x80\xc2\x9b"
                                           "1m\xc2\xa0\xc3\x9b");
    const QByteArray json = compactJson(text);
    EXPECT_EQ(json, "\"a\\u001b[2J\\u007f\\u0080\\u009b1m\xc2\xa0\xc3\x9b\"");
    EXPECT_EQ(parseJson(json), text);
}

TEST(JsonTest, EscapedSurrogatesWithoutPartnerAreReplaced)
{
    EXPECT_EQ(parsed("\"a\\ud800b\"").toString(), QStringLiteral("a\uFFFDb"));
    EXPECT_EQ(parsed("\"\\udc00\\ud83d\\ude00\"").toString(), QStringLiteral("\uFFFD\U0001F600"));
    EXPECT_EQ(parsed("\"\\ud800\\ud83d\\ude00\"").toString(), QStringLiteral("\uFFFD\U0001F600"));
}

TEST(JsonTest, BytesThatAreNoUtf8AreReplaced)
{
    EXPECT_EQ(parsed("\"caf\xe9\"").toString(), QStringLiteral("caf\uFFFD"));
}

TEST(JsonTest, SurrogatesWithoutPartnerAreWrittenAsReplacements)
{
    const QString odd = QStringLiteral("a") + QChar(0xd800) + QStringLiteral("b") + QChar(0xdc00);
    EXPECT_EQ(compactJson(odd),
        "\"a\xef\xbf\xbd"
        "b\xef\xbf\xbd\"");
    EXPECT_EQ(wellFormedText(QStringLiteral("\U0001F600")), QStringLiteral("\U0001F600"));
}

TEST(JsonTest, WhatIsNoJsonIsRefused)
{
    for (const char *text : {"", " ", "{", "[1,]", "{\"a\"}", "nul", "1 2", "{} x", "\"\\u12\"", "'a'", "NaN", "-", "\"\\", "[1e400", "01"})
        EXPECT_FALSE(parseJson(text).has_value()) << text;
    EXPECT_FALSE(parseJson(QByteArray("\0\x01\xff\xfe", 4)).has_value());
}

TEST(JsonTest, DepthIsLimited)
{
    EXPECT_TRUE(parseJson(nested(maximumJsonDepth)).has_value());
    EXPECT_FALSE(parseJson(nested(maximumJsonDepth + 1)).has_value());
    EXPECT_FALSE(parseJson(QByteArray(10'000'000, '[')).has_value());
}

TEST(JsonTest, NumbersThatAreNotFiniteAreWrittenAsNull)
{
    EXPECT_EQ(compactJson(QVariantList{std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}), "[null,null]");
}

TEST(JsonMendingTest, SoundTextIsLeftAsItIs)
{
    const QByteArray text = "{ \"a\" : [1.50, -2e10, \"1e400 \\u00e9 \\ud83d\\ude00 \\\" \"] }\n";
    EXPECT_EQ(mendedJson(text), text);
}

} // namespace
