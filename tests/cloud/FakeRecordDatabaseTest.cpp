#include "tests/fakes/FakeRecordDatabase.h"

#include "tests/fakes/VirtualDispatch.h"

#include <gtest/gtest.h>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

const RecordError noNetwork = {RecordErrorCode::networkUnavailable, "no network", {}};

class FakeRecordDatabaseTest : public testing::Test
{
protected:
    static Record newRecord(const QString &name = "record") { return {name, "TestType", {{"text", "t"}}, {}, {}, {}}; }
    void save(const Record &record)
    {
        database.saveRecord(record, [this](const auto &result) { note(result); });
    }
    void fetch()
    {
        database.fetchRecord("record", [this](const auto &result) { note(result); });
    }
    /// What the calls so far were answered with: numbers of errors, 0 for success.
    QList<int> answersNow()
    {
        dispatch.runReady();
        return std::exchange(m_answers, {});
    }

    VirtualDispatch dispatch;
    FakeRecordDatabase database{dispatch};

private:
    void note(const RecordResult<Record> &result)
    {
        const auto *error = std::get_if<RecordError>(&result);
        m_answers.append(error ? int(error->code) : 0);
    }

    QList<int> m_answers;
};

} // namespace

TEST_F(FakeRecordDatabaseTest, FailuresThatAreToldComeOnceAndChangeNothing)
{
    database.failNextSave(noNetwork);
    database.failNextFetch(noNetwork);
    save(newRecord());
    fetch();
    save(newRecord());
    fetch();
    EXPECT_EQ(answersNow(), (QList<int>{3, 3, 0, 0}));
    database.failNextQuery(noNetwork);
    bool failed = false;
    database.queryRecords("TestType", [&](const auto &result) { failed = result.index() == 1; });
    (void)answersNow();
    EXPECT_TRUE(failed);
}

TEST_F(FakeRecordDatabaseTest, ASaveWhoseReplyIsLostHasArrived)
{
    database.loseNextSaveReply({RecordErrorCode::networkFailure, "cut", {}});
    save(newRecord());
    EXPECT_EQ(answersNow(), QList<int>{4});
    EXPECT_TRUE(database.stored("record"));
    save(newRecord("other"));
    EXPECT_EQ(answersNow(), QList<int>{0});
}

TEST_F(FakeRecordDatabaseTest, WhatIsHeldBackWaitsAndSeesWhatHappensMeanwhile)
{
    database.holdBack();
    save(newRecord());
    fetch();
    EXPECT_EQ(answersNow(), QList<int>{});
    EXPECT_EQ(database.waiting(), 2);
    database.put(newRecord()); // another device is faster
    database.letGo();
    EXPECT_EQ(answersNow(), (QList<int>{14, 0}));
    EXPECT_EQ(database.waiting(), 0);
}

TEST_F(FakeRecordDatabaseTest, CallsTakeTheirTimeOneAfterAnother)
{
    database.delay = 2s;
    save(newRecord());
    fetch();
    dispatch.advance(1s);
    EXPECT_EQ(answersNow(), QList<int>{});
    dispatch.advance(1s);
    EXPECT_EQ(answersNow(), QList<int>{0});
    dispatch.advance(2s);
    EXPECT_EQ(answersNow(), QList<int>{0});
}

TEST_F(FakeRecordDatabaseTest, CallsAndSavesAreKept)
{
    fetch();
    save(newRecord());
    database.queryRecords("TestType", [](const auto &) {});
    EXPECT_EQ(database.calls, (QStringList{"fetch record", "save record", "query TestType"}));
    EXPECT_EQ(database.saves, QList<Record>{newRecord()});
}

TEST_F(FakeRecordDatabaseTest, TheStoreIsTheTestsToChange)
{
    database.put(newRecord("b"));
    database.put(newRecord("a"));
    EXPECT_EQ(database.store().records.first().recordName, "b"); // a query tells them in this order
    database.store().records.swapItemsAt(0, 1);
    QStringList told;
    database.queryRecords("TestType", [&](const auto &result) {
        for (const Record &record : std::get<QList<Record>>(result))
            told.append(record.recordName);
    });
    (void)answersNow();
    EXPECT_EQ(told, (QStringList{"a", "b"}));
    EXPECT_TRUE(database.store().remove("a"));
    EXPECT_FALSE(database.stored("a"));
}
