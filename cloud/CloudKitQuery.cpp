#include "cloud/CloudKitQuery.h"

#include <numeric>
#include <utility>

namespace lanterna
{

CloudKitQuery::CloudKitQuery(CloudKitChannel &channel, QString recordType, Completion completion)
    : m_channel(channel), m_recordType(std::move(recordType)), m_completion(std::move(completion))
{
}

void CloudKitQuery::askPage()
{
    CloudKitCall call;
    call.operation = QStringLiteral("records/query");
    call.body = queryBody(m_recordType, m_marker);
    m_channel.call(call, [self = shared_from_this()](const CloudKitReply &reply) { self->takePage(reply); });
}

std::optional<RecordError> CloudKitQuery::failureIn(const CloudKitReply &reply) const
{
    if (reply.failure)
        return reply.failure->error;
    for (const CloudKitEntry &entry : reply.records) {
        // What is true of one record because of who asks is true of all.
        const bool isOfAll = entry.failure
            && (entry.failure->error.code == RecordErrorCode::notAuthenticated || entry.failure->error.code == RecordErrorCode::requestRateLimited);
        if (isOfAll)
            return entry.failure->error;
    }
    if (m_pages == mostPages && !reply.continuationMarker.isEmpty())
        return notUnderstood(QStringLiteral("pages without an end"));
    return std::nullopt;
}

void CloudKitQuery::takePage(const CloudKitReply &reply)
{
    ++m_pages;
    if (const auto failure = failureIn(reply)) {
        // The server learns of a type with its first record.
        const bool isNewType = m_pages == 1 && failure->code == RecordErrorCode::unknownItem;
        m_completion(isNewType ? RecordResult<QList<Record>>(QList<Record>()) : *failure);
        return;
    }
    for (const CloudKitEntry &entry : reply.records) {
        if (!entry.failure && entry.record.recordType == m_recordType)
            m_entries.append(entry);
    }
    // An empty page may have one after it, but not by the marker that led to it.
    const bool isLast = reply.continuationMarker.isEmpty() || (reply.records.isEmpty() && reply.continuationMarker == m_marker);
    m_marker = reply.continuationMarker;
    if (isLast)
        download();
    else
        askPage();
}

void CloudKitQuery::download()
{
    // Those without assets need no wait, and must not pile up calls.
    while (m_records.size() < m_entries.size() && m_entries.at(m_records.size()).assets.isEmpty())
        m_records.append(m_entries.at(m_records.size()).record);
    if (m_records.size() == m_entries.size()) {
        m_completion(m_records);
        return;
    }
    const auto take = [self = shared_from_this()](const RecordResult<Record> &result) {
        const Record &record = std::get<Record>(result); // never an error: what is missing is empty
        self->m_room -= std::accumulate(
            record.assets.cbegin(), record.assets.cend(), qint64(0), [](qint64 sum, const QByteArray &bytes) { return sum + bytes.size(); });
        self->m_records.append(record);
        self->download();
    };
    std::make_shared<CloudKitDownloads>(m_channel, m_entries.at(m_records.size()), MissingAsset::isEmpty, m_room, take)->start();
}

} // namespace lanterna
