#include "scan/NetworkTables.h"

#include "platform/NamePatterns.h"

#include <algorithm>

namespace lanterna
{

namespace
{
// The shortest (0:1:2:3:4:5) and the longest form of six parts.
constexpr qsizetype shortestMAC = 11;
constexpr qsizetype longestMAC = 17;
constexpr qsizetype longestLine = 1023; // longer lines are read in pieces, each a line of its own

void readARPLine(QStringView line, ARPTable &table)
{
    const QList<QStringView> pieces = line.split(u' ');
    if (pieces.size() < 4)
        return;
    const QStringView mac = pieces[3];
    if (!mac.contains(u':') || mac.size() < shortestMAC || mac.size() > longestMAC)
        return;
    const QString address = pieces[1].toString().remove(u'(').remove(u')');
    table.insert(address, normalizeMACAddress(mac.toString()));
}

} // namespace

QString defaultGateway(const QString &routingTableText, const QStringList &ignoredInterfaces)
{
    constexpr qsizetype firstName = 3; // after destination, gateway and flags; further columns may follow
    for (const QStringView line : QStringView(routingTableText).split(u'\n')) {
        if (!line.startsWith(u"default"))
            continue;
        const QStringList words = line.toString().simplified().split(u' ');
        const QString gateway = words.value(1);
        const QStringList names = words.mid(firstName);
        const bool ignored =
            std::any_of(names.begin(), names.end(), [&](const QString &name) { return matchesInterfacePattern(name, ignoredInterfaces); });
        if (gateway.contains(u'.') && !gateway.startsWith(QLatin1String("link#")) && !ignored)
            return gateway;
    }
    return QStringLiteral("");
}

ARPTable parseARPTable(const QString &neighbourTableText)
{
    ARPTable table;
    for (QStringView line : QStringView(neighbourTableText).split(u'\n', Qt::SkipEmptyParts)) {
        for (; line.size() > longestLine; line = line.sliced(longestLine))
            readARPLine(line.first(longestLine), table);
        readARPLine(line, table);
    }
    return table;
}

QString normalizeMACAddress(const QString &macAddress)
{
    QStringList parts = macAddress.split(u':');
    if (parts.size() != 6)
        return macAddress;
    for (QString &part : parts) {
        if (part.size() == 1)
            part.prepend(u'0');
    }
    return parts.join(u':').toUpper();
}

QString subnetPrefix(const QString &address)
{
    const qsizetype lastDot = address.lastIndexOf(u'.');
    return lastDot < 0 ? QString() : address.first(lastDot);
}

} // namespace lanterna
