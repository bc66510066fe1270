#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QMap>
#include <QString>

#include <functional>
#include <optional>
#include <variant>

namespace lanterna
{

/// What kept a record database from doing what it was asked for. The numbers are those of the owner's cloud, whichever database is used.
enum class RecordErrorCode : int {
    internalError = 1,
    networkUnavailable = 3, ///< no way to the server: no route, no such name, refused
    networkFailure = 4, ///< the exchange broke off or made no sense; whether a write arrived is not known
    serviceUnavailable = 6,
    requestRateLimited = 7, ///< with `retryAfter`
    notAuthenticated = 9, ///< nobody is signed in, or no longer
    permissionFailure = 10,
    unknownItem = 11, ///< there is no such record
    invalidArguments = 12,
    serverRecordChanged = 14, ///< the stored record is not the one that was changed, or is there although it was to be created
    serverRejectedRequest = 15,
    batchRequestFailed = 22, ///< because of another record of the same request
    quotaExceeded = 25, ///< no room
    zoneNotFound = 26,
    referenceViolation = 31, ///< the record refers to one that is not there, or is referred to
};

struct RecordError {
    RecordErrorCode code = RecordErrorCode::internalError;
    QString description; ///< one line for people, without secrets
    std::optional<double> retryAfter; ///< seconds

    bool operator==(const RecordError &) const = default;
};

/// One record of the owner's private store.
struct Record {
    QString recordName; ///< its identity, such as "userCustomizationsDict"; 1 to 255 characters of ASCII letters, digits, ".", "_" and "-"
    QString recordType; ///< such as "UserDictionary", of the same characters
    QMap<QString, QString> texts; ///< text fields by name
    QMap<QString, QByteArray> assets; ///< fields that hold a file, by name: the file's bytes, 50 MB at most
    QString changeTag; ///< which version this is; opaque, compared for equality only. Empty for a record that was never stored
    QDateTime modificationDate; ///< UTC; invalid for a record that was never stored

    bool operator==(const Record &) const = default;
};

template <typename Value> using RecordResult = std::variant<Value, RecordError>;

/// A store of records of one person. Main thread only.
///
/// Each completion is called exactly once, on the main thread, never inside the call; none is called any more once the database is dropped. Nothing
/// is retried. Several programs and machines may use one store at the same time.
class RecordDatabase
{
public:
    using RecordCompletion = std::function<void(const RecordResult<Record> &)>;
    using QueryCompletion = std::function<void(const RecordResult<QList<Record>> &)>;

    virtual ~RecordDatabase() = default;
    /// The record with its assets. One whose assets cannot be had whole is an error (`networkFailure`), not a record without them.
    virtual void fetchRecord(const QString &recordName, RecordCompletion completion) = 0;
    /// Stores a record whole: fields that are not in it are cleared. Without a change tag it is created; with one, it replaces the version of that
    /// tag. `serverRecordChanged` when the store holds anything else, and `unknownItem` when a version is to be replaced that is gone; the store is
    /// then as it was. Answers with the record as it is stored now: with its new change tag and modification date.
    virtual void saveRecord(const Record &record, RecordCompletion completion) = 0;
    /// All records of a type with their assets, in the store's order; none is no error. An asset that cannot be had whole
    /// comes as no bytes, and the rest still comes.
    virtual void queryRecords(const QString &recordType, QueryCompletion completion) = 0;
};

/// Whether a text can be the name or the type of a record: 1 to 255 ASCII letters, digits, ".", "_" and "-". Calls with any other end with
/// `invalidArguments`.
bool isRecordIdentifier(const QString &text);

/// Code and words, for a log line: "not signed in (9)".
QString describe(const RecordError &error);

} // namespace lanterna
