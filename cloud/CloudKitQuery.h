#pragma once

#include "cloud/CloudKitFetch.h"

namespace lanterna
{

/// All records of a type, page after page, and then their assets one after another.
///
/// Main thread only; the completion is called once, not inside the call, and never after the channel is gone.
class CloudKitQuery : public std::enable_shared_from_this<CloudKitQuery>
{
public:
    using Completion = std::function<void(const RecordResult<QList<Record>> &)>;
    /// Each has up to 200 records; a person has one or two.
    static constexpr int mostPages = 100;
    /// What may be held in memory altogether, in bytes. Assets beyond it come as no bytes.
    static constexpr qint64 mostBytes = 200'000'000;

    /// The channel has to outlive it.
    CloudKitQuery(CloudKitChannel &channel, QString recordType, Completion completion);
    void start() { askPage(); }

private:
    void askPage();
    void takePage(const CloudKitReply &reply);
    std::optional<RecordError> failureIn(const CloudKitReply &reply) const;
    void download();

    CloudKitChannel &m_channel;
    QString m_recordType;
    Completion m_completion;
    QString m_marker; // of the page that is asked for
    int m_pages = 0;
    QList<CloudKitEntry> m_entries;
    QList<Record> m_records; // the first of them, with their assets
    qint64 m_room = mostBytes;
};

} // namespace lanterna
