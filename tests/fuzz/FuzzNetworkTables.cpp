#include "scan/NetworkTables.h"

#include <QStringList>

#include <cstdint>

/// Routing and ARP tables from any text: a gateway has a dot and one word, every address of six parts comes out in upper case, and never a crash.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace lanterna;
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    const QString gateway = defaultGateway(text);
    if (!gateway.isEmpty() && (!gateway.contains(u'.') || gateway.contains(u' ')))
        __builtin_trap();
    const ARPTable table = parseARPTable(text);
    for (const QString &mac : table) {
        if (!mac.contains(u':') || normalizeMACAddress(mac) != mac)
            __builtin_trap();
    }
    return 0;
}
