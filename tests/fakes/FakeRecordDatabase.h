#pragma once

#include "platform/Dispatch.h"
#include "platform/RecordDatabase.h"

#include <QStringList>

#include <algorithm>
#include <deque>
#include <memory>
#include <optional>

namespace lanterna
{

/// What any number of fake databases share: the records of one person, in the order in which a query tells them.
class FakeRecordStore
{
public:
    /// The record of this name, or none.
    [[nodiscard]] std::optional<Record> record(const QString &recordName) const
    {
        const auto found = std::ranges::find(records, recordName, &Record::recordName);
        return found == records.end() ? std::nullopt : std::optional(*found);
    }
    /// Stores a record in place of the one of its name, or behind the others, with a change tag that was never used: as another device's save would.
    /// Answers with what is stored now.
    Record put(Record record, const QDateTime &date)
    {
        record.changeTag = QStringLiteral("tag-%1").arg(++m_lastTag);
        record.modificationDate = date;
        const auto found = std::ranges::find(records, record.recordName, &Record::recordName);
        if (found == records.end())
            records.append(record);
        else
            *found = record;
        return record;
    }
    /// Removes a record; false when there is none.
    bool remove(const QString &recordName)
    {
        return records.removeIf([&](const Record &record) { return record.recordName == recordName; }) > 0;
    }

    QList<Record> records; ///< to be read and changed at will

private:
    int m_lastTag = 0;
};

/// A record database in memory: a store that keeps to the port's rules, can be slow, and fails when it is told to.
///
/// Calls are dealt with one after another in their order. Each takes effect at the moment of its answer, on the main thread of the dispatch.
class FakeRecordDatabase : public RecordDatabase
{
public:
    /// Databases that are given the same store are several devices of one person.
    explicit FakeRecordDatabase(Dispatch &dispatch, std::shared_ptr<FakeRecordStore> store = std::make_shared<FakeRecordStore>())
        : m_dispatch(dispatch), m_store(std::move(store))
    {
    }

    [[nodiscard]] FakeRecordStore &store() const { return *m_store; }
    [[nodiscard]] std::optional<Record> stored(const QString &recordName) const { return m_store->record(recordName); }
    /// Stores a record at once, as another device would.
    Record put(const Record &record) const { return m_store->put(record, m_dispatch.now()); }

    /// The next fetch, save or query that is dealt with fails and has no effect. Several that are told wait for as many calls.
    void failNextFetch(const RecordError &error) { m_fetchErrors.push_back(error); }
    void failNextSave(const RecordError &error) { m_saveErrors.push_back(error); }
    void failNextQuery(const RecordError &error) { m_queryErrors.push_back(error); }
    /// The next save that succeeds takes effect but answers with this error: its reply was lost on the way.
    void loseNextSaveReply(const RecordError &error) { m_lostReply = error; }

    /// Every call from the one now in turn waits until `letGo`.
    void holdBack() { m_held = true; }
    /// Deals with what waits, and with all that comes.
    void letGo()
    {
        m_held = false;
        schedule();
    }
    /// How many calls have not been answered.
    [[nodiscard]] qsizetype waiting() const { return qsizetype(m_waiting.size()); }

    void fetchRecord(const QString &recordName, RecordCompletion completion) override
    {
        calls.append(QStringLiteral("fetch ") + recordName);
        add([this, recordName] { return fetchNow(recordName); }, std::move(completion));
    }
    void saveRecord(const Record &record, RecordCompletion completion) override
    {
        calls.append(QStringLiteral("save ") + record.recordName);
        saves.append(record);
        add([this, record] { return saveNow(record); }, std::move(completion));
    }
    void queryRecords(const QString &recordType, QueryCompletion completion) override
    {
        calls.append(QStringLiteral("query ") + recordType);
        add([this, recordType] { return queryNow(recordType); }, std::move(completion));
    }

    QStringList calls; ///< every call at the moment it was made: "fetch NAME", "save NAME", "query TYPE"
    QList<Record> saves; ///< what was handed over to be saved, whether it was stored or not
    std::chrono::milliseconds delay{0}; ///< how long each call takes, beginning with the answer to the one before

private:
    using Errors = std::deque<RecordError>;

    static std::optional<RecordError> takeFirst(Errors &errors)
    {
        if (errors.empty())
            return std::nullopt;
        const RecordError first = errors.front();
        errors.pop_front();
        return first;
    }

    RecordResult<Record> fetchNow(const QString &recordName)
    {
        if (const auto error = takeFirst(m_fetchErrors))
            return *error;
        if (!isRecordIdentifier(recordName))
            return RecordError{RecordErrorCode::invalidArguments, QStringLiteral("no record name"), {}};
        if (const auto found = stored(recordName))
            return *found;
        return RecordError{RecordErrorCode::unknownItem, QStringLiteral("no such record"), {}};
    }
    RecordResult<Record> saveNow(const Record &record)
    {
        if (const auto error = takeFirst(m_saveErrors))
            return *error;
        if (!isRecordIdentifier(record.recordName) || !isRecordIdentifier(record.recordType))
            return RecordError{RecordErrorCode::invalidArguments, QStringLiteral("no record name or type"), {}};
        const auto before = stored(record.recordName);
        if (!before && !record.changeTag.isEmpty())
            return RecordError{RecordErrorCode::unknownItem, QStringLiteral("no such record"), {}};
        if (before && before->changeTag != record.changeTag)
            return RecordError{RecordErrorCode::serverRecordChanged, QStringLiteral("the record was changed"), {}};
        const Record saved = put(record);
        if (const auto lost = std::exchange(m_lostReply, std::nullopt))
            return *lost;
        return saved;
    }
    RecordResult<QList<Record>> queryNow(const QString &recordType)
    {
        if (const auto error = takeFirst(m_queryErrors))
            return *error;
        if (!isRecordIdentifier(recordType))
            return RecordError{RecordErrorCode::invalidArguments, QStringLiteral("no record type"), {}};
        QList<Record> found = m_store->records;
        found.removeIf([&](const Record &record) { return record.recordType != recordType; });
        return found;
    }

    template <typename Work, typename Completion> void add(Work work, Completion completion)
    {
        m_waiting.push_back(
            [work = std::move(work), completion = std::move(completion)]() -> Task { return [result = work(), completion] { completion(result); }; });
        schedule();
    }
    void schedule()
    {
        if (m_scheduled || m_held || m_waiting.empty())
            return;
        m_scheduled = true;
        m_dispatch.mainAfter(delay, [this, alive = std::weak_ptr(m_alive)] {
            if (!alive.expired())
                answerFirst();
        });
    }
    void answerFirst()
    {
        m_scheduled = false;
        if (m_held || m_waiting.empty())
            return;
        const Task answer = m_waiting.front()();
        m_waiting.pop_front();
        schedule();
        answer(); // which may drop this database
    }

    Dispatch &m_dispatch;
    std::shared_ptr<FakeRecordStore> m_store;
    std::deque<std::function<Task()>> m_waiting; // each takes effect when it is called, and answers with the call of its completion
    Errors m_fetchErrors;
    Errors m_saveErrors;
    Errors m_queryErrors;
    std::optional<RecordError> m_lostReply;
    bool m_held = false;
    bool m_scheduled = false;
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

} // namespace lanterna
