#pragma once

#include "cloud/WebDAVConnection.h"

namespace lanterna
{

/// Lists the folder and reads each record's file, one after another. Main thread only. The owner keeps it until it has answered.
class WebDAVQuery
{
public:
    using Completion = RecordDatabase::QueryCompletion;

    WebDAVQuery(WebDAVConnection &connection, QString recordType) : m_connection(connection), m_recordType(std::move(recordType)) { }
    void start(Completion completion);

private:
    void listed(const HttpAnswer &answer);
    void readNext();
    void take(const QString &fileName, const WebDAVResourceResult &result);

    WebDAVConnection &m_connection;
    QString m_recordType;
    Completion m_completion;
    QList<QString> m_fileNames; // those still to be read
    QList<Record> m_records;
    std::optional<RecordError> m_unreadable; // why the first of those could not be read that are left out
};

/// The record of a file that was read; an error where the file is no record of this name, or not whole.
RecordResult<Record> recordOf(const WebDAVConnection &connection, const QString &fileName, const WebDAVResourceResult &result);

} // namespace lanterna
