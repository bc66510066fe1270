#include "cli/ScanReport.h"

#include "cli/Csv.h"
#include "cli/TextWidth.h"

#include <QStringList>

#include <algorithm>
#include <array>
#include <numeric>

namespace lanterna
{

namespace
{

enum Column { address, mac, name, type, services, answers, vendor, columnCount };

constexpr int gap = 2;
/// Narrower, a name or a list of services says nothing any more.
constexpr int narrowest = 8;

using Cells = std::array<QString, columnCount>;
using Widths = std::array<int, columnCount>; // 0 leaves a column out

const QString unknown = QStringLiteral("UNKNOWN");

QString known(const QString &text)
{
    return text == unknown ? QString() : text;
}

QString answersText(const RGFCoreScanDevice &device)
{
    return device.isPingable ? QStringLiteral("yes") : QStringLiteral("no");
}

/// The owner's own word, where there is one, counts more than the lists.
QString vendorText(const RGFCoreScanDevice &device, const VendorLookup &vendors)
{
    const QString own = known(device.vendorInfo);
    return own.isEmpty() ? vendors.vendor(device.macAddress) : own;
}

Cells cellsOf(const RGFCoreScanDevice &device, const VendorLookup &vendors)
{
    Cells cells = {device.ipAddress, known(device.macAddress), device.deviceName, known(device.deviceType), shortServices(device.services),
        answersText(device), vendorText(device, vendors)};
    for (QString &cell : cells)
        cell = cell.isEmpty() ? QStringLiteral("-") : harmless(cell);
    return cells;
}

int totalWidth(const Widths &widths)
{
    const auto shown = std::count_if(widths.begin(), widths.end(), [](int width) { return width > 0; });
    return std::accumulate(widths.begin(), widths.end(), 0) + gap * (static_cast<int>(shown) - 1);
}

/// Takes the surplus from names and services, as far as they go; a name keeps a few columns more, since people look for it first.
Widths cutTexts(Widths widths, int surplus)
{
    constexpr int advantage = 6;
    for (; surplus > 0; --surplus) {
        int &wider = widths[services] > narrowest && widths[services] + advantage >= widths[name] ? widths[services] : widths[name];
        if (wider <= narrowest)
            break;
        --wider;
    }
    return widths;
}

Widths fittingWidths(Widths widths, int columns)
{
    if (totalWidth(widths) <= columns)
        return widths;
    Widths cut = widths;
    for (const Column dropped : {vendor, services, type, answers}) {
        widths[dropped] = 0;
        cut = cutTexts(widths, totalWidth(widths) - columns);
        if (totalWidth(cut) <= columns)
            break;
    }
    return cut;
}

QString line(const Cells &cells, const Widths &widths)
{
    QString text;
    for (size_t column = 0; column < columnCount; ++column) {
        if (widths.at(column) > 0)
            text += padded(elided(cells.at(column), widths.at(column)), widths.at(column) + gap);
    }
    while (text.endsWith(u' '))
        text.chop(1);
    return text;
}

} // namespace

QString shortServices(const QString &services)
{
    QStringList names;
    for (const QString &service : services.split(u',', Qt::SkipEmptyParts)) {
        QString text = service.trimmed();
        if (text.startsWith(u'_'))
            text.remove(0, 1);
        for (const char *ending : {"._tcp.", "._udp.", "._tcp", "._udp"}) {
            if (text.endsWith(QLatin1String(ending))) {
                text.chop(static_cast<qsizetype>(qstrlen(ending)));
                break;
            }
        }
        if (!text.isEmpty())
            names.append(text);
    }
    return names.join(QStringLiteral(", "));
}

QString scanSummary(const QList<RGFCoreScanDevice> &devices, const QString &network)
{
    QStringList subnets;
    for (const RGFCoreScanDevice &device : devices) {
        const QString subnet = device.ipAddress.section(u'.', 0, 2);
        if (!subnet.isEmpty() && !subnets.contains(subnet + QStringLiteral(".x")))
            subnets.append(subnet + QStringLiteral(".x"));
    }
    QString text = devices.size() == 1 ? QStringLiteral("1 device") : QStringLiteral("%1 devices").arg(devices.size());
    if (!subnets.isEmpty())
        text += QStringLiteral(" on ") + subnets.join(QStringLiteral(", "));
    if (!network.isEmpty())
        text += QStringLiteral(" (") + network + QStringLiteral(")");
    const auto answering = std::count_if(devices.cbegin(), devices.cend(), [](const RGFCoreScanDevice &device) { return device.isPingable; });
    if (!devices.isEmpty())
        text += answering == 1 ? QStringLiteral(", 1 answers") : QStringLiteral(", %1 answer").arg(answering);
    return harmless(text);
}

QString scanTable(const QList<RGFCoreScanDevice> &devices, const VendorLookup &vendors, int columns, const QString &network)
{
    QList<Cells> rows = {{QStringLiteral("ADDRESS"), QStringLiteral("MAC"), QStringLiteral("NAME"), QStringLiteral("TYPE"),
        QStringLiteral("SERVICES"), QStringLiteral("ANSWERS"), QStringLiteral("VENDOR")}};
    for (const RGFCoreScanDevice &device : devices)
        rows.append(cellsOf(device, vendors));
    Widths widths{};
    for (const Cells &row : rows) {
        for (size_t column = 0; column < columnCount; ++column)
            widths.at(column) = std::max(widths.at(column), columnsOf(row.at(column)));
    }
    const bool onTerminal = columns > 0;
    if (onTerminal)
        widths = fittingWidths(widths, columns);
    const auto finished = [&](const QString &text) { return (onTerminal ? elided(text, columns) : text) + u'\n'; };
    QString table;
    if (!devices.isEmpty()) {
        for (const Cells &row : rows)
            table += finished(line(row, widths));
        table += u'\n';
    }
    return table + finished(scanSummary(devices, network));
}

QString scanCsv(const QList<RGFCoreScanDevice> &devices, const VendorLookup &vendors)
{
    QString text = QStringLiteral("address,mac,name,type,services,answers,vendor,dns\n");
    for (const RGFCoreScanDevice &device : devices) {
        text += csvLine({device.ipAddress, known(device.macAddress), device.deviceName, known(device.deviceType), device.services,
            answersText(device), vendorText(device, vendors), known(device.dnsEntry)});
    }
    return text;
}

} // namespace lanterna
