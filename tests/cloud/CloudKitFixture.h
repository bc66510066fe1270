#pragma once

#include "cloud/CloudKitRecordDatabase.h"
#include "tests/cloud/FakeCloudKitServer.h"
#include "tests/cloud/MemorySession.h"
#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/NeverLogged.h"
#include "tests/support/RunUntil.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>

namespace lanterna
{

/// A database on a container of its own, in time that the test moves; the exchanges with the server are real.
class CloudKitFixture : public testing::Test
{
protected:
    using Delivery = FakeHttpReply::Delivery;

    void SetUp() override { restart(); }
    void TearDown() override
    {
        EXPECT_EQ(server.complaints.join(", ").toStdString(), "");
        EXPECT_LE(server.mostInFlight, 1) << "one request at a time";
    }

    /// Another start of the program.
    void restart() { start(server.configuration()); }
    void start(const CloudKitConfiguration &configuration)
    {
        database = std::make_unique<CloudKitRecordDatabase>(dispatch, configuration, session.session(), std::chrono::milliseconds(300));
    }

    RecordResult<Record> fetch(const QString &recordName = "user")
    {
        return answerOf<Record>([&](auto completion) { database->fetchRecord(recordName, completion); });
    }
    RecordResult<Record> save(const Record &record)
    {
        return answerOf<Record>([&](auto completion) { database->saveRecord(record, completion); });
    }
    RecordResult<QList<Record>> query(const QString &recordType = "Dictionary")
    {
        return answerOf<QList<Record>>([&](auto completion) { database->queryRecords(recordType, completion); });
    }
    RecordResult<QString> user()
    {
        return answerOf<QString>([&](auto completion) { database->currentUser(completion); });
    }

    /// The number of an error; 0 for success.
    template <typename Value> static int code(const RecordResult<Value> &result)
    {
        const auto *error = std::get_if<RecordError>(&result);
        const QString said = error ? error->description : QString();
        EXPECT_FALSE(said.contains("106__") || holdsSecret(said)) << "a secret in an error";
        EXPECT_EQ(said.isEmpty(), error == nullptr);
        return error ? int(error->code) : 0;
    }
    template <typename Value> static std::string words(const RecordResult<Value> &result)
    {
        const auto *error = std::get_if<RecordError>(&result);
        return error ? describe(*error).toStdString() : "success";
    }
    template <typename Value> static double seconds(const RecordResult<Value> &result)
    {
        const auto *error = std::get_if<RecordError>(&result);
        return error ? error->retryAfter.value_or(-1) : -1;
    }
    template <typename Value> static Value value(const RecordResult<Value> &result)
    {
        EXPECT_EQ(words(result), "success");
        const Value *found = std::get_if<Value>(&result);
        return found ? *found : Value{};
    }

    static Record newRecord(const QByteArray &content = "{}")
    {
        Record record;
        record.recordName = "user";
        record.recordType = "Dictionary";
        record.texts = {{"dictName", "current"}};
        record.assets = {{"dictAsset", content}};
        return record;
    }
    /// A record in the container, from another device.
    void put(const QByteArray &content = "{}", const QString &recordName = "user")
    {
        FakeCloudKitServer::Stored stored;
        stored.recordType = "Dictionary";
        stored.fields = {{"dictName", QVariantMap{{"value", "current"}, {"type", "STRING"}}}};
        stored.assets = {{"dictAsset", content}};
        server.put(recordName, stored);
    }
    static FakeHttpReply json(int status, const QByteArray &body) { return {status, body, {{"Content-Type", "application/json"}}}; }
    static FakeHttpReply undelivered(Delivery delivery)
    {
        FakeHttpReply reply;
        reply.delivery = delivery;
        return reply;
    }
    static FakeCloudKitServer::Change delivered(Delivery delivery)
    {
        return [delivery](FakeHttpReply reply) {
            reply.delivery = delivery;
            return reply;
        };
    }
    /// What the server was asked for by a call.
    template <typename Call> QStringList askedBy(const Call &call)
    {
        server.asked.clear();
        call();
        return server.asked;
    }
    template <typename Condition> bool waitUntil(Condition condition)
    {
        return runUntil([&] {
            dispatch.runReady();
            return condition();
        });
    }

    VirtualDispatch dispatch;
    FakeCloudKitServer server;
    QString firstToken = server.signIn();
    MemorySession session{dispatch, firstToken};
    std::unique_ptr<CloudKitRecordDatabase> database;

private:
    template <typename Value, typename Call> RecordResult<Value> answerOf(const Call &call)
    {
        const auto answer = std::make_shared<std::optional<RecordResult<Value>>>();
        call([answer](const RecordResult<Value> &result) { *answer = result; });
        EXPECT_TRUE(waitUntil([&] { return answer->has_value(); })) << "no answer";
        return answer->value_or(RecordError{RecordErrorCode::internalError, "no answer", {}});
    }
};

} // namespace lanterna
