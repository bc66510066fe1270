#include "cloud/CloudDocument.h"

#include "cloud/JsonOutline.h"

#include <QDateTime>

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

const QVariantMap tables = {{"Home", QVariantMap{{"10.0.0.1", "02:00:00:00:00:01"}, {"lastUpdate", "11!15!2026_14*05 +"}}}};
const QByteArray tablesJson = R"({"Home":{"10.0.0.1":"02:00:00:00:00:01","lastUpdate":"11!15!2026_14*05 +"}})";
const QVariantMap status = {{"devices", "one"}, {"dateEpoch", 1.5}};
const QByteArray statusJson = R"({"dateEpoch":1.5,"devices":"one"})";

/// The new document of a stored one and both of our members; a failure when the stored one is not taken for a document.
QByteArray merged(const QByteArray &stored)
{
    const CloudDocumentMerge merge = mergedCloudDocument(stored, tables, status);
    EXPECT_EQ(merge.stored, StoredDocument::document) << stored.constData();
    EXPECT_EQ(merge.error, QString());
    return merge.json;
}

QByteArray ownMembers()
{
    return R"("MACAddressesByNetworkSegment":)" + tablesJson + R"(,"CurrentNetworkStatus_Lanterna":)" + statusJson;
}

// What is carried over

TEST(CloudDocumentMerging, MakesADocumentWhereThereIsNone)
{
    const CloudDocumentMerge merge = mergedCloudDocument({}, tables, status);
    EXPECT_EQ(merge.stored, StoredDocument::none);
    EXPECT_EQ(merge.json, '{' + ownMembers() + '}');
    EXPECT_EQ(mergedCloudDocument({}, {}, {}).json, "{}");
    EXPECT_EQ(merged("{}"), '{' + ownMembers() + '}');
}

TEST(CloudDocumentMerging, KeepsAMemberNamedFoo)
{
    EXPECT_EQ(merged(R"({"foo":[1, 2]})"), R"({"foo":[1, 2],)" + ownMembers() + '}');
}

TEST(CloudDocumentMerging, KeepsNumbersThatNoProgramHolds)
{
    for (const char *number : {"12345678901234567890", "1e400", "-1e400", "1.0", "1E5", "0.1000", "123456789012345678901234567890", "-0"})
        EXPECT_EQ(merged(QByteArray(R"({"n":)") + number + '}'), QByteArray(R"({"n":)") + number + ',' + ownMembers() + '}');
}

TEST(CloudDocumentMerging, KeepsADuplicateKeyInsideAMember)
{
    EXPECT_EQ(merged(R"({"foo":{"a":1,"a":2}})"), R"({"foo":{"a":1,"a":2},)" + ownMembers() + '}');
}

TEST(CloudDocumentMerging, KeepsEscapesBlanksAndOrderInsideAMember)
{
    const QByteArray member = R"("z\u0041\/":{ "b" : "\u00e9\ud83d\ude00\ud800" ,)"
                              "\n\t\r"
                              R"("a":[ ]})";
    EXPECT_EQ(merged('{' + member + ",\"é\":null}"), '{' + member + ",\"é\":null," + ownMembers() + '}');
}

TEST(CloudDocumentMerging, DropsTheBlanksBetweenMembers)
{
    EXPECT_EQ(merged(" { \"a\" :\n1 ,\t\"b\" : \"x y\" } \r\n"), R"({"a":1,"b":"x y",)" + ownMembers() + '}');
}

TEST(CloudDocumentMerging, PutsItsMembersInThePlaceOfThoseThatWereThere)
{
    EXPECT_EQ(merged(R"({"a":1,"CurrentNetworkStatus_Lanterna":[5],"b":2,"MACAddressesByNetworkSegment":null,"c":3})"),
        R"({"a":1,"CurrentNetworkStatus_Lanterna":)" + statusJson + R"(,"b":2,"MACAddressesByNetworkSegment":)" + tablesJson + R"(,"c":3})");
}

TEST(CloudDocumentMerging, LeavesAMemberAsItIsForWhichNothingIsGiven)
{
    const QByteArray stored = R"({"CurrentNetworkStatus_Lanterna":{"devices":"old"},"MACAddressesByNetworkSegment":{"x":1e400}})";
    EXPECT_EQ(mergedCloudDocument(stored, {}, {}).json, stored);
    EXPECT_EQ(mergedCloudDocument(stored, tables, {}).json,
        R"({"CurrentNetworkStatus_Lanterna":{"devices":"old"},"MACAddressesByNetworkSegment":)" + tablesJson + '}');
}

TEST(CloudDocumentMerging, CountsTheLastOfMembersWithTheSameKey)
{
    EXPECT_EQ(mergedCloudDocument(R"({"a":1,"b":2,"a":3})", {}, {}).json, R"({"b":2,"a":3})");
    EXPECT_EQ(mergedCloudDocument(R"({"A":1,"\u0041":2})", {}, {}).json, R"({"\u0041":2})");
}

TEST(CloudDocumentMerging, ComparesKeysByTheirText)
{
    EXPECT_EQ(mergedCloudDocument(R"({"\u004dACAddressesByNetworkSegment":1})", tables, {}).json,
        R"({"\u004dACAddressesByNetworkSegment":)" + tablesJson + '}');
    EXPECT_EQ(mergedCloudDocument(R"({"macaddressesbynetworksegment":1})", QVariantMap(), {}).json,
        R"({"macaddressesbynetworksegment":1,"MACAddressesByNetworkSegment":{}})");
}

