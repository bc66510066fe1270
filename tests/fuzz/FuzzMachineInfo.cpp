#include "platform/ServiceName.h"
#include "platform/linux/MachineName.h"

#include <algorithm>
#include <cstdint>

using namespace lanterna;

/// Any bytes as a machine-info file and as a host name: what comes out can name a service.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArrayView bytes(data, qsizetype(size));
    for (const QString &pretty : {prettyHostName(bytes), QString::fromUtf8(bytes)}) {
        const QString name = defaultServiceName(pretty, QString::fromUtf8(bytes));
        const qsizetype length = name.toUtf8().size();
        const bool controls = std::any_of(name.begin(), name.end(), [](QChar c) { return c.category() == QChar::Other_Control; });
        if (length < 1 || length > maximumServiceNameBytes || controls || !name.isValidUtf16() || name != name.trimmed())
            __builtin_trap();
    }
    return 0;
}
