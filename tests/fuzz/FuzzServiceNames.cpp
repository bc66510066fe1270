#include "platform/linux/AvahiNames.h"

#include <avahi-common/domain.h>

#include <array>
#include <cstdint>

namespace
{

using namespace lanterna;

/// What Avahi makes of any bytes as one label.
QByteArray escaped(const QByteArray &label)
{
    std::array<char, AVAHI_DOMAIN_NAME_MAX> text = {};
    char *end = text.data();
    size_t space = text.size();
    return avahi_escape_label(label.constData(), size_t(label.size()), &end, &space) ? QByteArray(text.data()) : QByteArray();
}

} // namespace

/// Host names of any bytes: what is handed on is bounded and ends in a dot, and labels that Avahi has escaped come back as they were.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    if (const auto name = hostNameFromAvahi(bytes); name && (!name->endsWith(u'.') || name->toUtf8().size() > longestHostName + 1))
        __builtin_trap();
    const QByteArray label = bytes.left(AVAHI_LABEL_MAX - 1);
    if (label.isEmpty() || label.contains('\0') || label == ".")
        return 0;
    const auto name = hostNameFromAvahi(escaped(label) + ".local");
    if (!name || *name != QString::fromUtf8(label) + QStringLiteral(".local."))
        __builtin_trap();
    return 0;
}