TEST(CloudDocumentMerging, TakesKeysOfSurrogatesWithoutAPartnerForDifferentOnes)
{
    const QByteArray stored = R"({"\ud800":1,"\udc00":2,"\ufffd":3})";
    EXPECT_EQ(mergedCloudDocument(stored, {}, {}).json, stored);
}

TEST(CloudDocumentMerging, PassesOverAByteOrderMark)
{
    EXPECT_EQ(merged("\xef\xbb\xbf{\"a\":1}"), R"({"a":1,)" + ownMembers() + '}');
}

TEST(CloudDocumentMerging, OfItsOwnDocumentChangesNothing)
{
    const QByteArray document = merged(R"({"a":1e400,"b":{"c":1,"c":2}})");
    EXPECT_EQ(merged(document), document);
}

TEST(CloudDocumentMerging, KeepsWhatStandsAsDeepAsIsRead)
{
    const QByteArray deep = QByteArray(maximumOutlineDepth - 1, '[') + QByteArray(maximumOutlineDepth - 1, ']');
    EXPECT_EQ(merged("{\"a\":" + deep + '}'), "{\"a\":" + deep + ',' + ownMembers() + '}');
}

// What is no document

TEST(NoCloudDocument, IsReplacedAndToldFromNone)
{
    const QList<QByteArray> others = {"[]", "[{\"a\":1}]", "null", "true", "5", "\"{}\"", "{\"a\":1", "{\"a\":1}}", "{\"a\":1} x", "{\"a\":[1,]}",
        "{'a':1}", " ", "\xef\xbb\xbf", "\xef\xbb\xbf\xef\xbb\xbf{}", "{\"a\":\"\xff\"}", "{\"a\":{\"b\":\"\xed\xa0\x80\"}}",
        QByteArray("{\"a\":1}\0", 8), QByteArray("{\"a\":\"\0\"}", 9), QByteArray("{\"a\":1\0}", 8), "{\"a\":01}", "{\"a\":NaN}",
        "<html><title>Sign in</title></html>", QByteArray("\xff\xfe{\0}\0", 6),
        "{\"a\":" + QByteArray(maximumOutlineDepth, '[') + QByteArray(maximumOutlineDepth, ']') + '}', QByteArray(1'000'000, '{')};
    for (const QByteArray &stored : others) {
        const CloudDocumentMerge merge = mergedCloudDocument(stored, tables, status);
        EXPECT_EQ(merge.stored, StoredDocument::unreadable) << stored.left(40).toPercentEncoding().constData();
        EXPECT_FALSE(merge.storedDefect.isEmpty()) << stored.left(40).toPercentEncoding().constData();
        EXPECT_EQ(merge.json, '{' + ownMembers() + '}');
    }
}

TEST(NoCloudDocument, IsSaidInWords)
{
    EXPECT_EQ(mergedCloudDocument("[]", {}, {}).storedDefect, "array");
    EXPECT_EQ(mergedCloudDocument("{\"secret\":", {}, {}).storedDefect, "ends too early, at byte 10");
    EXPECT_EQ(mergedCloudDocument("{\"secret\":\"\xff\"}", {}, {}).storedDefect, "not UTF-8");
}

// Our own members

TEST(CloudDocumentMerging, WritesNothingWhenOneOfItsMembersHoldsWhatJsonCannot)
{
    const QVariantMap odd = {{"since", QDateTime(QDate(2026, 11, 15), QTime(14, 5))}};
    const CloudDocumentMerge merge = mergedCloudDocument(R"({"foo":1})", tables, odd);
    EXPECT_EQ(merge.stored, StoredDocument::document);
    EXPECT_EQ(merge.error, "a date at CurrentNetworkStatus_Lanterna/since");
    EXPECT_TRUE(merge.json.isEmpty());
    EXPECT_EQ(mergedCloudDocument("[]", odd, status).error, "a date at MACAddressesByNetworkSegment/since");
}

TEST(CloudDocumentMerging, TakesTheDeepestValueThatSettingsHold)
{
    QVariantMap value = {{"deep", 5LL}};
    for (int level = 1; level < 100; ++level)
        value = {{"deep", value}};
    const QByteArray json = mergedCloudDocument({}, value, {}).json;
    ASSERT_FALSE(json.isEmpty());
    EXPECT_EQ(mergedCloudDocument(json, {}, {}).json, json);
}

// Which snapshot is published

TEST(NetworkStatus, IsTheSnapshotWhenItHasDevices)
{
    const NetworkStatusToPublish published = networkStatusToPublish(status);
    EXPECT_EQ(published.status, status);
    EXPECT_TRUE(published.line.isNull());
}

TEST(NetworkStatus, IsNotPublishedWithoutDevices)
{
    for (const QVariantMap &snapshot :
        {QVariantMap(), QVariantMap{{"devices", ""}}, QVariantMap{{"devices", 5}}, QVariantMap{{"devices", QVariantList{"a"}}}}) {
        const NetworkStatusToPublish published = networkStatusToPublish(snapshot);
        EXPECT_FALSE(published.status);
        EXPECT_EQ(published.line, "CKMacSync: latestLocalSnapshot has no devices — not publishing CurrentNetworkStatus_Lanterna");
    }
}

TEST(NetworkStatus, OfNoSnapshotIsNotEvenWorthALine)
{
    for (const QVariant &value : {QVariant(), QVariant("text"), QVariant(QVariantList{"a"})}) {
        EXPECT_FALSE(networkStatusToPublish(value).status);
        EXPECT_TRUE(networkStatusToPublish(value).line.isNull());
    }
}

} // namespace
