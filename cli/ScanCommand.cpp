#include "cli/ScanCommand.h"

namespace lanterna
{

namespace
{

ParsedScanOptions refused(const QString &line)
{
    return {{}, QStringLiteral("scan: ") + line};
}

} // namespace

ParsedScanOptions parseScanOptions(const QStringList &arguments)
{
    ScanOptions options;
    bool json = false;
    bool csv = false;
    for (qsizetype at = 0; at < arguments.size(); ++at) {
        const QString &argument = arguments.at(at);
        if (argument == QLatin1String("--json")) {
            json = true;
        } else if (argument == QLatin1String("--format")) {
            if (++at == arguments.size())
                return refused(QStringLiteral("--format needs a format: csv"));
            if (arguments.at(at) != QLatin1String("csv"))
                return refused(QStringLiteral("unknown format '%1'; there is csv").arg(arguments.at(at)));
            csv = true;
        } else if (argument == QLatin1String("--save")) {
            options.save = true;
        } else if (argument == QLatin1String("--no-sweep")) {
            options.sweep = false;
        } else {
            return refused(QStringLiteral("unknown argument '%1'").arg(argument));
        }
    }
    if (json && csv)
        return refused(QStringLiteral("--json and --format csv exclude each other"));
    options.format = json ? ScanOptions::Format::json : csv ? ScanOptions::Format::csv : ScanOptions::Format::table;
    return {options, {}};
}

} // namespace lanterna
