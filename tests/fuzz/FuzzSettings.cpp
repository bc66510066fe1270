#include "platform/Json.h"
#include "platform/SettingsConversions.h"
#include "platform/SettingsFormat.h"
#include "platform/SettingsKeys.h"

#include <cstdlib>

using namespace lanterna;

namespace
{

void require(bool holds)
{
    if (!holds)
        std::abort();
}

void readAllWays(const QVariant &value)
{
    (void)settingAsText(value);
    (void)settingAsInteger(value);
    (void)settingAsBoolean(value);
    (void)settingAsDate(value);
    (void)renderSetting(value);
}

/// What was read once is read the same after it was written.
void checkRoundTrip(const SettingsEntries &entries)
{
    const std::optional<SettingsEntries> again = parseSettings(formatSettings(entries));
    require(again.has_value() && again->keys() == entries.keys());
    for (auto entry = entries.cbegin(); entry != entries.cend(); ++entry)
        require(again->value(entry.key()).sameAs(*entry));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), qsizetype(size));
    if (const std::optional<SettingsEntries> entries = parseSettings(text)) {
        for (const SettingsEntry &entry : *entries)
            readAllWays(entry.value);
        checkRoundTrip(*entries);
    }
    if (const std::optional<QVariant> side = parseSideFile(text))
        require(parseSideFile(formatSideFile(*side)).has_value());

    const QString words = QString::fromUtf8(text);
    readAllWays(words);
    require(isSideFileName(sideFileName(words, size)));
    for (const SettingType type : {SettingType::integer, SettingType::boolean, SettingType::date, SettingType::list, SettingType::dictionary})
        require(parseSetting(type, words).value.isValid() == parseSetting(type, words).error.isEmpty());
    return 0;
}
