#pragma once

#include "platform/Dispatch.h"
#include "platform/RecordDatabase.h"

#include <deque>
#include <memory>

namespace lanterna
{

/// The records of one person in a file on this machine (docs/formats/records.md): works without an account and without a network.
///
/// Main thread only, as the port says. The file is opened by the first of calls that follow each other and closed after the last: an idle database has
/// nothing open and does nothing. Calls wait for other programs that keep the file locked, five seconds at most, then fail with `serviceUnavailable`.
/// What waits when it is dropped is not done.
class EmbeddedRecordDatabase : public RecordDatabase
{
public:
    /// `path` is usually "records.sqlite" in the `dataFolder`. Its folder and the file are made by the first save. `dispatch` outlives the database.
    EmbeddedRecordDatabase(Dispatch &dispatch, const QString &path);
    ~EmbeddedRecordDatabase() override;
    EmbeddedRecordDatabase(const EmbeddedRecordDatabase &) = delete;
    EmbeddedRecordDatabase &operator=(const EmbeddedRecordDatabase &) = delete;

    void fetchRecord(const QString &recordName, RecordCompletion completion) override;
    void saveRecord(const Record &record, RecordCompletion completion) override;
    void queryRecords(const QString &recordType, QueryCompletion completion) override;

private:
    class Worker;

    template <typename Value, typename Work> void add(Work work, std::function<void(const RecordResult<Value> &)> completion);

    Dispatch &m_dispatch;
    std::shared_ptr<SerialQueue> m_queue;
    std::shared_ptr<Worker> m_worker; // shared with the queue's tasks
    std::deque<std::shared_ptr<void>> m_completions; // of the calls that are not answered, in their order; held weakly by the tasks
};

} // namespace lanterna
