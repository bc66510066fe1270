#include "cli/HistoryReport.h"

#include "cli/Csv.h"
#include "cli/TextWidth.h"
#include "platform/Json.h"
#include "platform/VisibleText.h"

#include <QDateTime>
#include <QLocale>
#include <QVariantMap>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace lanterna
{

namespace
{

enum Column { name, address, changes, mac, present, firstSeen, lastSeen, columnCount };

constexpr int gap = 2;
/// Narrower, a name says nothing any more.
constexpr int narrowest = 8;

using Cells = std::array<QString, columnCount>;
using Widths = std::array<int, columnCount>; // 0 leaves a column out

QString textOf(const std::string &text)
{
    return QString::fromStdString(text);
}

/// "21 Oct 08:15", local; with the year where the range has more than one of that date.
QString momentText(qint64 time, const HistorySummary &summary)
{
    constexpr qint64 year = qint64{365} * 24 * 3600 * 1000;
    const bool isPlain = summary.to - summary.from < year;
    return QLocale::c().toString(QDateTime::fromMSecsSinceEpoch(time), isPlain ? QStringLiteral("dd MMM HH:mm") : QStringLiteral("yyyy-MM-dd HH:mm"));
}

QString isoText(qint64 time)
{
    const QDateTime local = QDateTime::fromMSecsSinceEpoch(time);
    return local.toOffsetFromUtc(local.offsetFromUtc()).toString(Qt::ISODate);
}

QString counted(quint64 number, const QString &one, const QString &many)
{
    return number == 1 ? QStringLiteral("1 ") + one : QStringLiteral("%1 ").arg(number) + many;
}

/// A line as it is printed; cut to a terminal's width, if there is one.
QString finished(const QString &line, int columns)
{
    return (columns > 0 ? elided(line, columns) : line) + u'\n';
}

Cells cellsOf(const HistoryDevice &device, const HistorySummary &summary)
{
    Cells cells = {harmless(textOf(device.name)), harmless(textOf(device.ip)), QString::number(device.addressChanges), harmless(textOf(device.mac)),
        shareText(presentShare(device, summary)), momentText(device.firstSeen, summary), momentText(device.lastSeen, summary)};
    for (QString &cell : cells) {
        if (cell.isEmpty())
            cell = QStringLiteral("-");
    }
    return cells;
}

int totalWidth(const Widths &widths)
{
    const auto shown = std::count_if(widths.begin(), widths.end(), [](int width) { return width > 0; });
    return std::accumulate(widths.begin(), widths.end(), 0) + gap * (static_cast<int>(shown) - 1);
}

Widths fittingWidths(Widths widths, int columns)
{
    for (const Column dropped : {mac, changes, firstSeen, lastSeen}) {
        const int surplus = totalWidth(widths) - columns;
        if (surplus <= 0)
            return widths;
        Widths cut = widths;
        cut[name] = std::max(std::min(widths[name], narrowest * 2), widths[name] - surplus);
        if (totalWidth(cut) <= columns)
            return cut;
        widths[dropped] = 0;
    }
    widths[name] = std::clamp(widths[name] - (totalWidth(widths) - columns), narrowest, widths[name] + narrowest);
    return widths;
}

QString line(const Cells &cells, const Widths &widths)
{
    QString text;
    for (size_t column = 0; column < columnCount; ++column) {
        const int width = widths.at(column);
        if (width == 0)
            continue;
        const QString cell = elided(cells.at(column), width);
        const bool isNumber = column == present || column == changes; // aligned at the right
        text += isNumber ? QString(width - columnsOf(cell), u' ') + cell + QString(gap, u' ') : padded(cell, width + gap);
    }
    while (text.endsWith(u' '))
        text.chop(1);
    return text;
}

/// The devices of one network, which stand together.
QString deviceTable(const HistorySummary &summary, quint32 network, int columns)
{
    QList<Cells> rows = {{QStringLiteral("NAME"), QStringLiteral("ADDRESS"), QStringLiteral("CHANGES"), QStringLiteral("MAC"),
        QStringLiteral("PRESENT"), QStringLiteral("FIRST SEEN"), QStringLiteral("LAST SEEN")}};
    for (const HistoryDevice &device : summary.devices) {
        if (device.network == network)
            rows.append(cellsOf(device, summary));
    }
    Widths widths{};
    for (const Cells &row : rows) {
        for (size_t column = 0; column < columnCount; ++column)
            widths.at(column) = std::max(widths.at(column), columnsOf(row.at(column)));
    }
    if (columns > 0)
        widths = fittingWidths(widths, columns);
    const HistoryNetworkSummary &about = summary.networks[network];
    const QString title = networkTitle(about.network)
        + QStringLiteral(": %1, observed %2 of %3")
              .arg(counted(static_cast<quint64>(rows.size() - 1), QStringLiteral("device"), QStringLiteral("devices")), durationText(about.observed),
                  durationText(summary.to - summary.from));
    QString text = finished(title, columns);
    for (qsizetype row = 0; rows.size() > 1 && row < rows.size(); ++row)
        text += finished(line(rows.at(row), widths), columns);
    return text;
}

QString eventLine(const HistoryEvent &event, const HistorySummary &summary)
{
    const HistoryDevice &device = summary.devices[event.device];
    QString text = momentText(event.time, summary) + (event.joined ? QStringLiteral("  joined  ") : QStringLiteral("  left    "));
    text += deviceTitle(device);
    if (!device.name.empty() && !device.ip.empty())
        text += QStringLiteral(" (") + harmless(textOf(device.ip)) + u')';
    if (summary.networks.size() > 1)
        text += QStringLiteral(", ") + networkTitle(summary.networks[device.network].network);
    return text;
}

QString eventList(const HistorySummary &summary, int columns)
{
    const std::vector<HistoryEvent> &events = summary.events;
    if (events.empty())
        return finished(QStringLiteral("No device joined or left."), columns);
    const std::size_t first = columns > 0 && events.size() > joinsOnTerminal ? events.size() - joinsOnTerminal : 0;
    const quint64 all = events.size() + summary.eventsLeftOut;
    const QString title = counted(all, QStringLiteral("join or leave"), QStringLiteral("joins and leaves"));
    const quint64 shown = events.size() - first;
    QString text = finished(title + (shown < all ? QStringLiteral("; the latest %1:").arg(shown) : QStringLiteral(":")), columns);
    for (std::size_t at = first; at < events.size(); ++at)
        text += finished(eventLine(events[at], summary), columns);
    return text;
}

double seconds(qint64 milliseconds)
{
    return static_cast<double>(milliseconds) / 1000;
}

QVariantMap deviceJson(const HistoryDevice &device, const HistorySummary &summary)
{
    QVariantList addresses;
    for (const HistoryAddress &had : device.addresses)
        addresses.append(QVariantMap{{QStringLiteral("ip"), textOf(had.ip)}, {QStringLiteral("since"), seconds(had.since)}});
    const std::optional<double> share = presentShare(device, summary);
    return {{QStringLiteral("mac"), textOf(device.mac)}, {QStringLiteral("ip"), textOf(device.ip)}, {QStringLiteral("name"), textOf(device.name)},
        {QStringLiteral("type"), textOf(device.type)}, {QStringLiteral("firstSeen"), seconds(device.firstSeen)},
        {QStringLiteral("lastSeen"), seconds(device.lastSeen)}, {QStringLiteral("present"), device.isPresent},
        {QStringLiteral("presentSeconds"), seconds(device.present)}, {QStringLiteral("presentShare"), share ? QVariant(*share) : QVariant()},
        {QStringLiteral("addressChanges"), qulonglong{device.addressChanges}}, {QStringLiteral("addresses"), addresses}};
}

QVariantMap networkJson(const HistorySummary &summary, quint32 index)
{
    const HistoryNetworkSummary &network = summary.networks[index];
    QVariantList devices;
    for (const HistoryDevice &device : summary.devices) {
        if (device.network == index)
            devices.append(deviceJson(device, summary));
    }
    return {{QStringLiteral("ssid"), textOf(network.network.ssid)}, {QStringLiteral("subnet"), textOf(network.network.subnet)},
        {QStringLiteral("firstLine"), seconds(network.firstLine)}, {QStringLiteral("lastLine"), seconds(network.lastLine)},
        {QStringLiteral("observedSeconds"), seconds(network.observed)}, {QStringLiteral("devices"), devices}};
}

QVariantMap eventJson(const HistoryEvent &event, const HistorySummary &summary)
{
    const HistoryDevice &device = summary.devices[event.device];
    return {{QStringLiteral("time"), seconds(event.time)}, {QStringLiteral("event"), event.joined ? QStringLiteral("join") : QStringLiteral("leave")},
        {QStringLiteral("network"), qulonglong{device.network}}, {QStringLiteral("mac"), textOf(device.mac)},
        {QStringLiteral("ip"), textOf(device.ip)}, {QStringLiteral("name"), textOf(device.name)}};
}

} // namespace

QString networkTitle(const HistoryNetwork &network)
{
    const QString subnet = network.subnet.empty() ? QString() : textOf(network.subnet) + QStringLiteral(".x");
    const QString ssid = hasVisibleText(textOf(network.ssid)) ? textOf(network.ssid) : QString();
    if (ssid.isEmpty() || subnet.isEmpty() || ssid.contains(subnet)) // "Subnet 192.168.1.x" says it already
        return harmless(ssid.isEmpty() ? (subnet.isEmpty() ? QStringLiteral("Unnamed network") : subnet) : ssid);
    return harmless(QStringLiteral("%1 (%2)").arg(ssid, subnet));
}

bool isCalled(const HistoryNetwork &network, const QString &name)
{
    const QString subnet = textOf(network.subnet);
    return name == textOf(network.ssid) || (!subnet.isEmpty() && (name == subnet || name == subnet + QStringLiteral(".x")))
        || name == networkTitle(network);
}

QString deviceTitle(const HistoryDevice &device)
{
    return harmless(textOf(!device.name.empty() ? device.name : !device.ip.empty() ? device.ip : device.mac));
}

QString shareText(std::optional<double> share)
{
    if (!share)
        return QStringLiteral("-");
    // Whole numbers, but neither 0 nor 100 for what is only close to them.
    if (*share > 0 && *share < 0.01)
        return QStringLiteral("<1 %");
    return QStringLiteral("%1 %").arg(*share < 1 ? std::min(99L, std::lround(*share * 100)) : 100);
}

QString durationText(qint64 milliseconds)
{
    const qint64 minutes = milliseconds / 60'000;
    const qint64 hours = minutes / 60;
    const qint64 days = hours / 24;
    if (days > 0)
        return hours % 24 == 0 ? QStringLiteral("%1 d").arg(days) : QStringLiteral("%1 d %2 h").arg(days).arg(hours % 24);
    if (hours > 0)
        return minutes % 60 == 0 ? QStringLiteral("%1 h").arg(hours) : QStringLiteral("%1 h %2 min").arg(hours).arg(minutes % 60);
    return QStringLiteral("%1 min").arg(minutes);
}

QString historyFaults(const HistorySummary &summary)
{
    const QString line = QStringLiteral("line");
    const QString lines = QStringLiteral("lines");
    QStringList parts;
    if (summary.brokenLines > 0)
        parts.append(counted(summary.brokenLines, line, lines) + QStringLiteral(" could not be read"));
    if (summary.otherVersions > 0)
        parts.append(counted(summary.otherVersions, line, lines) + QStringLiteral(" of another version"));
    if (summary.futureLines > 0)
        parts.append(counted(summary.futureLines, line + QStringLiteral(" lies"), lines + QStringLiteral(" lie")) + QStringLiteral(" in the future"));
    if (summary.devicesLeftOut > 0)
        parts.append(QStringLiteral("devices beyond the first %1 were left out").arg(mostHistoryDevices));
    return parts.join(QStringLiteral(", "));
}

QString historyText(const HistorySummary &summary, int columns)
{
    QString text;
    for (quint32 network = 0; network < summary.networks.size(); ++network)
        text += deviceTable(summary, network, columns) + u'\n';
    text += eventList(summary, columns);
    const QString faults = historyFaults(summary);
    if (!faults.isEmpty())
        text += u'\n' + finished(faults, columns);
    return text;
}

QString historyJson(const HistorySummary &summary)
{
    // Piece by piece: the whole as values would take several times the text's memory.
    QByteArray text = "{\"from\":" + compactJson(seconds(summary.from)) + ",\"to\":" + compactJson(seconds(summary.to)) + ",\"networks\":[";
    for (quint32 network = 0; network < summary.networks.size(); ++network)
        text += (network > 0 ? "," : "") + compactJson(networkJson(summary, network));
    text += "],\"events\":[";
    for (std::size_t event = 0; event < summary.events.size(); ++event)
        text += (event > 0 ? "," : "") + compactJson(eventJson(summary.events[event], summary));
    const std::array<std::pair<const char *, quint64>, 6> counts = {
        {{"eventsLeftOut", summary.eventsLeftOut}, {"lines", summary.lines}, {"brokenLines", summary.brokenLines},
            {"otherVersionLines", summary.otherVersions}, {"futureLines", summary.futureLines}, {"devicesLeftOut", summary.devicesLeftOut}}};
    text += "]";
    for (const auto &[key, number] : counts)
        text += QByteArray(",\"") + key + "\":" + QByteArray::number(number);
    return QString::fromUtf8(text + "}\n");
}

QString historyCsv(const HistorySummary &summary)
{
    QString text = QStringLiteral("network,subnet,name,mac,address,type,first seen,last seen,present share,present seconds,observed seconds,"
                                  "address changes,addresses\n");
    for (const HistoryDevice &device : summary.devices) {
        const HistoryNetworkSummary &network = summary.networks[device.network];
        const std::optional<double> share = presentShare(device, summary);
        QStringList addresses;
        for (const HistoryAddress &had : device.addresses)
            addresses.append(textOf(had.ip));
        text += csvLine({textOf(network.network.ssid), textOf(network.network.subnet), textOf(device.name), textOf(device.mac), textOf(device.ip),
            textOf(device.type), isoText(device.firstSeen), isoText(device.lastSeen), share ? QString::number(*share, 'f', 4) : QString(),
            QString::number(device.present / 1000), QString::number(network.observed / 1000), QString::number(device.addressChanges),
            addresses.join(u' ')});
    }
    return text;
}

} // namespace lanterna
