#pragma once

#include "cloud/HttpExchange.h"

#include <QList>
#include <QMap>
#include <QStringList>
#include <QVariant>

#include <optional>
#include <variant>

namespace lanterna
{

// What CloudKit's web services answer, taken apart. Pure functions, any thread; nothing here trusts the bytes.

/// Why a request, or one record of it, was not carried out.
struct CloudKitFailure {
    RecordError error;
    QString redirectURL; ///< where to sign in, as the server wrote it: not checked. Only beside `notAuthenticated`

    bool operator==(const CloudKitFailure &) const = default;
};

/// Where the bytes of an asset lie.
struct CloudKitAsset {
    QString downloadURL; ///< with a placeholder for the file's name; empty when the server gave none
    std::optional<qint64> size; ///< in bytes; never negative

    bool operator==(const CloudKitAsset &) const = default;
};

/// One record of a reply: it has a name and a change tag, or a failure.
struct CloudKitEntry {
    std::optional<CloudKitFailure> failure;
    Record record; ///< without the assets' bytes; beside a failure only with its name, if the reply told that
    QMap<QString, CloudKitAsset> assets; ///< by field

    bool operator==(const CloudKitEntry &) const = default;
};

/// Where an asset's bytes may be sent.
struct CloudKitUploadSlot {
    QString recordName;
    QString fieldName;
    QString url;

    bool operator==(const CloudKitUploadSlot &) const = default;
};

/// What a reply has to be about; another shape is a failure.
enum class CloudKitReplyKind {
    records, ///< of records/lookup, records/query and records/modify
    uploadSlots, ///< of assets/upload
    user, ///< of users/current
};

struct CloudKitReply {
    std::optional<CloudKitFailure> failure; ///< of the whole request: the rest is then empty
    QList<CloudKitEntry> records;
    QString continuationMarker; ///< of the next page of a query; empty after the last
    QList<CloudKitUploadSlot> uploadSlots;
    QString userRecordName;
    int timesSent = 0; ///< how often the server may have got the request

    bool operator==(const CloudKitReply &) const = default;
};

/// Takes a reply apart. The words of its failures are one line each, with what the server said about them but without the secrets, plain or
/// percent-encoded, and without whatever looks like an address.
CloudKitReply parseCloudKitReply(CloudKitReplyKind kind, const HttpAnswer &answer, const QStringList &secrets);

/// What came of sending an asset's bytes: the receipt, to be handed on as it is when the record is saved.
std::variant<QVariantMap, RecordError> parseUploadReceipt(const HttpAnswer &answer);

/// Why the bytes of an asset did not come; none when the answer holds them whole.
std::optional<RecordError> downloadFailure(const HttpAnswer &answer, const CloudKitAsset &asset);

/// An asset has this many bytes at most.
inline constexpr qint64 largestAsset = 50'000'000;

/// The record of this name in a reply to a lookup or a change of it, or why it is not there.
std::variant<CloudKitEntry, RecordError> recordNamed(const CloudKitReply &reply, const QString &recordName);

/// A reply that is not what it should be: `networkFailure`, since whoever wrote it was not the server that was meant.
RecordError notUnderstood(const QString &what);

} // namespace lanterna
