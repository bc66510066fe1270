#include "cli/PeersCommand.h"

namespace lanterna
{

namespace
{

constexpr int shortestTimeout = 1; // seconds
constexpr int longestTimeout = 60;

ParsedPeersOptions refused(const QString &line)
{
    return {{}, QStringLiteral("peers: ") + line};
}

} // namespace

ParsedPeersOptions parsePeersOptions(const QStringList &arguments)
{
    PeersOptions options;
    for (qsizetype at = 0; at < arguments.size(); ++at) {
        const QString &argument = arguments.at(at);
        if (argument == QLatin1String("--json")) {
            options.json = true;
        } else if (argument == QLatin1String("--timeout")) {
            bool isNumber = false;
            const int seconds = arguments.value(++at).toInt(&isNumber);
            if (!isNumber || seconds < shortestTimeout || seconds > longestTimeout)
                return refused(QStringLiteral("--timeout needs a number of seconds, %1 to %2").arg(shortestTimeout).arg(longestTimeout));
            options.timeout = std::chrono::seconds(seconds);
        } else {
            return refused(QStringLiteral("unknown argument '%1'").arg(argument));
        }
    }
    return {options, {}};
}

} // namespace lanterna
