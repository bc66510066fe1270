#include "tests/cloud/CloudKitFixture.h"

#include "platform/Json.h"

using namespace lanterna;

namespace
{

const QStringList wholeSave{"assets/upload", "upload", "records/modify"};

class CloudKitSaveTest : public CloudKitFixture
{
protected:
    Record fetched(const QByteArray &newContent)
    {
        Record record = value(fetch());
        record.assets["dictAsset"] = newContent;
        return record;
    }
    [[nodiscard]] QByteArray storedAsset() const { return server.records.value("user").assets.value("dictAsset"); }
};

} // namespace

TEST_F(CloudKitSaveTest, ANewRecordIsCreatedAfterItsFileWasUploaded)
{
    EXPECT_EQ(askedBy([&] { EXPECT_EQ(code(save(newRecord("{}"))), 0); }), wholeSave);
    EXPECT_EQ(storedAsset(), "{}");
    EXPECT_EQ(server.records.value("user").recordType, "Dictionary");
}

TEST_F(CloudKitSaveTest, AFetchedRecordIsUpdatedWithoutAnotherLookup)
{
    put("old");
    const Record record = fetched("new");
    EXPECT_EQ(askedBy([&] { EXPECT_EQ(code(save(record)), 0); }), wholeSave);
    EXPECT_EQ(storedAsset(), "new");
}

TEST_F(CloudKitSaveTest, AfterARestartTheStoredFieldsAreLookedUp)
{
    put("old");
    Record record = fetched("new");
    record.texts = {{"other", "text"}};
    restart();
    EXPECT_EQ(askedBy([&] { EXPECT_EQ(code(save(record)), 0); }), QStringList{"records/lookup"} + wholeSave);
    EXPECT_EQ(server.records.value("user").fields.keys(), QStringList{"other"});
}

TEST_F(CloudKitSaveTest, AStaleTagIsRefusedBeforeAnythingIsUploaded)
{
    put("old");
    const Record record = fetched("new");
    put("newer");
    restart();
    EXPECT_EQ(askedBy([&] { EXPECT_EQ(code(save(record)), 14); }), QStringList{"records/lookup"});
    EXPECT_EQ(storedAsset(), "newer");
}

TEST_F(CloudKitSaveTest, FieldsOfOtherTypesStayAsTheyAre)
{
    FakeCloudKitServer::Stored stored;
    stored.recordType = "Dictionary";
    stored.fields = {{"count", QVariantMap{{"value", 7}, {"type", "NUMBER_INT64"}}}, {"old", QVariantMap{{"value", "x"}, {"type", "STRING"}}}};
    stored.assets = {{"oldAsset", "x"}};
    server.put("user", stored);
    Record record = value(fetch());
    record.texts = {{"dictName", "current"}};
    record.assets = {{"dictAsset", "{}"}};
    EXPECT_EQ(code(save(record)), 0);
    EXPECT_EQ(server.records.value("user").fields.keys(), (QStringList{"count", "dictName"}));
    EXPECT_EQ(server.records.value("user").assets.keys(), QStringList{"dictAsset"});
}

TEST_F(CloudKitSaveTest, ALostReplyWhoseWriteArrivedIsASuccess)
{
    server.onTheWayBack("records/modify", delivered(Delivery::none), 10);
    const Record created = value(save(newRecord("{}")));
    EXPECT_EQ(created.changeTag, server.records.value("user").changeTag);
    EXPECT_TRUE(created.modificationDate.isValid());
    Record next = created;
    next.assets["dictAsset"] = "{\"a\":1}";
    server.onTheWayBack("records/modify", delivered(Delivery::none), 10);
    const Record updated = value(save(next));
    EXPECT_EQ(updated.changeTag, server.records.value("user").changeTag);
    EXPECT_EQ(storedAsset(), "{\"a\":1}");
}

TEST_F(CloudKitSaveTest, AWriteThatTheLibrarySentAgainIsOurOwn)
{
    server.onTheWayBack("records/modify", delivered(Delivery::none), 1);
    Record created;
    const QStringList asked = askedBy([&] { created = value(save(newRecord("{}"))); });
    EXPECT_EQ(created.changeTag, server.records.value("user").changeTag);
    EXPECT_EQ(asked, wholeSave + (QStringList{"records/modify", "records/lookup", "download"}));
}

TEST_F(CloudKitSaveTest, HalfAReplyOrNonsenseWhoseWriteArrivedIsASuccess)
{
    server.onTheWayBack("records/modify", delivered(Delivery::half));
    EXPECT_EQ(code(save(newRecord("1"))), 0);
    server.remove("user");
    server.onTheWayBack("records/modify", [](const FakeHttpReply &) { return FakeHttpReply{200, "<html>", {}}; });
    EXPECT_EQ(code(save(newRecord("2"))), 0);
    server.remove("user");
    server.onTheWayBack(
        "records/modify", [](const FakeHttpReply &) { return json(200, R"({"records":[{"recordName":"other","recordChangeTag":"1"}]})"); });
    EXPECT_EQ(code(save(newRecord("3"))), 0);
}

