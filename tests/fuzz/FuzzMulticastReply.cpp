#include "platform/linux/HostName.h"
#include "platform/linux/MulticastReply.h"

#include <algorithm>
#include <cstdint>

/// Replies from any bytes: whatever name comes out is bounded and can be printed, and owners have the form in which they are compared.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace lanterna;
    const std::optional<MulticastReply> reply = parseMulticastReply(QByteArrayView(data, qsizetype(size)));
    if (!reply)
        return 0;
    for (const PointerRecord &record : reply->pointers) {
        const bool controls = std::any_of(record.name.begin(), record.name.end(), [](QChar c) { return c.category() == QChar::Other_Control; });
        const QByteArray bytes = record.name.toUtf8();
        if (controls || bytes.isEmpty() || bytes.size() > maximumHostNameBytes || record.owner.size() > maximumHostNameBytes)
            __builtin_trap();
        // A name that passed once passes again, unchanged but for one more trailing dot.
        if (!record.name.endsWith(u'.') && hostName(bytes) != record.name)
            __builtin_trap();
        if (record.owner != record.owner.toLower())
            __builtin_trap();
        const bool asked = reply->questions.isEmpty() || reply->questions.contains(record.owner);
        if (reply->nameFor(record.owner, reply->id).isEmpty() == asked)
            __builtin_trap();
    }
    return 0;
}
