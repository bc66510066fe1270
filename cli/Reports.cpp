#include "cli/Reports.h"

#include "app/AddressText.h"
#include "app/DisplaySettings.h"
#include "app/localhostAddresses.h"

namespace lanterna
{

namespace
{

QString modeName(qlonglong mode)
{
    switch (mode) {
    case wan:
        return QStringLiteral("wan");
    case secondLAN:
        return QStringLiteral("second-lan");
    case iconOnly:
        return QStringLiteral("icon");
    default:
        return QStringLiteral("first-lan");
    }
}

QJsonValue textOrNull(const QString &text)
{
    return text.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(text);
}

} // namespace

QString addressesText(const QList<InterfaceAddress> &shown)
{
    QString text;
    for (const InterfaceAddress &address : shown)
        text += address.name + QStringLiteral(": ") + address.address + QLatin1Char('\n');
    return text;
}

QJsonArray addressesJson(const QList<InterfaceAddress> &shown)
{
    QJsonArray array;
    for (const InterfaceAddress &address : shown) {
        array.append(QJsonObject{{QStringLiteral("interface"), address.name}, {QStringLiteral("address"), address.address},
            {QStringLiteral("prefixLength"), address.prefixLength}, {QStringLiteral("broadcast"), textOrNull(address.broadcast)}});
    }
    return array;
}

StatusReport statusReport(const QList<InterfaceAddress> &addresses, const SettingsStore &settings, qint64 runningPid)
{
    StatusReport report;
    report.runningPid = runningPid;
    report.mode = startDisplayMode(settings);
    report.addresses = activeInterfaces(localhostAddresses::addressDictionary(addresses, hiddenInterfacePatterns(settings)));
    report.wan = shownWANText(settings);
    report.network = settings.text(QStringLiteral("currentWiFiName"));
    if (report.mode == iconOnly)
        return report;
    const bool names = settings.boolean(QStringLiteral("showInterfaceName"));
    const auto formatted = [&](int index) { return formatIPForDisplay(report.addresses.value(index), names, false); };
    report.title = clippedTitle(chooseTitle(report.mode, formatted(0), formatted(1), formatIPForDisplay(report.wan, names, true)).text);
    return report;
}

QString statusText(const StatusReport &report)
{
    QStringList lines{QStringLiteral("Title:    ") + (report.mode == iconOnly ? QStringLiteral("(icon)") : report.title)};
    if (!report.network.isEmpty())
        lines.append(QStringLiteral("Network:  ") + report.network);
    for (const QString &address : report.addresses)
        lines.append(QStringLiteral("Address:  ") + address);
    lines.append(QStringLiteral("WAN:      ") + report.wan);
    lines.append(
        QStringLiteral("Running:  ") + (report.runningPid > 0 ? QStringLiteral("yes, process %1").arg(report.runningPid) : QStringLiteral("no")));
    return lines.join(QLatin1Char('\n')) + QLatin1Char('\n');
}

QJsonObject statusJson(const StatusReport &report)
{
    return {{QStringLiteral("title"), textOrNull(report.title)}, {QStringLiteral("mode"), report.mode},
        {QStringLiteral("addresses"), QJsonArray::fromStringList(report.addresses)}, {QStringLiteral("wan"), textOrNull(report.wan)},
        {QStringLiteral("network"), textOrNull(report.network)}, {QStringLiteral("running"), report.runningPid > 0},
        {QStringLiteral("pid"), report.runningPid > 0 ? QJsonValue(report.runningPid) : QJsonValue(QJsonValue::Null)}};
}

QJsonObject waybarJson(const StatusReport &report)
{
    QStringList tooltip = report.addresses;
    tooltip.append(formatIPForDisplay(report.wan, true, true));
    return {{QStringLiteral("text"), report.title.toHtmlEscaped()}, {QStringLiteral("alt"), modeName(report.mode)},
        {QStringLiteral("tooltip"), tooltip.join(QLatin1Char('\n')).toHtmlEscaped()},
        {QStringLiteral("class"), report.addresses.isEmpty() ? QStringLiteral("offline") : QStringLiteral("online")}};
}

} // namespace lanterna
