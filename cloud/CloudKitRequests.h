#pragma once

#include "platform/RecordDatabase.h"

#include <QMap>
#include <QStringList>
#include <QUrl>
#include <QVariant>

#include <optional>

namespace lanterna
{

// What is asked of CloudKit's web services. Pure functions, any thread.

/// Which database is meant, and which program asks. Settings of the person's, so anything may stand in them.
struct CloudKitConfiguration {
    QString container; ///< "iCloud." and what follows
    QString environment = QStringLiteral("production"); ///< or "development", which has other data and another token
    QString apiToken; ///< made by the container's owner, for one environment
    QString baseURL = QStringLiteral("https://api.apple-cloudkit.com"); ///< http only on this machine itself
};

/// What is missing or wrong in it, as an error with `invalidArguments`; none when requests can be made.
std::optional<RecordError> problemOf(const CloudKitConfiguration &configuration);

/// Whether the base URL lies on this machine itself. Only then may other addresses do so, too.
bool isOnThisMachine(const CloudKitConfiguration &configuration);

/// The address of an operation on the private database, such as "records/lookup", with both tokens encoded once. An empty session token is left out.
QUrl cloudKitURL(const CloudKitConfiguration &configuration, const QString &operation, const QString &sessionToken);

/// Whether the text can name a record or a type: 1 to 255 ASCII letters, digits, ".", "_" and "-".
bool isCloudKitName(const QString &text);

QByteArray lookupBody(const QString &recordName);
/// A page of all records of a type: the first one, or the one after a marker.
QByteArray queryBody(const QString &recordType, const QString &continuationMarker);
/// Asks where the record's assets may be sent.
QByteArray uploadBody(const Record &record);
/// Creates the record, or updates the version of its change tag. The assets go in as their receipts, by field; the fields named last are cleared.
QByteArray modifyBody(const Record &record, const QMap<QString, QVariantMap> &receipts, const QStringList &cleared);

/// An address at which an asset's bytes are read or written: https, or on this machine when the base URL is. The placeholder for a file name in its
/// path is replaced, and the rest stays as it was signed, but that hexadecimal digits of escapes become upper case and needless escapes are undone.
/// Nothing for any other address.
std::optional<QUrl> assetURL(const CloudKitConfiguration &configuration, const QString &written);

/// An address at which people sign in: https at Apple's own sign-in host, or on this machine when the base URL is. Empty for any other.
QUrl checkedSignInURL(const CloudKitConfiguration &configuration, const QString &written);

} // namespace lanterna
