#pragma once

#include "cloud/CloudKitChannel.h"

#include <memory>

namespace lanterna
{

// Reading records from CloudKit. Main thread only; completions are called once, not inside the call, and never after the channel is gone.

/// What becomes of a record with an asset that cannot be had whole.
enum class MissingAsset { isAnError, isEmpty };

/// Downloads the assets of one record, one after another.
///
/// Their addresses are good for a few minutes only: when one has expired, the record is looked up once more and taken as it is then.
class CloudKitDownloads : public std::enable_shared_from_this<CloudKitDownloads>
{
public:
    using Completion = std::function<void(const RecordResult<Record> &)>;

    /// `room`: no asset of more bytes is downloaded. The channel has to outlive it.
    CloudKitDownloads(CloudKitChannel &channel, CloudKitEntry entry, MissingAsset missing, qint64 room, Completion completion);
    void start() { goOn(); }

private:
    void goOn();
    void take(const HttpAnswer &answer);
    void lookUpAgain();
    void takeAgain(const CloudKitReply &reply);
    bool giveUp(const RecordError &error);

    CloudKitChannel &m_channel;
    CloudKitEntry m_entry;
    MissingAsset m_missing;
    qint64 m_room;
    Completion m_completion;
    QStringList m_left; // fields that are still to be downloaded
    bool m_lookedUpAgain = false;
};

/// Looks a record up and downloads its assets.
void fetchWhole(CloudKitChannel &channel, const QString &recordName, CloudKitDownloads::Completion completion);

} // namespace lanterna
