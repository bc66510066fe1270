#pragma once

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <optional>
#include <variant>

namespace lanterna
{

// The document that sensors and the owner's other devices share: one JSON object. docs/formats/cloud-document.md describes it for those who read it.
// Pure functions, for any thread; with a large document they take milliseconds, and so belong on a queue.
//
// A document is what RFC 8259 calls an object, in UTF-8, in no more than `maximumOutlineDepth` levels; a byte order mark in front of it is passed
// over. Of members with the same key the last one counts; keys are the same when their texts are, however they are escaped.

inline constexpr QLatin1String macTablesMember("MACAddressesByNetworkSegment");
inline constexpr QLatin1String networkStatusMember("CurrentNetworkStatus_Lanterna");

/// What was found in the record.
enum class StoredDocument {
    none, ///< no bytes
    document,
    unreadable, ///< something else, which is about to be replaced: its bytes are to be kept
};

struct CloudDocumentMerge {
    StoredDocument stored = StoredDocument::none;
    QString storedDefect; ///< why the stored one is unreadable, in words for a log line
    QByteArray json; ///< the new document, without line ends or indentation of its own; empty when there is an error
    QString error; ///< what JSON cannot hold, and where, in words for a log line
};

/// The stored document with the MAC tables and the network status, each if it is given, in the place of the members of that name; members that were
/// not there come last, in this order. Every other member is carried over: the bytes of its key and of its value as they were stored.
CloudDocumentMerge mergedCloudDocument(
    const QByteArray &stored, const std::optional<QVariantMap> &macTables, const std::optional<QVariantMap> &networkStatus);

/// What of the latest snapshot goes into the document.
struct NetworkStatusToPublish {
    std::optional<QVariantMap> status;
    QString line; ///< what is to be logged; null when there is nothing to say
};

/// The snapshot, if its "devices" are a text that is not empty. One without devices is not published, which is worth a line; no snapshot at all is
/// not. The one that was published last stays in both cases.
NetworkStatusToPublish networkStatusToPublish(const QVariant &latestLocalSnapshot);

/// A document as values. They are such that the settings can store them: collections deeper than settings go are left out (a null stands for each),
/// and numbers beyond the range of a double become the largest double, as Json.h says.
struct CloudDocumentContents {
    QVariantMap members;
    std::optional<QVariantMap> macTables; ///< nothing when there is no such member, or it is no dictionary
};

/// What the bytes are in place of a document, in words for a log line.
struct NoCloudDocument {
    QString type; ///< "array", "text", "number", "boolean", "null"; a null text when the bytes are no JSON
    QString error; ///< a null text when they are JSON
};

std::variant<CloudDocumentContents, NoCloudDocument> readCloudDocument(const QByteArray &bytes);

} // namespace lanterna
