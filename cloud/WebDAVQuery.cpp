#include "cloud/WebDAVQuery.h"

#include "cloud/WebDAVAnswers.h"
#include "cloud/WebDAVRecordDatabase.h"

namespace lanterna
{

namespace
{
constexpr int multistatus = 207;
const QByteArray listBody(
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<D:propfind xmlns:D=\"DAV:\"><D:prop><D:resourcetype/></D:prop></D:propfind>\n");
} // namespace

void WebDAVQuery::start(Completion completion)
{
    m_completion = std::move(completion);
    m_connection.send("PROPFIND", {}, {{"Depth", "1"}, {"Content-Type", "application/xml; charset=\"utf-8\""}}, listBody,
        [this](const HttpAnswer &answer) { listed(answer); });
}

void WebDAVQuery::listed(const HttpAnswer &answer)
{
    const auto error = m_connection.errorOf(answer);
    if (error && error->code == RecordErrorCode::unknownItem) {
        m_completion(QList<Record>()); // no folder yet
    } else if (error) {
        m_completion(*error);
    } else if (answer.status != multistatus) {
        m_completion(m_connection.error(RecordErrorCode::networkFailure, QStringLiteral("%1 does not answer with a listing of the folder.")));
    } else {
        using Listing = std::optional<QList<WebDAVMember>>;
        m_connection.compute<Listing>([answer] { return parseMultistatus(answer.body); },
            [this](const Listing &listing) {
                for (const WebDAVMember &member : listing.value_or(QList<WebDAVMember>())) {
                    if (!member.isFolder && isWebDAVResourceName(member.fileName))
                        m_fileNames.append(member.fileName);
                }
                if (!listing)
                    m_completion(
                        m_connection.error(RecordErrorCode::networkFailure, QStringLiteral("%1 answers with a listing that cannot be read.")));
                else if (m_fileNames.size() > WebDAVRecordDatabase::mostRecords)
                    m_completion(
                        m_connection.error(RecordErrorCode::serverRejectedRequest, QStringLiteral("The folder on %1 holds too many records.")));
                else
                    readNext();
            });
    }
}

void WebDAVQuery::readNext()
{
    if (m_fileNames.isEmpty()) {
        if (m_records.isEmpty() && m_unreadable)
            m_completion(*m_unreadable);
        else
            m_completion(m_records);
        return;
    }
    const QString fileName = m_fileNames.takeFirst();
    m_connection.read(fileName, [this, fileName](const WebDAVResourceResult &result) { take(fileName, result); });
}

void WebDAVQuery::take(const QString &fileName, const WebDAVResourceResult &result)
{
    const auto *error = std::get_if<RecordError>(&result);
    const auto *resource = std::get_if<WebDAVResource>(&result);
    if (error && error->code != RecordErrorCode::networkFailure && error->code != RecordErrorCode::unknownItem) {
        m_completion(*error); // the next ones would fare no better
        return;
    }
    const bool isDamaged = resource && resource->file.state == ReadRecordFile::State::damaged;
    if (isDamaged && webDAVResourceName(resource->file.record.recordName) == fileName) {
        if (resource->file.record.recordType == m_recordType)
            m_records.append(resource->file.record); // without the bytes of its assets
        readNext();
        return;
    }
    const RecordResult<Record> found = recordOf(m_connection, fileName, result);
    const auto *record = std::get_if<Record>(&found);
    const auto *problem = std::get_if<RecordError>(&found);
    if (record && record->recordType == m_recordType)
        m_records.append(*record);
    if (problem && problem->code != RecordErrorCode::unknownItem && !m_unreadable)
        m_unreadable = *problem;
    readNext();
}

RecordResult<Record> recordOf(const WebDAVConnection &connection, const QString &fileName, const WebDAVResourceResult &result)
{
    if (const auto *error = std::get_if<RecordError>(&result))
        return *error;
    const auto &resource = std::get<WebDAVResource>(result);
    if (resource.isEmpty)
        return connection.error(RecordErrorCode::unknownItem, QStringLiteral("There is no such record on %1."));
    if (resource.file.state != ReadRecordFile::State::whole || webDAVResourceName(resource.file.record.recordName) != fileName)
        return connection.error(RecordErrorCode::networkFailure, QStringLiteral("What came from %1 is no whole record."));
    return resource.file.record;
}

} // namespace lanterna
