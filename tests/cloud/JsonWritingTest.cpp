#include "cloud/JsonWriting.h"

#include <QDateTime>

#include <gtest/gtest.h>

#include <limits>

using namespace lanterna;

namespace
{

const QDateTime moment(QDate(2026, 11, 15), QTime(14, 5));

/// What is said of this value in a list, beside a number that only needs widening.
QString obstacle(const QVariant &value)
{
    const WrittenJson written = writeJson({{"a", 5}, {"b", QVariantList{"x", value}}}, "all");
    EXPECT_TRUE(written.json.isEmpty());
    return written.obstacle;
}

TEST(JsonWriting, TakesEveryKindOfValueThatJsonHolds)
{
    const QVariantMap all = {{"list", QVariantList{1LL, 2.0, true, QVariant(), "é\n\""}}, {"big", 18446744073709551615ULL}, {"empty", QVariantMap()}};
    EXPECT_EQ(writeJson(all, "all").json, R"({"big":18446744073709551615,"empty":{},"list":[1,2.0,true,null,"é\n\""]})");
    EXPECT_EQ(writeJson({}, "all").json, "{}");
}

TEST(JsonWriting, WidensNumbersAndLists)
{
    const QVariantMap narrow = {{"float", 0.5F}, {"int", 5}, {"names", QStringList{"a", "b"}}, {"within", QVariantList{QVariantMap{{"x", 1U}}}}};
    EXPECT_EQ(writeJson(narrow, "all").json, R"({"float":0.5,"int":5,"names":["a","b"],"within":[{"x":1}]})");
}

TEST(JsonWriting, NamesAnObstacleWithItsPlace)
{
    EXPECT_EQ(obstacle(moment), "a date at all/b/1");
    EXPECT_EQ(obstacle(QVariantMap{{"Home", QVariantMap{{"since", moment}}}}), "a date at all/b/1/Home/since");
    EXPECT_EQ(obstacle(QVariantHash{{"when", moment}}), "a date at all/b/1/when");
    EXPECT_EQ(obstacle(std::numeric_limits<double>::quiet_NaN()), "a number that is not finite at all/b/1");
    EXPECT_EQ(obstacle(-std::numeric_limits<float>::infinity()), "a value of type float at all/b/1");
    EXPECT_EQ(obstacle(QByteArray("bytes")), "a value of type QByteArray at all/b/1");
}

TEST(JsonWriting, GoesAsDeepAsSettingsDo)
{
    QVariant value = QVariantMap{{"x", 5LL}};
    for (int level = 1; level < 100; ++level)
        value = QVariantMap{{"x", value}};
    EXPECT_EQ(writeJson(value.toMap(), "all").obstacle, QString());
    EXPECT_TRUE(writeJson({{"x", value}}, "all").obstacle.startsWith("more than 100 levels at all/x/x/x"));
    EXPECT_TRUE(writeJson({{"x", QVariantList{value}}}, "all").obstacle.startsWith("more than 100 levels at all/x/0/x"));
}

} // namespace
