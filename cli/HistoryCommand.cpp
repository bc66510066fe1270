#include "cli/HistoryCommand.h"

#include "cli/HistoryPlot.h"
#include "cli/HistoryReport.h"
#include "cli/TextWidth.h"
#include "publish/HistoryReader.h"

#include <QSaveFile>

#include <algorithm>

namespace lanterna
{

namespace
{

// To whoever asked for a network that is not there, so many others are told, each in so many columns: the line stays one that can be read.
constexpr std::size_t mostNetworksTold = 8;
constexpr int networkTitleWidth = 40;

ParsedHistoryOptions refused(const QString &line)
{
    return {{}, QStringLiteral("history: ") + line};
}

CommandResult failed(const QString &line)
{
    return {1, {}, line};
}

/// Reads one option's value; what is wrong with it, or nothing.
QString readValue(const QString &option, const QString &value, HistoryOptions &options)
{
    if (option == QLatin1String("--days")) {
        bool isNumber = false;
        options.days = value.toInt(&isNumber);
        if (!isNumber || options.days < 1 || options.days > mostHistoryDays)
            return QStringLiteral("--days takes a whole number from 1 to %1, not '%2'").arg(mostHistoryDays).arg(value);
    } else if (option == QLatin1String("--network")) {
        options.network = value;
        if (value.isEmpty())
            return QStringLiteral("--network needs a network's name or subnet");
    } else if (option == QLatin1String("--plot")) {
        options.plot = value;
        if (value.isEmpty())
            return QStringLiteral("--plot needs a file");
    } else if (value != QLatin1String("csv")) {
        return QStringLiteral("unknown format '%1'; there is csv").arg(value);
    }
    return {};
}

/// Files that cannot be read: the first one's complaint, and how many there are.
struct Faults {
    qsizetype files = 0;
    QString first;

