#include "cloud/CloudKitReply.h"

#include "cloud/CloudKitErrors.h"
#include "platform/Json.h"

#include <algorithm>

namespace lanterna
{

namespace
{

/// A text of the object; null when there is none, or something else stands there.
QString textOf(const QVariantMap &object, const QString &key)
{
    const QVariant value = object.value(key);
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}

std::optional<qint64> integerOf(const QVariant &value)
{
    if (value.typeId() == QMetaType::LongLong)
        return value.toLongLong();
    if (value.typeId() == QMetaType::Double && std::abs(value.toDouble()) < 9e15) // exact up to 2^53
        return qint64(value.toDouble());
    return std::nullopt;
}

QDateTime dateOf(const QVariantMap &record)
{
    const auto milliseconds = integerOf(record.value(QStringLiteral("modified")).toMap().value(QStringLiteral("timestamp")));
    return milliseconds ? QDateTime::fromMSecsSinceEpoch(*milliseconds, Qt::UTC) : QDateTime();
}

CloudKitAsset assetOf(const QVariantMap &value)
{
    CloudKitAsset asset{textOf(value, QStringLiteral("downloadURL")), integerOf(value.value(QStringLiteral("size")))};
    if (asset.size && *asset.size < 0)
        asset.size.reset();
    return asset;
}

/// Takes texts and assets; fields of other types, and encrypted ones, are not ours.
void addField(CloudKitEntry &entry, const QString &name, const QVariantMap &field)
{
    const QVariant value = field.value(QStringLiteral("value"));
    const QString type = textOf(field, QStringLiteral("type"));
    if (field.value(QStringLiteral("isEncrypted")).toBool())
        return;
    if (value.typeId() == QMetaType::QString && (type.isEmpty() || type == QLatin1String("STRING")))
        entry.record.texts.insert(name, value.toString());
    else if (value.typeId() == QMetaType::QVariantMap && (type == QLatin1String("ASSET") || type == QLatin1String("ASSETID")))
        entry.assets.insert(name, assetOf(value.toMap()));
}

CloudKitEntry entryOf(const QVariantMap &object, const QByteArray &retryAfter, const QStringList &secrets)
{
    CloudKitEntry entry;
    entry.record.recordName = textOf(object, QStringLiteral("recordName"));
    entry.failure = cloudKitFailure(object, 200, retryAfter, secrets);
    if (entry.failure)
        return entry;
    if (object.value(QStringLiteral("deleted")).toBool()) {
        entry.failure = CloudKitFailure{{RecordErrorCode::unknownItem, QStringLiteral("The record was deleted in iCloud."), {}}, {}};
        return entry;
    }
    entry.record.changeTag = textOf(object, QStringLiteral("recordChangeTag"));
    if (entry.record.recordName.isEmpty() || entry.record.changeTag.isEmpty()) {
        entry.failure = CloudKitFailure{notUnderstood(QStringLiteral("a record without a name or a change tag")), {}};
        return entry;
    }
    entry.record.recordType = textOf(object, QStringLiteral("recordType"));
    entry.record.modificationDate = dateOf(object);
    const QVariantMap fields = object.value(QStringLiteral("fields")).toMap();
    for (auto field = fields.cbegin(); field != fields.cend(); ++field)
        addField(entry, field.key(), field->toMap());
    return entry;
}

CloudKitReply failed(const RecordError &error)
{
    CloudKitReply reply;
    reply.failure = CloudKitFailure{error, {}};
    return reply;
}

/// A reply that is not CloudKit's JSON. Its status still tells when the request was one too many.
RecordError notJson(const HttpAnswer &answer)
{
    const auto seconds = retrySeconds(answer.header("Retry-After"));
    if (answer.status == 429 || (answer.status == 503 && seconds))
        return rateLimited(seconds);
    return notUnderstood(QStringLiteral("no JSON, HTTP status %1; does this network show a log-in page?").arg(answer.status));
}

/// The list of objects under a key; nothing when it is not there or holds anything else.
std::optional<QList<QVariantMap>> objectsOf(const QVariantMap &reply, const QString &key)
{
    const QVariant value = reply.value(key);
    if (value.typeId() != QMetaType::QVariantList)
        return std::nullopt;
    QList<QVariantMap> objects;
    for (const QVariant &each : value.toList()) {
        if (each.typeId() != QMetaType::QVariantMap)
            return std::nullopt;
        objects.append(each.toMap());
    }
    return objects;
}

CloudKitReply recordsOf(const QVariantMap &object, const QByteArray &retryAfter, const QStringList &secrets)
{
    const auto objects = objectsOf(object, QStringLiteral("records"));
    if (!objects)
        return failed(notUnderstood(QStringLiteral("no list of records")));
    CloudKitReply reply;
    for (const QVariantMap &each : *objects)
        reply.records.append(entryOf(each, retryAfter, secrets));
    reply.continuationMarker = textOf(object, QStringLiteral("continuationMarker"));
    return reply;
}

CloudKitReply uploadSlotsOf(const QVariantMap &object)
{
    const auto objects = objectsOf(object, QStringLiteral("tokens"));
    if (!objects)
        return failed(notUnderstood(QStringLiteral("no list of upload addresses")));
    CloudKitReply reply;
    for (const QVariantMap &each : *objects)
        reply.uploadSlots.append(
            {textOf(each, QStringLiteral("recordName")), textOf(each, QStringLiteral("fieldName")), textOf(each, QStringLiteral("url"))});
    return reply;
}

CloudKitReply userOf(const QVariantMap &object)
{
    CloudKitReply reply;
    reply.userRecordName = textOf(object, QStringLiteral("userRecordName"));
    return reply.userRecordName.isEmpty() ? failed(notUnderstood(QStringLiteral("no name of the account"))) : reply;
}

std::optional<QVariantMap> objectIn(const QByteArray &body)
{
    const auto value = parseJson(body);
    return value && value->typeId() == QMetaType::QVariantMap ? std::optional(value->toMap()) : std::nullopt;
}

CloudKitReply contentOf(CloudKitReplyKind kind, const HttpAnswer &answer, const QStringList &secrets)
{
    if (answer.failure)
        return failed(*answer.failure);
    const auto object = objectIn(answer.body);
    if (!object)
        return failed(notJson(answer));
    const QByteArray retryAfter = answer.header("Retry-After");
    if (const auto failure = cloudKitFailure(*object, answer.status, retryAfter, secrets)) {
        CloudKitReply reply;
        reply.failure = failure;
        return reply;
    }
    if (answer.status != 200)
        return failed(notJson(answer));
    switch (kind) {
    case CloudKitReplyKind::records:
        return recordsOf(*object, retryAfter, secrets);
    case CloudKitReplyKind::uploadSlots:
        return uploadSlotsOf(*object);
    case CloudKitReplyKind::user:
        return userOf(*object);
    }
    return failed(notUnderstood(QStringLiteral("another kind")));
}

/// What the place where the bytes of assets lie says in plain HTTP; none for success.
std::optional<RecordError> assetFailure(const HttpAnswer &answer)
{
    if (answer.failure)
        return answer.failure;
    const auto seconds = retrySeconds(answer.header("Retry-After"));
    if (answer.status == 429 || (answer.status == 503 && seconds))
        return rateLimited(seconds);
    if (answer.status != 200)
        return notUnderstood(QStringLiteral("HTTP status %1 where a file lies").arg(answer.status));
    return std::nullopt;
}

} // namespace

RecordError notUnderstood(const QString &what)
{
    return {RecordErrorCode::networkFailure, QStringLiteral("iCloud's reply is not understood: %1.").arg(what), std::nullopt};
}

CloudKitReply parseCloudKitReply(CloudKitReplyKind kind, const HttpAnswer &answer, const QStringList &secrets)
{
    CloudKitReply reply = contentOf(kind, answer, secrets);
    reply.timesSent = answer.timesSent;
    return reply;
}

std::variant<QVariantMap, RecordError> parseUploadReceipt(const HttpAnswer &answer)
{
    if (!answer.failure && answer.status == 413)
        return RecordError{RecordErrorCode::quotaExceeded, QStringLiteral("The file is too large for iCloud."), std::nullopt};
    if (!answer.failure && answer.status >= 400) {
        const bool itsFault = answer.status >= 500;
        const RecordError refused{itsFault ? RecordErrorCode::serviceUnavailable : RecordErrorCode::serverRejectedRequest,
            QStringLiteral("iCloud does not take the file (HTTP status %1).").arg(answer.status), std::nullopt};
        const auto failure = assetFailure(answer);
        return failure && failure->code == RecordErrorCode::requestRateLimited ? *failure : refused;
    }
    if (auto failure = assetFailure(answer))
        return *failure;
    const QVariantMap receipt = objectIn(answer.body).value_or(QVariantMap()).value(QStringLiteral("singleFile")).toMap();
    // All five are needed to save the asset in a private database.
    for (const char *key : {"wrappingKey", "fileChecksum", "receipt", "referenceChecksum", "size"}) {
        if (!receipt.value(QLatin1String(key)).isValid())
            return notUnderstood(QStringLiteral("no receipt for the file"));
    }
    return receipt;
}

std::optional<RecordError> downloadFailure(const HttpAnswer &answer, const CloudKitAsset &asset)
{
    if (auto failure = assetFailure(answer))
        return failure;
    const bool whole = asset.size ? answer.body.size() == *asset.size : answer.body.size() <= largestAsset;
    if (!whole)
        return notUnderstood(QStringLiteral("a file of another size"));
    return std::nullopt;
}

std::variant<CloudKitEntry, RecordError> recordNamed(const CloudKitReply &reply, const QString &recordName)
{
    if (reply.failure)
        return reply.failure->error;
    const auto found = std::ranges::find_if(reply.records, [&](const CloudKitEntry &entry) { return entry.record.recordName == recordName; });
    if (found != reply.records.end())
        return found->failure ? std::variant<CloudKitEntry, RecordError>(found->failure->error) : *found;
    // A failure without a name can only be that of the one record that was asked for.
    if (reply.records.size() == 1 && reply.records.first().failure && reply.records.first().record.recordName.isEmpty())
        return reply.records.first().failure->error;
    return notUnderstood(QStringLiteral("not the record that was asked for"));
}

} // namespace lanterna
