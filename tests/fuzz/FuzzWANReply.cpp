#include "app/WANReply.h"

#include <cstddef>
#include <cstdint>

using namespace lanterna;

/// A configuration and a reply from the network: the bytes up to the first zero byte are the one, the rest the other.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const qsizetype end = bytes.indexOf('\0');
    const WANEndpoint endpoint = parseWANConfiguration(decodeWANConfiguration(bytes.left(end)));
    const QString result = parseWANReply(QString::fromUtf8(bytes.mid(end + 1)), endpoint.beginningCrop, endpoint.endCrop);
    if (result != QLatin1String("offline") && result != QLatin1String("unavailable") && !result.contains(QLatin1Char('.')))
        __builtin_trap();
    return 0;
}
