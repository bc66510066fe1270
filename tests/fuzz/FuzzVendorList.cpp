#include "cli/VendorLookup.h"

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

QByteArray digitsOf(quint64 key)
{
    return QByteArray::number(key & ((quint64(1) << 36U) - 1), 16).rightJustified(qsizetype(key >> 36U), '0');
}

} // namespace

/// A list from any bytes: every block has a prefix and a name on one line, and written as a list once more both read the same.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    for (const VendorBlock &block : parseVendorList(QByteArrayView(data, qsizetype(size)))) {
        const QString name = vendorName(block.name);
        require(vendorKey(digitsOf(block.key)) == block.key);
        require(name == name.simplified());
        const QByteArray line = "X," + digitsOf(block.key) + ",\"" + name.toUtf8().replace('"', "\"\"") + "\",\n";
        if (line.size() > 4096) // what was doubled may make it too long for a list
            continue;
        const std::vector<VendorBlock> again = parseVendorList(line);
        require(again.size() == 1 && again.front().key == block.key && vendorName(again.front().name) == name);
    }
    return 0;
}
