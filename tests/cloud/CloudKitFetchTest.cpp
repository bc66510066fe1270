#include "cloud/CloudKitQuery.h"
#include "tests/cloud/CloudKitFixture.h"

using namespace lanterna;

namespace
{

class CloudKitFetchTest : public CloudKitFixture
{
protected:
    /// A reply to a lookup whose asset is said to be of this size, at this address.
    static FakeHttpReply lookup(const QByteArray &asset)
    {
        return json(200,
            R"({"records":[{"recordName":"user","recordType":"Dictionary","recordChangeTag":"1","fields":{"dictAsset":{"type":"ASSETID","value":)"
                + asset + "}}}]}");
    }
    QList<QByteArray> assetsOf(const RecordResult<QList<Record>> &result)
    {
        QList<QByteArray> assets;
        for (const Record &record : value(result))
            assets.append(record.assets.value("dictAsset"));
        return assets;
    }
};

class CloudKitQueryTest : public CloudKitFetchTest
{
};

} // namespace

TEST_F(CloudKitFetchTest, ARecordIsLookedUpAndItsFileDownloaded)
{
    put(R"({"foo":1})");
    EXPECT_EQ(askedBy([&] { EXPECT_EQ(value(fetch()).assets.value("dictAsset"), R"({"foo":1})"); }), (QStringList{"records/lookup", "download"}));
}

TEST_F(CloudKitFetchTest, AFileOfAnotherSizeIsAnError)
{
    put("whole");
    server.onTheWayBack("download", [](FakeHttpReply reply) {
        reply.body.chop(1);
        return reply;
    });
    EXPECT_EQ(code(fetch()), 4);
}

TEST_F(CloudKitFetchTest, AFileThatIsCutOrSilentIsAnError)
{
    put("whole");
    server.onTheWayBack("download", delivered(Delivery::half));
    EXPECT_EQ(code(fetch()), 4);
    server.onTheWayBack("download", delivered(Delivery::none), 10);
    EXPECT_EQ(code(fetch()), 4);
}

