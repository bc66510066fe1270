#include "cloud/CloudKitErrors.h"
#include "cloud/CloudKitReply.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace lanterna;

namespace
{

void require(bool holds)
{
    if (!holds)
        std::abort();
}

void checkFailure(const RecordError &error)
{
    require(!error.description.isEmpty() && error.description.size() < 700);
    require(!error.description.contains(u'\n') && !error.description.contains(QStringLiteral("://")));
    require(!error.description.contains(QStringLiteral("s+cret")));
    require(!error.retryAfter || (*error.retryAfter >= 0 && *error.retryAfter < 1e10));
}

void checkReply(const CloudKitReply &reply)
{
    if (reply.failure) {
        checkFailure(reply.failure->error);
        require(reply.records.isEmpty() && reply.uploadSlots.isEmpty() && reply.userRecordName.isEmpty());
    }
    for (const CloudKitEntry &entry : reply.records) {
        if (entry.failure)
            checkFailure(entry.failure->error);
        else
            require(!entry.record.recordName.isEmpty() && !entry.record.changeTag.isEmpty());
        for (const CloudKitAsset &asset : entry.assets)
            require(asset.size.value_or(0) >= 0);
    }
}

} // namespace

/// The first byte says which status and whose reply, the rest is its body.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size == 0)
        return 0;
    constexpr int statuses[] = {200, 400, 401, 404, 421, 429, 500, 503};
    HttpAnswer answer;
    answer.status = statuses[data[0] % 8];
    if (data[0] & 8)
        answer.headers.append({"Retry-After", QByteArray(reinterpret_cast<const char *>(data) + 1, qsizetype(std::min<std::size_t>(size - 1, 12)))});
    answer.body = QByteArray(reinterpret_cast<const char *>(data) + 1, qsizetype(size) - 1);
    const QStringList secrets{QStringLiteral("s+cret")};
    for (const auto kind : {CloudKitReplyKind::records, CloudKitReplyKind::uploadSlots, CloudKitReplyKind::user}) {
        const CloudKitReply reply = parseCloudKitReply(kind, answer, secrets);
        checkReply(reply);
        require(answer.status == 200 || reply.failure);
        require(reply == parseCloudKitReply(kind, answer, secrets));
        const auto found = recordNamed(reply, QStringLiteral("a"));
        if (const auto *entry = std::get_if<CloudKitEntry>(&found))
            require(entry->record.recordName == QStringLiteral("a") && !entry->failure);
    }
    const auto receipt = parseUploadReceipt(answer);
    if (const auto *error = std::get_if<RecordError>(&receipt))
        checkFailure(*error);
    return 0;
}
