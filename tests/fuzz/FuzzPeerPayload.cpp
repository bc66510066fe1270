#include "cli/PeerPayload.h"
#include "platform/Json.h"

#include <cstddef>
#include <cstdint>

using namespace lanterna;

/// What a peer sends: the first byte says in pieces of what size it comes, the rest is the stream.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size == 0)
        return 0;
    const QByteArrayView stream(reinterpret_cast<const char *>(data) + 1, static_cast<qsizetype>(size) - 1);
    const qsizetype step = 1 + data[0];
    PeerPayload pieces;
    for (qsizetype at = 0; at < stream.size(); at += step) {
        if (!pieces.take(stream.sliced(at, std::min(step, stream.size() - at))))
            break;
    }
    PeerPayload whole;
    const bool goesOn = whole.take(stream);
    const PeerAnswer answer = whole.finish();
    if (pieces.finish() != answer || whole.size() != 0)
        __builtin_trap();
    // What the parser takes for a small object is never given up, nor found to be cut short; but for the parser a zero byte ends the text, and a byte
    // order mark may stand before it.
    const std::optional<QVariant> parsed = parseJson(stream.toByteArray());
    const bool strict = !stream.contains('\0') && !stream.startsWith("\xef\xbb\xbf");
    const bool isObject = strict && parsed && parsed->typeId() == QMetaType::QVariantMap && size < PeerPayload::longestWord;
    if (isObject && (!goesOn || answer.state == PeerState::cutShort))
        __builtin_trap();
    if (answer.state != PeerState::snapshot && !answer.snapshot.isEmpty())
        __builtin_trap();
    if (deviceCount(answer.snapshot) > stream.size())
        __builtin_trap();
    return 0;
}