TEST_F(CloudKitFetchTest, AFileThatIsTooLargeIsNotEvenAskedFor)
{
    server.insteadOf("records/lookup", lookup(R"({"size":50000001,"downloadURL":"http://127.0.0.1:1/${f}"})"));
    EXPECT_EQ(askedBy([&] { EXPECT_EQ(words(fetch()), "iCloud's reply is not understood: a file that is too large. (4)"); }),
        QStringList{"records/lookup"});
}

TEST_F(CloudKitFetchTest, AFileWithoutAnAddressIsAnError)
{
    for (const char *asset : {R"({"size":5})", R"({"size":5,"downloadURL":"http://192.0.2.1/${f}"})", R"({"size":5,"downloadURL":7})"}) {
        server.insteadOf("records/lookup", lookup(asset));
        EXPECT_EQ(code(fetch()), 4) << asset;
    }
}

TEST_F(CloudKitFetchTest, ARecordWithoutAFileIsOneWithoutAFile)
{
    FakeCloudKitServer::Stored stored;
    stored.recordType = "Dictionary";
    server.put("user", stored);
    EXPECT_TRUE(value(fetch()).assets.isEmpty());
}

TEST_F(CloudKitFetchTest, AnExpiredAddressIsLookedUpOnceMore)
{
    for (const int status : {403, 410}) {
        server.expiryStatus = status;
        put("before");
        server.before("download", [&] {
            put("after");
            server.expireAll();
        });
        const QStringList asked = askedBy([&] { EXPECT_EQ(value(fetch()).assets.value("dictAsset"), "after"); });
        EXPECT_EQ(asked, (QStringList{"records/lookup", "download", "records/lookup", "download"}));
        EXPECT_EQ(value(fetch()).changeTag, server.records.value("user").changeTag);
    }
}

TEST_F(CloudKitFetchTest, AnAddressThatIsRefusedTwiceIsAnError)
{
    put();
    server.insteadOf("download", {410, "", {}}, 2);
    const QStringList asked = askedBy([&] { EXPECT_EQ(code(fetch()), 4); });
    EXPECT_EQ(asked, (QStringList{"records/lookup", "download", "records/lookup", "download"}));
}

TEST_F(CloudKitFetchTest, ARecordThatIsGoneAfterItsAddressExpiredIsUnknown)
{
    put();
    server.before("download", [&] {
        server.remove("user");
        server.expireAll();
    });
    EXPECT_EQ(code(fetch()), 11);
}

TEST_F(CloudKitFetchTest, WhatIsNotTheServersReplyIsANetworkFailure)
{
    put();
    for (const FakeHttpReply &reply : {FakeHttpReply{200, "<html>Log in</html>", {{"Content-Type", "text/html"}}}, json(200, "{\"records\":["),
             json(200, R"({"records":[{"recordName":"other","recordChangeTag":"1","fields":{}}]})"), json(200, R"({"records":[]})"),
             FakeHttpReply{302, "", {{"Location", "http://127.0.0.1:1/"}}}, FakeHttpReply{421, "Misdirected Request", {}}}) {
        server.insteadOf("records/lookup", reply);
        EXPECT_EQ(code(fetch()), 4);
    }
    EXPECT_TRUE(database->signInURL().isEmpty());
    EXPECT_EQ(code(fetch()), 0);
}

TEST_F(CloudKitQueryTest, PagesAreAskedForUntilThereIsNone)
{
    server.pageSize = 2;
    for (const char *name : {"a", "b", "c", "d", "e"})
        put(name, name);
    EXPECT_EQ(assetsOf(query()), (QList<QByteArray>{"a", "b", "c", "d", "e"}));
    EXPECT_EQ(server.asked.count("records/query"), 3);
}

TEST_F(CloudKitQueryTest, AnEmptyPageMayHaveOneAfterIt)
{
    put();
    server.insteadOf("records/query", json(200, R"({"records":[],"continuationMarker":"m1"})"));
    server.insteadOf("records/query", json(200, R"({"records":[{"recordName":"x","recordType":"Dictionary","recordChangeTag":"1"}]})"));
    EXPECT_EQ(value(query()).size(), 1);
    EXPECT_TRUE(server.requests.last().body.contains(R"("continuationMarker":"m1")"));
}

TEST_F(CloudKitQueryTest, AMarkerThatComesAgainWithAnEmptyPageIsTheEnd)
{
    server.insteadOf(
        "records/query", json(200, R"({"records":[{"recordName":"x","recordType":"Dictionary","recordChangeTag":"1"}],"continuationMarker":"m"})"));
    server.insteadOf("records/query", json(200, R"({"records":[],"continuationMarker":"m"})"), 50);
    EXPECT_EQ(value(query()).size(), 1);
    EXPECT_EQ(server.asked.size(), 2);
}

TEST_F(CloudKitQueryTest, PagesWithoutAnEndAreAnError)
{
    server.insteadOf("records/query",
        json(200, R"({"records":[{"recordName":"x","recordType":"Dictionary","recordChangeTag":"1"}],"continuationMarker":"m"})"), 1000);
    EXPECT_EQ(words(query()), "iCloud's reply is not understood: pages without an end. (4)");
    EXPECT_EQ(server.asked.size(), CloudKitQuery::mostPages);
}

TEST_F(CloudKitQueryTest, AFileThatCannotBeHadComesAsNoBytesAndTheRestStillComes)
{
    for (const char *name : {"a", "b", "c"})
        put(name, name);
    server.onTheWayBack("download", delivered(Delivery::half)); // of the first
    EXPECT_EQ(assetsOf(query()), (QList<QByteArray>{"", "b", "c"}));
}

TEST_F(CloudKitQueryTest, AnExpiredAddressIsLookedUpOnceMore)
{
    put("bytes");
    server.before("download", [&] { server.expireAll(); });
    EXPECT_EQ(assetsOf(query()), QList<QByteArray>{"bytes"});
    server.before("download", [&] {
        server.remove("user");
        server.expireAll();
    });
    EXPECT_EQ(assetsOf(query()), QList<QByteArray>{""});
}

TEST_F(CloudKitQueryTest, ATypeThatWasNeverStoredHasNoRecords)
{
    EXPECT_TRUE(value(query()).isEmpty());
    server.insteadOf("records/query", json(400, R"({"serverErrorCode":"BAD_REQUEST","reason":"Field 'recordName' is not marked queryable"})"));
    const auto result = query();
    EXPECT_EQ(code(result), 12);
    EXPECT_NE(words(result).find("not marked queryable"), std::string::npos);
}

TEST_F(CloudKitQueryTest, RecordsThatFailedOrAreOfAnotherTypeAreLeftOut)
{
    server.insteadOf("records/query", json(200, R"({"records":[{"recordName":"x","serverErrorCode":"ACCESS_DENIED"},{"recordName":"y"},
        {"recordName":"z","recordType":"Other","recordChangeTag":"1"},{"recordName":"w","recordType":"Dictionary","recordChangeTag":"1"}]})"));
    const QList<Record> found = value(query());
    ASSERT_EQ(found.size(), 1);
    EXPECT_EQ(found.first().recordName, "w");
}
