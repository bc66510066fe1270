#pragma once

#include "platform/RecordDatabase.h"
#include "platform/linux/QtDispatch.h"
#include "tests/support/RunUntil.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>

namespace lanterna
{

/// A store without records, made for one test and gone with it.
class StoreUnderTest
{
public:
    virtual ~StoreUnderTest() = default;
    /// Why nothing can be tested on it here, such as a server that is not installed; empty when it can.
    [[nodiscard]] virtual QString hindrance() const { return {}; }
    /// A database on this store. Each call stands for another program or machine of the same person. The dispatch outlives it, and the store too.
    [[nodiscard]] virtual std::unique_ptr<RecordDatabase> makeDatabase(Dispatch &dispatch) = 0;
    /// Takes a record away behind the databases' backs, as somebody with other tools may; false when that cannot be done.
    [[nodiscard]] virtual bool remove(const QString &recordName) = 0;
    /// Whether it tells a record that is gone (`unknownItem`) from one that was changed (`serverRecordChanged`) when a version is to be replaced.
    [[nodiscard]] virtual bool knowsWhatIsGone() const { return true; }
    /// Whether two who write in the same moment may both be granted a lock, one of which is then nobody's and keeps all out until it ends by itself.
    /// Nothing is overwritten then, but who is refused may be told that the record is locked.
    [[nodiscard]] virtual bool mayForgetLocks() const { return false; }
};

/// A kind of record database, to be put through the contract:
///
///     INSTANTIATE_TEST_SUITE_P(Fake, RecordDatabaseContractTest, testing::Values(RecordBackend{"Fake", [] { return std::make_unique<...>(); }}),
///                              RecordBackend::nameOf);
struct RecordBackend {
    std::string name; ///< letters and digits only
    std::function<std::unique_ptr<StoreUnderTest>()> makeStore; ///< a fresh one each time

    static std::string nameOf(const testing::TestParamInfo<RecordBackend> &info) { return info.param.name; }
    friend void PrintTo(const RecordBackend &backend, std::ostream *stream) { *stream << backend.name; }
};

/// What every record database promises (platform/RecordDatabase.h), on the real queues of a program. The rules are in RecordDatabaseContractTest.cpp;
/// each backend is put through them from a file of its own.
class RecordDatabaseContractTest : public testing::TestWithParam<RecordBackend>
{
protected:
    void SetUp() override
    {
        m_store = GetParam().makeStore();
        const std::string hindrance = m_store->hindrance().toStdString();
        if (!hindrance.empty() && qEnvironmentVariable("CI") == QLatin1String("true"))
            FAIL() << hindrance;
        if (!hindrance.empty())
            GTEST_SKIP() << hindrance;
        database = m_store->makeDatabase(dispatch);
        other = m_store->makeDatabase(dispatch);
    }
    void TearDown() override
    {
        other.reset();
        database.reset();
        EXPECT_TRUE(dispatch.shutDown(std::chrono::seconds(10))) << "a pool task does not end";
    }

    /// Waits for the answer to one call.
    RecordResult<Record> fetch(RecordDatabase &from, const QString &recordName)
    {
        return answerOf<Record>([&](auto completion) { from.fetchRecord(recordName, completion); });
    }
    RecordResult<Record> save(RecordDatabase &to, const Record &record)
    {
        return answerOf<Record>([&](auto completion) { to.saveRecord(record, completion); });
    }
    RecordResult<QList<Record>> query(RecordDatabase &from, const QString &recordType)
    {
        return answerOf<QList<Record>>([&](auto completion) { from.queryRecords(recordType, completion); });
    }
    /// The same where only success will do; a failure fails the test and gives an empty record.
    Record fetched(RecordDatabase &from, const QString &recordName) { return valueOf(fetch(from, recordName)); }
    Record saved(RecordDatabase &to, const Record &record) { return valueOf(save(to, record)); }

    template <typename Value> static Value valueOf(const RecordResult<Value> &result)
    {
        if (const auto *error = std::get_if<RecordError>(&result))
            ADD_FAILURE() << describe(*error).toStdString();
        const Value *value = std::get_if<Value>(&result);
        return value ? *value : Value{};
    }
    /// The number of the error that a call ended with, as it stands in logs; 0 when it succeeded.
    template <typename Value> static int errorOf(const RecordResult<Value> &result)
    {
        const auto *error = std::get_if<RecordError>(&result);
        EXPECT_TRUE(!error || !error->description.isEmpty()) << "an error without words";
        EXPECT_TRUE(!error || !error->description.contains(u'\n')) << error->description.toStdString();
        return error ? int(error->code) : 0;
    }

    /// A record that was never stored, with a text and an asset that both are made of `content`.
    static Record newRecord(const QString &recordName, const QByteArray &content = "content")
    {
        Record record;
        record.recordName = recordName;
        record.recordType = QStringLiteral("TestType");
        record.texts.insert(QStringLiteral("text"), QString::fromUtf8(content));
        record.assets.insert(QStringLiteral("asset"), content);
        return record;
    }
    /// A stored record with other content, to be saved in its place.
    static Record changed(Record record, const QByteArray &content)
    {
        record.texts.insert(QStringLiteral("text"), QString::fromUtf8(content));
        record.assets.insert(QStringLiteral("asset"), content);
        return record;
    }
    /// Lets come what was not to come.
    static void turnLoopFor(std::chrono::milliseconds duration)
    {
        const auto end = std::chrono::steady_clock::now() + duration;
        EXPECT_TRUE(runUntil([&] { return std::chrono::steady_clock::now() >= end; }));
    }

    QtDispatch dispatch;

private:
    std::unique_ptr<StoreUnderTest> m_store; // goes after the databases on it, which follow

protected:
    [[nodiscard]] StoreUnderTest &store() { return *m_store; }

    std::unique_ptr<RecordDatabase> database;
    std::unique_ptr<RecordDatabase> other; ///< another program or machine on the same store

private:
    template <typename Value, typename Call> RecordResult<Value> answerOf(const Call &call)
    {
        // Not on the stack: an answer that comes late must not write there.
        const auto answer = std::make_shared<std::optional<RecordResult<Value>>>();
        call([answer](const RecordResult<Value> &result) { *answer = result; });
        EXPECT_FALSE(answer->has_value()) << "never inside the call";
        EXPECT_TRUE(runUntil([&] { return answer->has_value(); })) << "no answer";
        return answer->value_or(RecordError{RecordErrorCode::internalError, QStringLiteral("no answer"), {}});
    }
};

} // namespace lanterna