    [[nodiscard]] QString line() const { return files > 1 ? QStringLiteral("%1 (and %2 other files)").arg(first).arg(files - 1) : first; }
};

HistorySummary summarise(const QList<HistoryFile> &files, const HistoryQuery &query, unsigned threads, Faults &faults)
{
    HistorySummarizer summarizer(query);
    qsizetype at = 0;
    readHistory(files, threads, [&](const HistoryDay &day) {
        const QString path = files.at(at++).path;
        if (!day.error.isEmpty() && faults.files++ == 0)
            faults.first = QStringLiteral("cannot read %1: %2").arg(path, day.error);
        summarizer.add(day);
    });
    return summarizer.finish();
}

QString writePlot(const QString &file, const QByteArray &svg)
{
    QSaveFile output(file);
    if (output.open(QIODevice::WriteOnly) && output.write(svg) == svg.size() && output.commit())
        return {};
    return QStringLiteral("cannot write %1: %2").arg(file, output.errorString());
}

/// "; there are: Harbour (192.168.1.x), Office (10.0.0.x) and 3 more"; empty where there are none.
QString knownNetworks(const std::vector<HistoryNetwork> &networks)
{
    QStringList titles;
    for (std::size_t at = 0; at < std::min(networks.size(), mostNetworksTold); ++at)
        titles.append(elided(networkTitle(networks[at]), networkTitleWidth));
    const QString more = networks.size() > mostNetworksTold ? QStringLiteral(" and %1 more").arg(networks.size() - mostNetworksTold) : QString();
    return titles.isEmpty() ? QString() : QStringLiteral("; there are: ") + titles.join(QStringLiteral(", ")) + more;
}

QString nothingFound(const HistoryOptions &options, const HistorySummary &summary)
{
    const QString days = options.days == 1 ? QStringLiteral("day") : QStringLiteral("%1 days").arg(options.days);
    QString line = options.network.isEmpty() ? QStringLiteral("nothing was recorded in the last %1").arg(days)
                                             : QStringLiteral("nothing was recorded of '%1' in the last %2").arg(options.network, days);
    const QString faults = historyFaults(summary);
    if (!faults.isEmpty())
        line += QStringLiteral(" (") + faults + u')';
    return line + knownNetworks(summary.otherNetworks);
}

/// Why there is nothing to report. Where a network was asked for, a file that cannot be read may hold it, but the name may be wrong as well.
QString whyNothing(const HistoryOptions &options, const HistorySummary &summary, const Faults &faults)
{
    if (faults.files == 0)
        return nothingFound(options, summary);
    return options.network.isEmpty() ? faults.line() : nothingFound(options, summary) + QStringLiteral("; ") + faults.line();
}

QString reportOf(const HistoryOptions &options, const HistorySummary &summary, int columns)
{
    switch (options.format) {
    case HistoryOptions::Format::json:
        return historyJson(summary);
    case HistoryOptions::Format::csv:
        return historyCsv(summary);
    case HistoryOptions::Format::table:
        break;
    }
    return historyText(summary, columns);
}

} // namespace

ParsedHistoryOptions parseHistoryOptions(const QStringList &arguments)
{
    static const QStringList withValue = {
        QStringLiteral("--days"), QStringLiteral("--network"), QStringLiteral("--plot"), QStringLiteral("--format")};
    HistoryOptions options;
    bool json = false;
    bool csv = false;
    for (qsizetype at = 0; at < arguments.size(); ++at) {
        const QString &argument = arguments.at(at);
        if (argument == QLatin1String("--json")) {
            json = true;
        } else if (withValue.contains(argument)) {
            if (argument == QLatin1String("--format") && at + 1 == arguments.size())
                return refused(QStringLiteral("--format needs a format: csv"));
            csv = csv || argument == QLatin1String("--format");
            const QString wrong = readValue(argument, arguments.value(++at), options);
            if (!wrong.isEmpty())
                return refused(wrong);
        } else {
            return refused(QStringLiteral("unknown argument '%1'").arg(argument));
        }
    }
    if (json && csv)
        return refused(QStringLiteral("--json and --format csv exclude each other"));
    options.format = json ? HistoryOptions::Format::json : csv ? HistoryOptions::Format::csv : HistoryOptions::Format::table;
    return {options, {}};
}

CommandResult historyCommand(const HistoryOptions &options, const HistoryPlace &place)
{
    HistoryQuery query;
    query.to = place.now.toMSecsSinceEpoch();
    query.from = place.now.addDays(-options.days).toMSecsSinceEpoch();
    if (!options.network.isEmpty())
        query.wants = [&](const HistoryNetwork &network) { return isCalled(network, options.network); };
    QList<HistoryFile> files = historyFiles(place.folder, QDate(1, 1, 1), QDate(9999, 12, 31));
    if (files.isEmpty())
        return failed(place.folder.isEmpty() ? QStringLiteral("there is no history: no home folder is known")
                                             : QStringLiteral("there is no history in %1").arg(place.folder));
    // Lines before the range that hold into it may be in the file of the day before. All later files are read, to tell of a clock that has been ahead.
    const QDate first = QDateTime::fromMSecsSinceEpoch(query.from - historyHold, Qt::UTC).date();
    files.removeIf([&](const HistoryFile &file) { return file.day < first; });
    if (!options.plot.isEmpty())
        query.columns = mostHistoryColumns;
    Faults faults;
    const HistorySummary summary = summarise(files, query, std::max(1U, place.threads), faults);
    if (summary.networks.empty())
        return failed(whyNothing(options, summary, faults));
    if (!options.plot.isEmpty()) {
        const QString wrong = writePlot(options.plot, historyPlot(summary));
        if (!wrong.isEmpty())
            return failed(wrong);
    }
    // What is left out for a file that cannot be read is worth a word; the rest is there all the same.
    return {0, reportOf(options, summary, place.columns), faults.line()};
}

} // namespace lanterna
