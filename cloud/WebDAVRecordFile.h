#pragma once

#include "platform/RecordDatabase.h"

#include <QByteArray>
#include <QString>

namespace lanterna
{

/// A record as one file of a folder: a line of JSON that describes it, then the bytes of its assets (docs/formats/webdav-records.md). Pure functions;
/// any thread, but not the main one for large records: they hash every byte.

/// The largest asset, and the longest describing line; in bytes.
constexpr qsizetype largestWebDAVAsset = 50 * 1000 * 1000;
constexpr qsizetype longestWebDAVHeader = 1000 * 1000;

/// A record made into a file.
struct MadeRecordFile {
    Record record; ///< as it will be read: with its modification date and its change tag
    QByteArray bytes;
    QString problem; ///< why the record cannot be kept, in words; then there are no bytes
};

/// Makes the file. The change tag is the SHA-256 of the describing line, in lower-case hexadecimal: it holds whatever tags the server gives. `version` is a text that no other file has: two saves of the same content differ by it.
MadeRecordFile makeWebDAVRecordFile(const Record &record, const QDateTime &modificationDate, const QString &version);

/// What a file turned out to be.
struct ReadRecordFile {
    enum class State {
        noRecord, ///< somebody else's file, or one whose describing line is broken
        damaged, ///< the line is whole, but not what follows: all assets are empty
        whole,
    };
    State state = State::noRecord;
    Record record; ///< with the change tag as above, which is empty for no record
};

ReadRecordFile readWebDAVRecordFile(const QByteArray &bytes);

/// The file's name in its folder, such as "userCustomizationsDict.record". Names too long for a file name end in a hash instead.
QString webDAVResourceName(const QString &recordName);

/// Whether a file of the folder has the name of a record's.
bool isWebDAVResourceName(const QString &fileName);

/// Whether names and types may be these: 1 to 255 ASCII letters, digits, ".", "_" and "-".
bool isRecordWord(const QString &word);

} // namespace lanterna
