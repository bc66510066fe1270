#include "platform/linux/HostName.h"
#include "platform/linux/HostsFile.h"

#include <algorithm>
#include <cstdint>

#include <arpa/inet.h>

namespace
{

using namespace lanterna;

bool isNumber(const QString &text)
{
    in_addr four = {};
    in6_addr six = {};
    return inet_pton(AF_INET, text.toLatin1().constData(), &four) == 1 || inet_pton(AF_INET6, text.toLatin1().constData(), &six) == 1;
}

/// Whether a name can be shown as it is, and also where format characters are removed before.
bool isFit(QString name)
{
    const bool controls = std::any_of(name.begin(), name.end(), [](QChar c) { return c.category() == QChar::Other_Control; });
    if (controls || name.toUtf8().size() > maximumHostNameBytes || name != name.trimmed() || isNumber(name))
        return false;
    name.removeIf([](QChar c) { return c.category() == QChar::Other_Format; });
    return !name.trimmed().isEmpty() && !isNumber(name);
}

} // namespace

/// Any bytes as a name and as a hosts file: names that come out are bounded, can be printed and are no numbers.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArrayView bytes(data, qsizetype(size));
    const QString name = hostName(bytes);
    if (!name.isEmpty() && !isFit(name))
        __builtin_trap();
    const QHash<quint32, QString> names = hostsFileNames(bytes);
    if (!std::all_of(names.begin(), names.end(), isFit))
        __builtin_trap();
    return 0;
}
