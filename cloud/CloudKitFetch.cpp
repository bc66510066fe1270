#include "cloud/CloudKitFetch.h"

#include <algorithm>
#include <utility>

namespace lanterna
{

CloudKitDownloads::CloudKitDownloads(CloudKitChannel &channel, CloudKitEntry entry, MissingAsset missing, qint64 room, Completion completion)
    : m_channel(channel), m_entry(std::move(entry)), m_missing(missing), m_room(std::min(room, largestAsset)), m_completion(std::move(completion)),
      m_left(m_entry.assets.keys())
{
}

void CloudKitDownloads::goOn()
{
    while (!m_left.isEmpty()) {
        const CloudKitAsset asset = m_entry.assets.value(m_left.first());
        if (asset.size != 0 && asset.size.value_or(0) <= m_room) {
            // As they are: bytes that were packed for the way would not have the size that was told.
            const HttpRequest request{"GET", {}, {{"Accept-Encoding", "identity"}}, {}};
            m_channel.transfer(request, asset.downloadURL, [self = shared_from_this()](const HttpAnswer &answer) { self->take(answer); });
            return;
        }
        if (asset.size == 0)
            m_entry.record.assets.insert(m_left.takeFirst(), QByteArray(""));
        else if (giveUp(notUnderstood(QStringLiteral("a file that is too large"))))
            return;
    }
    m_completion(m_entry.record);
}

void CloudKitDownloads::take(const HttpAnswer &answer)
{
    if (!answer.failure && (answer.status == 403 || answer.status == 410) && !m_lookedUpAgain) {
        lookUpAgain();
        return;
    }
    if (const auto failure = downloadFailure(answer, m_entry.assets.value(m_left.first()))) {
        if (giveUp(*failure))
            return;
    } else {
        m_entry.record.assets.insert(m_left.takeFirst(), answer.body);
    }
    goOn();
}

/// True when that is the end of it all.
bool CloudKitDownloads::giveUp(const RecordError &error)
{
    if (m_missing == MissingAsset::isAnError) {
        m_completion(error);
        return true;
    }
    m_entry.record.assets.insert(m_left.takeFirst(), QByteArray());
    return false;
}

void CloudKitDownloads::lookUpAgain()
{
    m_lookedUpAgain = true;
    CloudKitCall call;
    call.operation = QStringLiteral("records/lookup");
    call.body = lookupBody(m_entry.record.recordName);
    m_channel.call(call, [self = shared_from_this()](const CloudKitReply &reply) { self->takeAgain(reply); });
}

void CloudKitDownloads::takeAgain(const CloudKitReply &reply)
{
    auto found = recordNamed(reply, m_entry.record.recordName);
    if (auto *entry = std::get_if<CloudKitEntry>(&found)) {
        m_entry = std::move(*entry);
        m_left = m_entry.assets.keys();
    } else {
        while (!m_left.isEmpty()) {
            if (giveUp(std::get<RecordError>(found)))
                return;
        }
    }
    goOn();
}

void fetchWhole(CloudKitChannel &channel, const QString &recordName, CloudKitDownloads::Completion completion)
{
    CloudKitCall call;
    call.operation = QStringLiteral("records/lookup");
    call.body = lookupBody(recordName);
    channel.call(call, [&channel, recordName, completion = std::move(completion)](const CloudKitReply &reply) {
        const auto found = recordNamed(reply, recordName);
        if (const auto *error = std::get_if<RecordError>(&found)) {
            completion(*error);
            return;
        }
        std::make_shared<CloudKitDownloads>(channel, std::get<CloudKitEntry>(found), MissingAsset::isAnError, largestAsset, completion)->start();
    });
}

} // namespace lanterna
