#pragma once

#include "cloud/WebDAVConnection.h"

#include <deque>
#include <memory>

namespace lanterna
{

struct WebDAVTraits;
class WebDAVProof;
class WebDAVQuery;
class WebDAVSave;

/// Records as files in a folder of a file cloud or a NAS, over WebDAV: docs/formats/webdav-records.md.
///
/// Main thread only; files are taken apart and hashed off it. One request at a time; calls are carried out in the order in which they were made. An
/// idle database asks nothing. The server is put to the proof before the first save: one that would let two machines overwrite each other is refused
/// with `serverRejectedRequest`. A database that is dropped in the middle of a save may leave a lock, which ends by itself within minutes.
class WebDAVRecordDatabase : public RecordDatabase
{
public:
    using ProofCompletion = std::function<void(const std::optional<RecordError> &)>;
    /// The most records that a query reads; a folder with more is an error.
    static constexpr qsizetype mostRecords = 100;

    WebDAVRecordDatabase(Dispatch &dispatch, WebDAVAccount account);
    ~WebDAVRecordDatabase() override;

    void fetchRecord(const QString &recordName, RecordCompletion completion) override;
    void saveRecord(const Record &record, RecordCompletion completion) override;
    void queryRecords(const QString &recordType, QueryCompletion completion) override;
    /// Puts the server to the proof, as when the account is set up: whether it can be reached with this user and password, is a WebDAV folder (which is
    /// made if the one above exists), and keeps two machines from overwriting each other. Answers in words why not; nothing when all is well.
    void prove(ProofCompletion completion);

private:
    void enqueue(Task call);
    void startNext();
    void end(const Task &deliver);
    bool refuse(const QString &word, const std::function<void(const RecordError &)> &completion);
    void startSave(const Record &record, const RecordCompletion &completion);
    void startProof(const ProofCompletion &completion);

    WebDAVConnection m_connection;
    std::deque<Task> m_waiting;
    bool m_isBusy = false;
    std::unique_ptr<WebDAVTraits> m_traits; // once proven
    // The one that runs; each goes when the next call begins, not while it answers.
    std::unique_ptr<WebDAVProof> m_proof;
    std::unique_ptr<WebDAVSave> m_save;
    std::unique_ptr<WebDAVQuery> m_query;
};

} // namespace lanterna
