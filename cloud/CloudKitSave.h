#pragma once

#include "cloud/CloudKitFetch.h"

namespace lanterna
{

/// Saves one record: uploads its assets, then creates or updates it, and finds out what became of it when that is not plain.
///
/// Main thread only; the completion is called once and never after the channel is gone.
class CloudKitSave : public std::enable_shared_from_this<CloudKitSave>
{
public:
    using Completion = std::function<void(const RecordResult<Record> &)>;

    /// The channel has to outlive it.
    CloudKitSave(CloudKitChannel &channel, Record record, Completion completion);
    void start();

private:
    void lookUpFields();
    void askUploads();
    void takeUploads(const CloudKitReply &reply);
    void upload();
    void modify();
    void takeModified(const CloudKitReply &reply);
    void lookWhatIsStored(const RecordError &error);
    void compare(const CloudKitEntry &stored, const RecordError &error);
    void succeed(const QString &changeTag, const QDateTime &modificationDate);

    CloudKitChannel &m_channel;
    Record m_record;
    Completion m_completion;
    QStringList m_cleared; // fields of the stored version that the record does not have
    QMap<QString, QString> m_uploadURLs; // by field; those that are left
    QMap<QString, QVariantMap> m_receipts;
};

} // namespace lanterna
