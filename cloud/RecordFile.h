#pragma once

#include "cloud/Sqlite.h"
#include "platform/RecordDatabase.h"

#include <functional>
#include <optional>

namespace lanterna
{

/// A store of records in one file, which any number of programs of this machine use at the same time (docs/formats/records.md).
///
/// Calls block: for milliseconds as a rule, longer while another program keeps the file locked. One thread at a time. A call opens the file when it is
/// not open; `close` is for when no other call follows soon. After a failure the store is as it was and the file is closed; the next call tries anew.
/// A record that `save` returned is on the disk proper.
class RecordFile
{
public:
    /// Asked each time that another program is in the way: waits a little and answers true, or false to give up. `times` counts within a call, from 0.
    using Patience = std::function<bool(int times)>;

    /// The file (0600) and its folder (0700) are made by the first save; nothing else makes them. An empty path is one that cannot be had.
    RecordFile(const QString &path, Patience patience) : m_path(path), m_patience(std::move(patience)) { }

    [[nodiscard]] RecordResult<Record> fetch(const QString &recordName);
    /// `now` becomes the modification date.
    [[nodiscard]] RecordResult<Record> save(const Record &record, const QDateTime &now);
    /// In the order of their names.
    [[nodiscard]] RecordResult<QList<Record>> query(const QString &recordType);
    void close() { m_database.close(); }

private:
    using Failure = std::optional<RecordError>;

    /// Takes the steps with the file open, again and again while other programs are in the way. `absent` is the answer when there is no file and none
    /// is to be made.
    template <typename Value, typename Steps> RecordResult<Value> attempt(bool make, const RecordResult<Value> &absent, const Steps &steps);
    [[nodiscard]] Failure open(bool make);
    [[nodiscard]] bool waitForOthers() { return m_patience(m_waits++); }

    [[nodiscard]] RecordResult<Record> fetchNow(const QString &recordName);
    [[nodiscard]] RecordResult<Record> saveNow(const Record &record, const QDateTime &now);
    [[nodiscard]] RecordResult<QList<Record>> queryNow(const QString &recordType);
    /// Reads the fields of the record in this row. What keeps it from being whole, or nothing; what could be read is there either way.
    [[nodiscard]] Failure readRecord(const SqliteStatement &row, Record &record);
    void writeFields(const Record &record);

    QString m_path;
    Patience m_patience;
    int m_waits = 0;
    SqliteDatabase m_database;
};

} // namespace lanterna
