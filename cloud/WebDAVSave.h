#pragma once

#include "cloud/WebDAVAnswers.h"
#include "cloud/WebDAVProof.h"

namespace lanterna
{

/// Stores one record, so that nobody's newer version is overwritten: under a lock where the server has locks that hold, and else under its own tag.
///
/// Main thread only. The owner keeps it until it has answered.
class WebDAVSave
{
public:
    using Completion = RecordDatabase::RecordCompletion;

    /// `version` is a text that no other save has.
    WebDAVSave(WebDAVConnection &connection, WebDAVTraits traits, const Record &record, QString version);
    void start(Completion completion);

private:
    using Headers = QList<QPair<QByteArray, QByteArray>>;

    [[nodiscard]] bool isUpdate() const { return !m_record.changeTag.isEmpty(); }
    [[nodiscard]] QByteArray strongTag() const { return m_connection.strongTagOf(m_name, m_record.changeTag); }
    void begin();
    void lock();
    void lockedOut(const RecordError &error);
    void underTheLock();
    void giveBackTheEmptyFile();
    void compare();
    void compared(const WebDAVResource &stored);
    void put(const Headers &headers);
    void wasPut(const HttpAnswer &answer);
    void makeFolder();
    void lookAfter(const HttpAnswer &answer);
    void seenAfter(const RecordError &error, bool wasRefused, const WebDAVResourceResult &seen);
    void stored(const QByteArray &entityTag);
    void end(const RecordResult<Record> &result);
    [[nodiscard]] RecordError changedMeanwhile() const;

    WebDAVConnection &m_connection;
    WebDAVTraits m_traits;
    Record m_record;
    QString m_version;
    QString m_name;
    MadeRecordFile m_file;
    std::optional<WebDAVLock> m_lock;
    Completion m_completion;
    bool m_triedFolder = false;
    bool m_replacesNothing = false; // a file without bytes is in the place of the new one
    int m_waits = 0;
    int m_lostLocks = 0;
};

} // namespace lanterna