TEST_F(CloudKitSaveTest, ALostRequestIsAFailure)
{
    put("old");
    const Record record = fetched("new");
    server.insteadOf("records/modify", undelivered(Delivery::none), 10);
    EXPECT_EQ(code(save(record)), 4);
    EXPECT_EQ(storedAsset(), "old");
    // The same content as before, but it is the version before that stands there.
    server.insteadOf("records/modify", json(200, "<html>"));
    EXPECT_EQ(code(save(fetched("old"))), 4);
}

TEST_F(CloudKitSaveTest, AnotherDevicesWriteIsNotTakenForOurs)
{
    server.onTheWayBack("records/modify", [&](FakeHttpReply reply) {
        put("NEW"); // of the same size
        reply.delivery = Delivery::none;
        return reply;
    });
    EXPECT_EQ(code(save(newRecord("new"))), 14);
    EXPECT_EQ(storedAsset(), "NEW");
    const auto samePlace = [&] { return askedBy([&] { EXPECT_EQ(code(save(newRecord("NEW"))), 14); }); };
    EXPECT_EQ(samePlace(), wholeSave) << "two who write the same are two, when nothing was lost";
}

TEST_F(CloudKitSaveTest, ARecordThatIsGoneIsUnknownHoweverItIsRefused)
{
    put("old");
    const Record record = fetched("new");
    server.remove("user");
    EXPECT_EQ(code(save(record)), 11);
    restart();
    EXPECT_EQ(code(save(record)), 11);
}

TEST_F(CloudKitSaveTest, AnErrorOfTheRecordIsTheErrorOfTheSave)
{
    for (const auto &each : std::initializer_list<std::pair<QByteArray, int>>{
             {"CONFLICT", 14}, {"EXISTS", 14}, {"QUOTA_EXCEEDED", 25}, {"ACCESS_DENIED", 10}, {"ZONE_NOT_FOUND", 26}, {"INTERNAL_ERROR", 15}}) {
        server.insteadOf("records/modify", json(200, R"({"records":[{"recordName":"user","serverErrorCode":")" + each.first + "\"}]}"));
        EXPECT_EQ(askedBy([&] { EXPECT_EQ(code(save(newRecord())), each.second) << each.first.toStdString(); }), wholeSave);
    }
    EXPECT_TRUE(server.records.isEmpty());
}

TEST_F(CloudKitSaveTest, AFileThatIsNotTakenEndsTheSave)
{
    for (const auto &each : std::initializer_list<std::pair<int, int>>{{413, 25}, {500, 6}, {403, 15}, {200, 4}}) {
        server.insteadOf("upload", {each.first, "no", {}});
        EXPECT_EQ(askedBy([&] { EXPECT_EQ(code(save(newRecord())), each.second); }), (QStringList{"assets/upload", "upload"}));
    }
    server.insteadOf("assets/upload", json(200, R"({"tokens":[{"recordName":"other","fieldName":"dictAsset","url":"http://127.0.0.1:1/"}]})"));
    EXPECT_EQ(askedBy([&] { EXPECT_EQ(code(save(newRecord())), 4); }), QStringList{"assets/upload"});
}

TEST_F(CloudKitSaveTest, TheReceiptIsHandedOnAsItWas)
{
    QByteArray receipt;
    server.onTheWayBack("upload", [&](const FakeHttpReply &reply) {
        receipt = reply.body;
        return reply;
    });
    EXPECT_EQ(code(save(newRecord())), 0);
    const QVariant given = parseJson(receipt)->toMap().value("singleFile");
    const QVariantMap operation = parseJson(server.requests.last().body)->toMap().value("operations").toList().value(0).toMap();
    EXPECT_EQ(operation.value("record").toMap().value("fields").toMap().value("dictAsset").toMap(), (QVariantMap{{"value", given}}));
}

TEST_F(CloudKitSaveTest, ARecordWithAFileOfMoreThan50MBIsRefusedWithoutARequest)
{
    EXPECT_EQ(words(save(newRecord(QByteArray(50'000'001, 'x')))), "The record has a file of more than 50 MB. (12)");
    EXPECT_EQ(server.asked, QStringList{});
}

TEST_F(CloudKitSaveTest, ASaveThatIsThrottledOnItsWayEndsThere)
{
    server.insteadOf("assets/upload", json(429, R"({"serverErrorCode":"THROTTLED","retryAfter":9})"));
    EXPECT_EQ(askedBy([&] { EXPECT_EQ(seconds(save(newRecord())), 9); }), QStringList{"assets/upload"});
}
