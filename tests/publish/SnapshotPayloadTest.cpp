#include "publish/SnapshotPayload.h"

#include "platform/Json.h"

#include <QDateTime>

#include <limits>

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

QString revision(const QVariant &dateEpoch)
{
    return revisionString({{"dateEpoch", dateEpoch}, {"macSig", "abc"}});
}

TEST(RevisionString, IsTheWholeSecondsOfTheSnapshot)
{
    EXPECT_EQ(revision(1731680000.9), "1731680000");
    EXPECT_EQ(revision(1731680000LL), "1731680000");
    EXPECT_EQ(revision(1731680000), "1731680000");
    EXPECT_EQ(revision(-1.9), "-1");
    EXPECT_EQ(revision(-0.5), "0");
    EXPECT_EQ(revision(true), "1");
}

TEST(RevisionString, IsTheSignatureWhereThereAreNoSeconds)
{
    EXPECT_EQ(revisionString({{"macSig", "abc"}}), "abc");
    EXPECT_EQ(revision("1731680000"), "abc");
    EXPECT_EQ(revision(QVariant()), "abc");
    EXPECT_EQ(revision(QVariantList{1}), "abc");
}

TEST(RevisionString, IsZeroWhereThereIsNeither)
{
    EXPECT_EQ(revisionString({}), "0");
    EXPECT_EQ(revisionString({{"macSig", ""}}), "0");
    EXPECT_EQ(revisionString({{"macSig", 17}}), "0");
}

TEST(RevisionString, ReachesToTheBoundsOf64Bits)
{
    EXPECT_EQ(revision(-0x1p63), "-9223372036854775808");
    EXPECT_EQ(revision(0x1.fffffffffffffp62), "9223372036854774784");
}

TEST(RevisionStringDeathTest, EndsTheProgramWhereTheSecondsDoNotFit)
{
    EXPECT_DEATH(
        revision(std::numeric_limits<double>::quiet_NaN()), "\"dateEpoch\" of the stored snapshot is nan, which is no 64-bit number of seconds");
    EXPECT_DEATH(revision(std::numeric_limits<double>::infinity()), "is inf, which is no");
    EXPECT_DEATH(revision(-std::numeric_limits<double>::infinity()), "is -inf, which is no");
    EXPECT_DEATH(revision(1e300), "is 1e\\+300, which is no");
    EXPECT_DEATH(revision(0x1p63), "which is no");
    EXPECT_DEATH(revision(std::numeric_limits<qlonglong>::max()), "which is no"); // its double value is the next power of two
    EXPECT_DEATH(revision(-0x1.0000000000001p63), "which is no");
}

QVariantMap read(const QByteArray &payload)
{
    return parseJson(payload).value_or(QVariant()).toMap();
}

TEST(SnapshotPayload, IsTheSnapshotAsCompactJSON)
{
    const QVariantMap snapshot{{"dateEpoch", 1731680000.9}, {"devices", "a\nb***"}, {"source", "Rangefinder"}};
    EXPECT_EQ(snapshotPayload(snapshot), R"({"dateEpoch":1731680000.9,"devices":"a\nb***","source":"Rangefinder"})");
}

TEST(SnapshotPayload, NamesTheSourceWhereTheSnapshotDoesNot)
{
    EXPECT_EQ(snapshotPayload({}), R"({"source":"Lanterna"})");
    EXPECT_EQ(snapshotPayload({{"ssid", "Home"}}), R"({"source":"Lanterna","ssid":"Home"})");
}

TEST(SnapshotPayload, KeepsTheSourceThatIsThere)
{
    EXPECT_EQ(snapshotPayload({{"source", ""}}), R"({"source":""})");
    EXPECT_EQ(snapshotPayload({{"source", 7}}), R"({"source":7})");
    EXPECT_EQ(snapshotPayload({{"source", QVariant()}}), R"({"source":null})");
}

TEST(SnapshotPayload, KeepsAnyTextAndNumber)
{
    const QString text = QStringLiteral("a zero \0, a tab\t \x01 \u2028 \"\\ \U0001F3EE");
    const QVariantMap snapshot{{text, text}, {"big", 12345678901234567890ULL}, {"whole", 1.0}, {"source", "s"},
        {"list", QVariantList{QVariant(), true, QVariantMap{{"deep", -1LL}}}}};
    EXPECT_EQ(read(snapshotPayload(snapshot)), snapshot);
}

TEST(SnapshotPayload, IsAnEmptyObjectWhereJSONCannotHoldTheSnapshot)
{
    EXPECT_EQ(snapshotPayload({{"dateEpoch", std::numeric_limits<double>::quiet_NaN()}}), "{}");
    EXPECT_EQ(snapshotPayload({{"list", QVariantList{QVariantMap{{"deep", std::numeric_limits<double>::infinity()}}}}}), "{}");
    EXPECT_EQ(snapshotPayload({{"list", QVariantList{QDateTime::currentDateTimeUtc()}}}), "{}");
    EXPECT_EQ(snapshotPayload({{"other", QVariantMap{{"when", QDateTime::currentDateTimeUtc()}}}}), "{}");
}

TEST(SubnetOf, IsEmptyUnlessItIsText)
{
    EXPECT_EQ(subnetOf({{"subnet", "192.168.1"}}), "192.168.1");
    EXPECT_EQ(subnetOf({{"subnet", 192.168}}), "");
    EXPECT_EQ(subnetOf({}), "");
}

} // namespace
