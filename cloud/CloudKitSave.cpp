#include "cloud/CloudKitSave.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace lanterna
{

namespace
{

RecordError invalid(const QString &words)
{
    return {RecordErrorCode::invalidArguments, words, std::nullopt};
}

std::optional<RecordError> problemOf(const Record &record)
{
    if (!isCloudKitName(record.recordName) || !isCloudKitName(record.recordType))
        return invalid(QStringLiteral("The record's name or type cannot be one."));
    if (std::ranges::any_of(record.assets, [](const QByteArray &bytes) { return bytes.size() > largestAsset; }))
        return invalid(QStringLiteral("The record has a file of more than 50 MB."));
    if (std::ranges::any_of(record.texts.keys(), [&](const QString &field) { return record.assets.contains(field); }))
        return invalid(QStringLiteral("A field of the record is a text and a file."));
    return std::nullopt;
}

qint64 bytesIn(const QMap<QString, QByteArray> &assets)
{
    return std::accumulate(assets.cbegin(), assets.cend(), qint64(0), [](qint64 sum, const QByteArray &bytes) { return sum + bytes.size(); });
}

/// Whether the stored record can be this one, as far as can be said without its assets' bytes.
bool looksLike(const CloudKitEntry &stored, const Record &record)
{
    if (stored.record.recordType != record.recordType || stored.record.texts != record.texts || stored.assets.keys() != record.assets.keys())
        return false;
    return std::ranges::all_of(record.assets.keys(), [&](const QString &field) {
        const auto size = stored.assets.value(field).size;
        return !size || *size == record.assets.value(field).size();
    });
}

} // namespace

CloudKitSave::CloudKitSave(CloudKitChannel &channel, Record record, Completion completion)
    : m_channel(channel), m_record(std::move(record)), m_completion(std::move(completion))
{
}

void CloudKitSave::start()
{
    if (const auto problem = problemOf(m_record)) {
        m_completion(*problem);
        return;
    }
    if (m_record.changeTag.isEmpty()) {
        askUploads();
        return;
    }
    // An update keeps the fields that it does not name, so those that are to go have to be known.
    const auto known = m_channel.fieldsOf(m_record.recordName, m_record.changeTag);
    if (!known) {
        lookUpFields();
        return;
    }
    std::ranges::copy_if(*known, std::back_inserter(m_cleared),
        [this](const QString &field) { return !m_record.texts.contains(field) && !m_record.assets.contains(field); });
    askUploads();
}

void CloudKitSave::lookUpFields()
{
    CloudKitCall call;
    call.operation = QStringLiteral("records/lookup");
    call.body = lookupBody(m_record.recordName);
    m_channel.call(call, [self = shared_from_this()](const CloudKitReply &reply) {
        const auto found = recordNamed(reply, self->m_record.recordName);
        if (const auto *error = std::get_if<RecordError>(&found))
            self->m_completion(*error);
        else if (std::get<CloudKitEntry>(found).record.changeTag != self->m_record.changeTag)
            self->m_completion(
                RecordError{RecordErrorCode::serverRecordChanged, QStringLiteral("The record in iCloud was changed meanwhile."), std::nullopt});
        else
            self->start(); // the channel has seen the fields now
    });
}

void CloudKitSave::askUploads()
{
    if (m_record.assets.isEmpty()) {
        modify();
        return;
    }
    CloudKitCall call;
    call.operation = QStringLiteral("assets/upload");
    call.body = uploadBody(m_record);
    call.kind = CloudKitReplyKind::uploadSlots;
    m_channel.call(call, [self = shared_from_this()](const CloudKitReply &reply) { self->takeUploads(reply); });
}

void CloudKitSave::takeUploads(const CloudKitReply &reply)
{
    if (reply.failure) {
        m_completion(reply.failure->error);
        return;
    }
    for (const CloudKitUploadSlot &slot : reply.uploadSlots) {
        if (slot.recordName == m_record.recordName && m_record.assets.contains(slot.fieldName) && !slot.url.isEmpty())
            m_uploadURLs.insert(slot.fieldName, slot.url);
    }
    if (m_uploadURLs.size() == m_record.assets.size())
        upload();
    else
        m_completion(notUnderstood(QStringLiteral("no upload address for a file")));
}

void CloudKitSave::upload()
{
    if (m_uploadURLs.isEmpty()) {
        modify();
        return;
    }
    const QString field = m_uploadURLs.firstKey();
    const HttpRequest request{"POST", {}, {{"Content-Type", "application/octet-stream"}}, m_record.assets.value(field)};
    m_channel.transfer(request, m_uploadURLs.take(field), [self = shared_from_this(), field](const HttpAnswer &answer) {
        const auto receipt = parseUploadReceipt(answer);
        if (const auto *error = std::get_if<RecordError>(&receipt)) {
            self->m_completion(*error);
            return;
        }
        self->m_receipts.insert(field, std::get<QVariantMap>(receipt));
        self->upload();
    });
}

void CloudKitSave::modify()
{
    const qint64 size =
        std::accumulate(m_record.texts.cbegin(), m_record.texts.cend(), qint64(0), [](qint64 sum, const QString &text) { return sum + text.size(); });
    m_channel.compute<QByteArray>(
        size, [record = m_record, receipts = m_receipts, cleared = m_cleared] { return modifyBody(record, receipts, cleared); },
        [self = shared_from_this()](const QByteArray &body) {
            CloudKitCall call;
            call.operation = QStringLiteral("records/modify");
            call.body = body;
            self->m_channel.call(call, [self](const CloudKitReply &reply) { self->takeModified(reply); });
        });
}

void CloudKitSave::takeModified(const CloudKitReply &reply)
{
    const auto found = recordNamed(reply, m_record.recordName);
    if (const auto *stored = std::get_if<CloudKitEntry>(&found)) {
        succeed(stored->record.changeTag, stored->record.modificationDate);
        return;
    }
    const RecordError error = std::get<RecordError>(found);
    // With a reply that was lost, nobody knows what became of the write. And when the request went out again underneath, what stands in the way of
    // the second may be our own record, by the first.
    if (error.code == RecordErrorCode::networkFailure || reply.timesSent > 1)
        lookWhatIsStored(error);
    else
        m_completion(error);
}

void CloudKitSave::lookWhatIsStored(const RecordError &error)
{
    CloudKitCall call;
    call.operation = QStringLiteral("records/lookup");
    call.body = lookupBody(m_record.recordName);
    m_channel.call(call, [self = shared_from_this(), error](const CloudKitReply &reply) {
        const auto found = recordNamed(reply, self->m_record.recordName);
        const auto *stored = std::get_if<CloudKitEntry>(&found);
        const bool isGone = !stored && std::get<RecordError>(found).code == RecordErrorCode::unknownItem;
        if (stored && stored->record.changeTag != self->m_record.changeTag && looksLike(*stored, self->m_record))
            self->compare(*stored, error);
        else if (isGone && error.code == RecordErrorCode::serverRecordChanged && !self->m_record.changeTag.isEmpty())
            self->m_completion(std::get<RecordError>(found)); // that is what stood in the way
        else
            self->m_completion(error);
    });
}

void CloudKitSave::compare(const CloudKitEntry &stored, const RecordError &error)
{
    const auto take = [self = shared_from_this(), error](const RecordResult<Record> &result) {
        const auto *whole = std::get_if<Record>(&result);
        if (!whole) {
            self->m_completion(error);
            return;
        }
        self->m_channel.compute<bool>(
            bytesIn(whole->assets), [ours = self->m_record, theirs = *whole] { return ours.texts == theirs.texts && ours.assets == theirs.assets; },
            [self, error, theirs = *whole](bool isOurs) {
                if (isOurs)
                    self->succeed(theirs.changeTag, theirs.modificationDate);
                else
                    self->m_completion(error);
            });
    };
    std::make_shared<CloudKitDownloads>(m_channel, stored, MissingAsset::isAnError, largestAsset, take)->start();
}

void CloudKitSave::succeed(const QString &changeTag, const QDateTime &modificationDate)
{
    m_record.changeTag = changeTag;
    m_record.modificationDate = modificationDate;
    m_channel.rememberFields(m_record, m_record.texts.keys() + m_record.assets.keys());
    m_completion(m_record);
}

} // namespace lanterna
