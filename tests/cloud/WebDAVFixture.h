#pragma once

#include "cloud/WebDAVRecordDatabase.h"
#include "platform/linux/QtDispatch.h"
#include "tests/cloud/PlayedFileServer.h"
#include "tests/support/NeverLogged.h"
#include "tests/support/RunUntil.h"

#include <gtest/gtest.h>

namespace lanterna
{

/// A dispatch whose longer pauses are short.
class HurriedDispatch : public QtDispatch
{
public:
    void mainAfter(std::chrono::milliseconds delay, Task task) override { QtDispatch::mainAfter(delay / 50, std::move(task)); }
};

/// A database on a played server.
class WebDAVFixture : public testing::Test
{
protected:
    static constexpr int networkFailure = 4;
    static constexpr int serviceUnavailable = 6;
    static constexpr int requestRateLimited = 7;
    static constexpr int notAuthenticated = 9;
    static constexpr int unknownItem = 11;
    static constexpr int invalidArguments = 12;
    static constexpr int serverRecordChanged = 14;
    static constexpr int serverRejectedRequest = 15;
    static constexpr int quotaExceeded = 25;

    static Record newRecord(const QByteArray &content = "content", const QString &name = QStringLiteral("a"))
    {
        Record record;
        record.recordName = name;
        record.recordType = QStringLiteral("T");
        record.assets = {{QStringLiteral("asset"), content}};
        return record;
    }
    static Record changed(Record record, const QByteArray &content)
    {
        record.assets[QStringLiteral("asset")] = content;
        return record;
    }

    RecordResult<Record> fetch(const QString &name = QStringLiteral("a"))
    {
        return answerOf<RecordResult<Record>>([&](auto completion) { database().fetchRecord(name, completion); });
    }
    RecordResult<Record> save(const Record &record)
    {
        return answerOf<RecordResult<Record>>([&](auto completion) { database().saveRecord(record, completion); });
    }
    RecordResult<QList<Record>> query()
    {
        return answerOf<RecordResult<QList<Record>>>([&](auto completion) { database().queryRecords(QStringLiteral("T"), completion); });
    }
    /// Saves what must be saved, and sees that it is what is stored.
    Record stores(const Record &record)
    {
        const Record saved = valueOf(save(record));
        EXPECT_EQ(saved.assets, record.assets);
        EXPECT_EQ(valueOf(fetch(record.recordName)), saved);
        return saved;
    }
    std::optional<RecordError> prove()
    {
        return answerOf<std::optional<RecordError>>([&](auto completion) { database().prove(completion); });
    }
    template <typename Value> static Value valueOf(const RecordResult<Value> &result)
    {
        const auto *error = std::get_if<RecordError>(&result);
        EXPECT_FALSE(error) << describe(*error).toStdString();
        return error ? Value() : std::get<Value>(result);
    }
    template <typename Value> static RecordError errorOf(const RecordResult<Value> &result)
    {
        const auto *error = std::get_if<RecordError>(&result);
        EXPECT_TRUE(error);
        EXPECT_FALSE(error && holdsSecret(describe(*error)));
        return error ? *error : RecordError{RecordErrorCode(0), {}, {}};
    }
    template <typename Value> static int codeOf(const RecordResult<Value> &result) { return int(errorOf(result).code); }

    /// The database of this test; made when it is first used, so that a test can change the account before.
    WebDAVRecordDatabase &database()
    {
        if (!m_database)
            m_database = std::make_unique<WebDAVRecordDatabase>(dispatch, account);
        return *m_database;
    }
    void drop() { m_database.reset(); }
    [[nodiscard]] bool hasLocks() const
    {
        return std::ranges::any_of(server.files, [](const auto &file) { return !file.lock.isEmpty(); });
    }
    [[nodiscard]] QByteArray &stored() { return server.files["/records/a.record"].bytes; }

    PlayedFileServer server;
    HurriedDispatch dispatch;
    QString password = QStringLiteral("se:cr\u00E9t " SECRET_MARK);
    WebDAVAccount account{server.url(), QStringLiteral("ada"), [this] { return password; }};

private:
    template <typename Answer, typename Call> Answer answerOf(const Call &call)
    {
        const auto answer = std::make_shared<std::optional<Answer>>();
        call([answer](const Answer &result) { *answer = result; });
        EXPECT_FALSE(answer->has_value()) << "never inside the call";
        EXPECT_TRUE(runUntil([&] { return answer->has_value(); })) << "no answer";
        return answer->value_or(Answer{});
    }

    std::unique_ptr<WebDAVRecordDatabase> m_database;
};

} // namespace lanterna
