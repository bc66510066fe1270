#pragma once

#include "platform/SettingsStore.h"

#include <QStringList>

#include <functional>

namespace lanterna
{

/// What a command prints and how it ends.
struct CommandResult {
    int exitCode = 0; ///< 0 done, 1 failed, 2 usage
    QString output = {}; ///< for standard output
    QString error = {}; ///< one line for standard error
};

/// `lanternactl settings list|get|set|unset|reset`; the arguments after "settings". `confirm` asks a person a question.
CommandResult settingsCommand(const QStringList &arguments, SettingsStore &settings, const std::function<bool(const QString &question)> &confirm);

} // namespace lanterna
