#include "cli/CloudCommand.h"

#include <algorithm>
#include <array>

namespace lanterna
{

namespace
{

using enum CloudOptions::Action;

struct Word {
    const char *name;
    CloudOptions::Action action;
    bool takesFile;
};
constexpr std::array words = {
    Word{"status", status, false}, Word{"pull", pull, false}, Word{"push", push, false}, Word{"export", exportFile, true},
    Word{"import", importFile, true}, Word{"setup", setUp, false}, Word{"sign-in", signIn, false}, Word{"sign-out", signOut, false},
    Word{"callback", callback, false}, // typed by desktops
};

ParsedCloudOptions refused(const QString &line)
{
    return {{}, QStringLiteral("cloud: ") + line};
}

} // namespace

ParsedCloudOptions parseCloudOptions(const QStringList &arguments)
{
    if (arguments.isEmpty())
        return refused(QStringLiteral("one of status, setup, sign-in, sign-out, pull, push, export and import is missing"));
    const QString &name = arguments.first();
    const auto *word = std::ranges::find_if(words, [&](const Word &one) { return name == QLatin1String(one.name); });
    if (word == words.end())
        return refused(QStringLiteral("unknown command '%1'").arg(name));
    CloudOptions options{word->action, {}, false};
    // Whatever stands there is not repeated: it may be the secret.
    if (options.action == callback) {
        if (arguments.size() > 2 || arguments.value(1, QStringLiteral("none")).isEmpty())
            return refused(QStringLiteral("callback: one address is expected, or none to be asked for it"));
        options.file = arguments.value(1);
        return {options, {}};
    }
    for (const QString &argument : arguments.mid(1)) {
        if (argument == QLatin1String("--yes") && word->action == importFile)
            options.yes = true;
        else if (word->takesFile && options.file.isEmpty() && !argument.isEmpty() && !argument.startsWith(u'-'))
            options.file = argument;
        else
            return refused(QStringLiteral("%1: unknown argument '%2'").arg(name, argument));
    }
    if (word->takesFile && options.file.isEmpty())
        return refused(QStringLiteral("%1: a file is missing").arg(name));
    return {options, {}};
}

} // namespace lanterna
