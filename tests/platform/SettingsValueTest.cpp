#include "platform/SettingsValue.h"

#include "platform/Json.h"

#include <QDateTime>
#include <QTimeZone>

#include <gtest/gtest.h>

#include <limits>

using namespace lanterna;

namespace
{

QVariant canonical(const QVariant &value)
{
    return canonicalValue(value).value_or(QVariant(QStringLiteral("cannot be stored")));
}

/// The value after a way through a file.
QVariant stored(const QVariant &value)
{
    return decodeValue(parseJson(compactJson(encodeValue(canonical(value)))).value_or(QVariant()));
}

void expectRoundTrip(const QVariant &value)
{
    EXPECT_TRUE(sameValue(stored(value), canonical(value))) << compactJson(encodeValue(canonical(value))).constData();
}

QVariant nestedList(int depth)
{
    QVariant value = 1;
    for (int level = 0; level < depth; ++level)
        value = QVariantList{value};
    return value;
}

QDateTime utc(qint64 milliseconds)
{
    return QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC);
}

TEST(SettingsValueTest, EveryKindRoundTrips)
{
    expectRoundTrip(QVariantMap{{QStringLiteral("text"), QStringLiteral("a\nb")}, {QStringLiteral("integer"), 60LL}, {QStringLiteral("real"), 1.0},
        {QStringLiteral("no"), false}, {QStringLiteral("large"), std::numeric_limits<qulonglong>::max()},
        {QStringLiteral("date"), utc(1'700'000'000'250)}, {QStringLiteral("list"), QVariantList{1LL, QVariant(), QVariantMap()}},
        {QString(), QStringLiteral("")}});
}

TEST(SettingsValueTest, NarrowKindsAreWidened)
{
    EXPECT_TRUE(sameValue(canonical(60), 60LL));
    EXPECT_TRUE(sameValue(canonical(60u), 60LL));
    EXPECT_TRUE(sameValue(canonical(0.5f), 0.5));
    EXPECT_TRUE(sameValue(canonical(QStringList{QStringLiteral("eth*")}), QVariantList{QStringLiteral("eth*")}));
    EXPECT_TRUE(sameValue(canonical(QVariantHash{{QStringLiteral("a"), 1}}), QVariantMap{{QStringLiteral("a"), 1LL}}));
}

TEST(SettingsValueTest, NothingIsInvalid)
{
    for (const QVariant &nothing : {QVariant(), QVariant(QString()), QVariant(QDateTime()), QVariant::fromValue(nullptr)})
        EXPECT_FALSE(canonical(nothing).isValid());
    EXPECT_TRUE(canonical(QStringLiteral("")).isValid());
}

TEST(SettingsValueTest, WhatNoFileCanHoldIsRefused)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    EXPECT_FALSE(canonicalValue(infinity));
    EXPECT_FALSE(canonicalValue(QVariantList{std::numeric_limits<double>::quiet_NaN()}));
    EXPECT_FALSE(canonicalValue(QVariantMap{{QStringLiteral("a"), -infinity}}));
    EXPECT_FALSE(canonicalValue(QByteArray("bytes")));
    EXPECT_FALSE(canonicalValue(utc(std::numeric_limits<qint64>::max())));
    EXPECT_TRUE(canonicalValue(nestedList(maximumSettingDepth)));
    EXPECT_FALSE(canonicalValue(nestedList(maximumSettingDepth + 1)));
}

TEST(SettingsValueTest, KindsAreNotEqual)
{
    EXPECT_FALSE(sameValue(1LL, 1.0));
    EXPECT_FALSE(sameValue(1LL, true));
    EXPECT_FALSE(sameValue(1LL, QStringLiteral("1")));
    EXPECT_FALSE(sameValue(0.0, -0.0));
    EXPECT_FALSE(sameValue(QVariantList{1LL}, QVariantList{1LL, 2LL}));
    EXPECT_FALSE(sameValue(QVariantMap{{QStringLiteral("a"), 1LL}}, QVariantMap{{QStringLiteral("b"), 1LL}}));
}

TEST(SettingsValueTest, DatesAreSecondsUnderOneKey)
{
    EXPECT_EQ(compactJson(encodeValue(utc(1'700'000'000'000))), "{\"$date\":1700000000}");
    EXPECT_EQ(compactJson(encodeValue(utc(-1'500))), "{\"$date\":-1.5}");
    EXPECT_EQ(decodeValue(QVariantMap{{QStringLiteral("$date"), 60LL}}), QVariant(utc(60'000)));
}

TEST(SettingsValueTest, LocalTimesBecomeUtc)
{
    const QDateTime local(QDate(2026, 3, 1), QTime(12, 0), QTimeZone(3600));
    EXPECT_EQ(canonical(local).toDateTime().timeSpec(), Qt::UTC);
    EXPECT_EQ(stored(local).toDateTime(), local);
}

TEST(SettingsValueTest, MillisecondsOfDatesSurvive)
{
    for (const qint64 milliseconds : {1'700'000'000'001, 1'772'366'399'999, 253'402'300'799'999, -62'135'596'799'999})
        EXPECT_EQ(stored(utc(milliseconds)).toDateTime().toMSecsSinceEpoch(), milliseconds);
}

TEST(SettingsValueTest, AnyOtherFormIsNoDate)
{
    for (const char *json :
        {"{\"$date\":\"5\"}", "{\"$date\":5,\"x\":1}", "{\"$date\":true}", "{\"$date\":1e400}", "{\"$Date\":5}", "{\"$date\":null}"})
        EXPECT_EQ(decodeValue(parseJson(json).value()).typeId(), QMetaType::QVariantMap) << json;
}

TEST(SettingsValueTest, DictionariesThatLookLikeMarkersRoundTrip)
{
    for (const char *key : {"$date", "$$date", "$$$date", "$file", "$$file", "date", "$", "$$", "$other"}) {
        const QVariantMap dictionary = {{QLatin1String(key), 5LL}};
        expectRoundTrip(dictionary);
        expectRoundTrip(QVariantMap{{QLatin1String(key), dictionary}});
        expectRoundTrip(QVariantList{dictionary, QVariantMap{{QLatin1String(key), utc(1000)}}});
    }
    expectRoundTrip(QVariantMap{{QStringLiteral("$date"), 5LL}, {QStringLiteral("$file"), QStringLiteral("x")}});
}

TEST(SettingsValueTest, APersonsDictionaryIsNoFileReference)
{
    const QVariantMap dictionary = {{QStringLiteral("$file"), QStringLiteral("settings.a.0123456789abcdef.json")}};
    EXPECT_FALSE(fileReference(encodeValue(dictionary)));
    EXPECT_EQ(fileReference(encodeFileReference(QStringLiteral("name"))), QStringLiteral("name"));
}

} // namespace
