#include "cloud/CloudKitRecordDatabase.h"

#include "cloud/CloudKitQuery.h"
#include "cloud/CloudKitSave.h"

#include <utility>

namespace lanterna
{

namespace
{

RecordError invalidName(const QString &what)
{
    return {RecordErrorCode::invalidArguments, QStringLiteral("The %1 cannot be one.").arg(what), std::nullopt};
}

} // namespace

CloudKitRecordDatabase::CloudKitRecordDatabase(
    Dispatch &dispatch, CloudKitConfiguration configuration, CloudKitSession session, std::chrono::milliseconds idleTimeOut)
    : m_dispatch(dispatch), m_channel(dispatch, std::move(configuration), std::move(session), idleTimeOut)
{
}

CloudKitRecordDatabase::~CloudKitRecordDatabase() = default;

template <typename Value> void CloudKitRecordDatabase::add(Operation<Value> operation, std::function<void(const RecordResult<Value> &)> completion)
{
    m_waiting.push_back([this, operation = std::move(operation), completion = std::move(completion)] {
        operation(m_channel, [this, completion](const RecordResult<Value> &result) {
            // From the main queue, so that a completion which drops this database pulls nothing from under whoever calls here.
            m_dispatch.mainAsync([this, completion, result, alive = std::weak_ptr(m_alive)] {
                if (alive.expired())
                    return;
                m_running = false;
                schedule();
                completion(result);
            });
        });
    });
    schedule();
}

void CloudKitRecordDatabase::schedule()
{
    m_dispatch.mainAsync([this, alive = std::weak_ptr(m_alive)] {
        if (!alive.expired())
            startNext();
    });
}

void CloudKitRecordDatabase::startNext()
{
    if (m_running || m_waiting.empty())
        return;
    m_running = true;
    const Task operation = std::move(m_waiting.front());
    m_waiting.pop_front();
    operation();
}

void CloudKitRecordDatabase::fetchRecord(const QString &recordName, RecordCompletion completion)
{
    add<Record>(
        [recordName](CloudKitChannel &channel, const RecordCompletion &done) {
            if (isCloudKitName(recordName))
                fetchWhole(channel, recordName, done);
            else
                done(invalidName(QStringLiteral("record's name")));
        },
        std::move(completion));
}

void CloudKitRecordDatabase::saveRecord(const Record &record, RecordCompletion completion)
{
    add<Record>([record](CloudKitChannel &channel, const RecordCompletion &done) { std::make_shared<CloudKitSave>(channel, record, done)->start(); },
        std::move(completion));
}

void CloudKitRecordDatabase::queryRecords(const QString &recordType, QueryCompletion completion)
{
    add<QList<Record>>(
        [recordType](CloudKitChannel &channel, const QueryCompletion &done) {
            if (isCloudKitName(recordType))
                std::make_shared<CloudKitQuery>(channel, recordType, done)->start();
            else
                done(invalidName(QStringLiteral("record type")));
        },
        std::move(completion));
}

void CloudKitRecordDatabase::currentUser(UserCompletion completion)
{
    add<QString>(
        [](CloudKitChannel &channel, const UserCompletion &done) {
            CloudKitCall call;
            call.method = "GET";
            call.operation = QStringLiteral("users/current");
            call.kind = CloudKitReplyKind::user;
            call.needsSession = false;
            channel.call(call, [done](const CloudKitReply &reply) {
                done(reply.failure ? RecordResult<QString>(reply.failure->error) : RecordResult<QString>(reply.userRecordName));
            });
        },
        std::move(completion));
}

} // namespace lanterna
