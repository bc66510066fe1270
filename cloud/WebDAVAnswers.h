#pragma once

#include "cloud/HttpExchange.h"

#include <QList>
#include <QString>

#include <optional>

namespace lanterna
{

/// What the answers of a WebDAV server (RFC 4918) mean for a record database. Pure functions; any thread.

/// What an answer says went wrong, in the codes of a record database; nothing for the statuses 200 to 299. A redirect is an error that names the host
/// it leads to. `host` is the one that was asked, `now` the clock for a server that says until when to wait and not what time it has.
std::optional<RecordError> webDAVError(const HttpAnswer &answer, const QString &host, const QDateTime &now);

/// Seconds of a Retry-After header, in both its forms (RFC 9110, 10.2.3); never below 0.
std::optional<double> retryAfter(const HttpAnswer &answer, const QDateTime &now);

/// The ETag of an answer as it stands, strong ("a") or weak (W/"a"); empty when there is none or it is none.
QByteArray entityTag(const HttpAnswer &answer);
bool isStrongTag(const QByteArray &entityTag);

/// Whether the answer to OPTIONS offers locks: class 2 of the DAV header.
bool offersLocks(const HttpAnswer &answer);
/// The token of a granted lock, such as "urn:uuid:..."; empty when there is none that can be sent back.
QByteArray lockToken(const HttpAnswer &answer);

/// A file of a folder.
struct WebDAVMember {
    QString fileName; ///< decoded, without the path
    bool isFolder = false;

    bool operator==(const WebDAVMember &) const = default;
};

/// The longest listing that is read, in bytes, and the most members.
constexpr qsizetype longestWebDAVListing = 4 * 1000 * 1000;
constexpr qsizetype mostWebDAVMembers = 10000;

/// Reads the listing of a folder: the answer to PROPFIND. The folder itself is in it, under its own name. Nothing when it is no listing, is cut, is
/// longer than the bounds, or declares a document type: entities of its own have no place in it.
std::optional<QList<WebDAVMember>> parseMultistatus(const QByteArray &xml);

} // namespace lanterna
