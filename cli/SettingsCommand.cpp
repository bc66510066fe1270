#include "cli/SettingsCommand.h"

#include "platform/SettingsKeys.h"
#include "platform/SettingsRules.h"

namespace lanterna
{

namespace
{

CommandResult usageError(const QString &line)
{
    return {2, {}, line};
}

QString listed(const SettingsStore &settings)
{
    QString output;
    for (const QString &key : settings.keys())
        output += key + QStringLiteral(" = ") + renderSetting(settings.value(key)) + QLatin1Char('\n');
    return output;
}

CommandResult get(const QString &key, const SettingsStore &settings)
{
    const QVariant value = settings.value(key);
    if (!value.isValid())
        return {1, {}, QStringLiteral("%1 is not set").arg(key)};
    return {0, renderSetting(value) + QLatin1Char('\n')};
}

CommandResult written(bool onDisk)
{
    return onDisk ? CommandResult{} : CommandResult{1, {}, QStringLiteral("the settings could not be written")};
}

CommandResult set(const QString &key, const QString &text, SettingsStore &settings)
{
    const SettingKey *declared = settingKey(key);
    if (!declared)
        return usageError(QStringLiteral("there is no setting '%1'").arg(key));
    const ParsedSetting parsed = parseSetting(declared->type, text);
    if (!parsed.error.isEmpty())
        return usageError(QStringLiteral("%1: %2").arg(key, parsed.error));
    const QString problem = settingProblem(key, parsed.value);
    if (!problem.isEmpty())
        return usageError(QStringLiteral("%1: %2").arg(key, problem));
    return written(settings.setValue(key, parsed.value));
}

CommandResult reset(bool confirmed, SettingsStore &settings, const std::function<bool(const QString &)> &confirm)
{
    if (!confirmed && !confirm(QStringLiteral("Remove every setting in %1?").arg(settings.folder())))
        return {1, {}, QStringLiteral("nothing was removed (settings reset --yes does not ask)")};
    bool onDisk = true;
    for (const QString &key : settings.keys())
        onDisk = settings.remove(key) && onDisk;
    return written(onDisk);
}

} // namespace

CommandResult settingsCommand(const QStringList &arguments, SettingsStore &settings, const std::function<bool(const QString &)> &confirm)
{
    const QString verb = arguments.value(0);
    const auto count = arguments.size();
    if (verb == QLatin1String("list") && count == 1)
        return {0, listed(settings)};
    if (verb == QLatin1String("get") && count == 2)
        return get(arguments.at(1), settings);
    if (verb == QLatin1String("set") && count == 3)
        return set(arguments.at(1), arguments.at(2), settings);
    if (verb == QLatin1String("unset") && count == 2)
        return written(settings.remove(arguments.at(1)));
    if (verb == QLatin1String("reset") && (count == 1 || (count == 2 && arguments.at(1) == QLatin1String("--yes"))))
        return reset(count == 2, settings, confirm);
    return usageError(QStringLiteral("settings: expected list, get KEY, set KEY VALUE, unset KEY, or reset [--yes]"));
}

} // namespace lanterna
