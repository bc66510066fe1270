#include "platform/Json.h"
#include "platform/SettingsValue.h"
#include "scan/Customizations.h"
#include "scan/NetworkSnapshot.h"

#include <cstdint>

using namespace lanterna;

namespace
{

void check(const Customizations &customizations)
{
    for (auto entry = customizations.begin(); entry != customizations.end(); ++entry) {
        if (entry.key().isEmpty() || entry.key() != entry.key().toUpper() || entry.key().contains(deviceSeparator) || entry->name.startsWith(u'"'))
            __builtin_trap();
    }
}

} // namespace

/// Device lists and cloud dictionaries from any bytes: entries have an upper-case key and a name without quotes around it, and never a crash.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    Customizations fromList;
    addCustomizations(fromList, {{QStringLiteral("devices"), QString::fromUtf8(bytes)}});
    check(fromList);
    if (const std::optional<QVariant> json = parseJson(bytes)) {
        Customizations fromCloud;
        addCustomizationsOfCloudDict(fromCloud, json->toMap());
        check(fromCloud);
    }
    return 0;
}
