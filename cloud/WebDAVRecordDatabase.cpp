#include "cloud/WebDAVRecordDatabase.h"

#include "cloud/WebDAVProof.h"
#include "cloud/WebDAVQuery.h"
#include "cloud/WebDAVSave.h"

#include <QUuid>

#include <utility>

namespace lanterna
{

WebDAVRecordDatabase::WebDAVRecordDatabase(Dispatch &dispatch, WebDAVAccount account) : m_connection(dispatch, std::move(account)) { }

WebDAVRecordDatabase::~WebDAVRecordDatabase() = default;

void WebDAVRecordDatabase::fetchRecord(const QString &recordName, RecordCompletion completion)
{
    enqueue([this, recordName, completion = std::move(completion)] {
        if (refuse(recordName, completion))
            return;
        const QString fileName = webDAVResourceName(recordName);
        m_connection.read(fileName, [this, fileName, completion](const WebDAVResourceResult &result) {
            end([completion, record = recordOf(m_connection, fileName, result)] { completion(record); });
        });
    });
}

void WebDAVRecordDatabase::saveRecord(const Record &record, RecordCompletion completion)
{
    enqueue([this, record, completion = std::move(completion)] {
        if (refuse(record.recordName, completion) || refuse(record.recordType, completion))
            return;
        if (m_traits) {
            startSave(record, completion);
            return;
        }
        startProof([this, record, completion](const std::optional<RecordError> &error) {
            if (error)
                end([completion, error] { completion(*error); });
            else
                startSave(record, completion);
        });
    });
}

void WebDAVRecordDatabase::queryRecords(const QString &recordType, QueryCompletion completion)
{
    enqueue([this, recordType, completion = std::move(completion)] {
        if (refuse(recordType, completion))
            return;
        m_query = std::make_unique<WebDAVQuery>(m_connection, recordType);
        m_query->start([this, completion](const RecordResult<QList<Record>> &result) { end([completion, result] { completion(result); }); });
    });
}

void WebDAVRecordDatabase::prove(ProofCompletion completion)
{
    enqueue([this, completion = std::move(completion)] {
        startProof([this, completion](const std::optional<RecordError> &error) { end([completion, error] { completion(error); }); });
    });
}

/// Every call waits here, also one that needs no server: answers come in the order of the calls.
void WebDAVRecordDatabase::enqueue(Task call)
{
    m_waiting.push_back(std::move(call));
    m_connection.soon([this] { startNext(); });
}

void WebDAVRecordDatabase::startNext()
{
    if (m_isBusy || m_waiting.empty())
        return;
    m_isBusy = true;
    m_proof.reset();
    m_save.reset();
    m_query.reset();
    const Task call = std::move(m_waiting.front());
    m_waiting.pop_front();
    call();
}

/// Answers the call that runs: from the main queue, where nothing of Qt's or of ours stands on the stack that a dropped database would take along.
void WebDAVRecordDatabase::end(const Task &deliver)
{
    m_connection.soon([this, deliver] {
        m_isBusy = false;
        m_connection.soon([this] { startNext(); });
        deliver(); // may be the end of this database
    });
}

bool WebDAVRecordDatabase::refuse(const QString &word, const std::function<void(const RecordError &)> &completion)
{
    if (isRecordWord(word))
        return false;
    end([completion] { completion({RecordErrorCode::invalidArguments, QStringLiteral("This is no name of a record or type."), std::nullopt}); });
    return true;
}

void WebDAVRecordDatabase::startSave(const Record &record, const RecordCompletion &completion)
{
    m_save = std::make_unique<WebDAVSave>(m_connection, *m_traits, record, QUuid::createUuid().toString(QUuid::WithoutBraces));
    m_save->start([this, completion](const RecordResult<Record> &result) { end([completion, result] { completion(result); }); });
}

void WebDAVRecordDatabase::startProof(const ProofCompletion &completion)
{
    m_traits.reset();
    m_proof = std::make_unique<WebDAVProof>(m_connection);
    m_proof->start([this, completion](const WebDAVProof::Result &result) {
        if (const auto *traits = std::get_if<WebDAVTraits>(&result))
            m_traits = std::make_unique<WebDAVTraits>(*traits);
        const auto *error = std::get_if<RecordError>(&result);
        completion(error ? std::optional(*error) : std::nullopt);
    });
}

} // namespace lanterna
