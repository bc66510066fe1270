#include "cli/PeersReport.h"

#include "cli/TextWidth.h"
#include "platform/Json.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace lanterna
{

namespace
{

enum Column { name, address, network, devices, state, columnCount };

constexpr int gap = 2;
constexpr int narrowest = 8; // narrower, a name says nothing any more
constexpr qsizetype longestText = 256; // of a text in the table; nobody reads more, and a peer may send megabytes

using Cells = std::array<QString, columnCount>;
using Widths = std::array<int, columnCount>;

QString cell(const QString &text)
{
    return text.isEmpty() ? QStringLiteral("-") : harmless(text.left(longestText));
}

Cells cellsOf(const Peer &peer, const QDateTime &now)
{
    const bool hasSnapshot = peer.state == PeerState::snapshot;
    const QString where = peer.address.isEmpty() ? QString() : QStringLiteral("%1:%2").arg(peer.address).arg(peer.port);
    return {cell(peer.name), cell(where), cell(peer.network), hasSnapshot ? QString::number(peer.devices) : QStringLiteral("-"),
        hasSnapshot ? snapshotAge(peer.dateEpoch, now) : peerProblem(peer.state)};
}

Widths fittingWidths(Widths widths, int columns)
{
    int surplus = std::accumulate(widths.begin(), widths.end(), gap * (columnCount - 1)) - columns;
    for (; surplus > 0; --surplus) {
        int &wider = widths[name] >= widths[network] ? widths[name] : widths[network];
        if (wider <= narrowest)
            break;
        --wider;
    }
    return widths;
}

QString line(const Cells &cells, const Widths &widths)
{
    QString text;
    for (size_t column = 0; column < columnCount; ++column)
        text += padded(elided(cells.at(column), widths.at(column)), widths.at(column) + gap);
    while (text.endsWith(u' '))
        text.chop(1);
    return text;
}

QString counted(const QList<Peer> &peers)
{
    const auto having = std::count_if(peers.cbegin(), peers.cend(), [](const Peer &peer) { return peer.state == PeerState::snapshot; });
    const QString count = peers.size() == 1 ? QStringLiteral("1 sensor") : QStringLiteral("%1 sensors").arg(peers.size());
    return count + QStringLiteral(", %1 with a snapshot").arg(having);
}

QVariant textOrNull(const QString &text)
{
    return text.isEmpty() ? QVariant() : QVariant(text);
}

} // namespace

void describe(Peer &peer, const QVariantMap &snapshot)
{
    peer.network = snapshot.value(QStringLiteral("ssid")).toString().left(longestText);
    peer.devices = deviceCount(snapshot);
    const QVariant date = snapshot.value(QStringLiteral("dateEpoch"));
    const bool isNumber = date.typeId() == QMetaType::Double || date.typeId() == QMetaType::LongLong || date.typeId() == QMetaType::ULongLong;
    peer.dateEpoch = isNumber ? date.toDouble() : 0;
}

QString peerProblem(PeerState state)
{
    switch (state) {
    case PeerState::snapshot:
        return {};
    case PeerState::none:
        return QStringLiteral("withheld or none");
    case PeerState::notFound:
        return QStringLiteral("no address");
    case PeerState::noConnection:
        return QStringLiteral("no connection");
    case PeerState::silent:
        return QStringLiteral("no answer in 10 s");
    case PeerState::slow:
        return QStringLiteral("no end in 10 s");
    case PeerState::tooLong:
        return QStringLiteral("over 64 MiB");
    case PeerState::crowded:
        return QStringLiteral("too much for all");
    case PeerState::cutShort:
        return QStringLiteral("cut short");
    case PeerState::noJson:
        return QStringLiteral("no JSON");
    case PeerState::noSnapshot:
        return QStringLiteral("no snapshot");
    }
    return {};
}

QString snapshotAge(double dateEpoch, const QDateTime &now)
{
    constexpr double minute = 60;
    constexpr double hour = 60 * minute;
    constexpr double day = 24 * hour;
    constexpr double longest = 100000 * day; // older ones are from before there were any
    const double age = static_cast<double>(now.toMSecsSinceEpoch()) / 1000 - dateEpoch;
    if (!(dateEpoch > 0) || age > longest) // not a number is neither
        return QStringLiteral("no date");
    if (age <= -minute)
        return QStringLiteral("clock ahead");
    if (age < minute)
        return QStringLiteral("%1 s").arg(std::max(0, static_cast<int>(age)));
    if (age < hour)
        return QStringLiteral("%1 min").arg(static_cast<int>(age / minute));
    return age < day ? QStringLiteral("%1 h").arg(static_cast<int>(age / hour)) : QStringLiteral("%1 d").arg(static_cast<int>(age / day));
}

QString peersTable(const QList<Peer> &peers, const QDateTime &now, int columns)
{
    QList<Cells> rows = {
        {QStringLiteral("NAME"), QStringLiteral("ADDRESS"), QStringLiteral("NETWORK"), QStringLiteral("DEVICES"), QStringLiteral("AGE")}};
    for (const Peer &peer : peers)
        rows.append(cellsOf(peer, now));
    Widths widths{};
    for (const Cells &row : rows) {
        for (size_t column = 0; column < columnCount; ++column)
            widths.at(column) = std::max(widths.at(column), columnsOf(row.at(column)));
    }
    if (columns > 0)
        widths = fittingWidths(widths, columns);
    const auto finished = [&](const QString &text) { return (columns > 0 ? elided(text, columns) : text) + u'\n'; };
    QString table;
    for (const Cells &row : rows)
        table += finished(line(row, widths));
    return table + u'\n' + finished(counted(peers));
}

QString peersJson(const QList<Peer> &peers)
{
    QVariantList list;
    for (const Peer &peer : peers) {
        const bool hasSnapshot = peer.state == PeerState::snapshot;
        list.append(QVariantMap{{QStringLiteral("name"), peer.name}, {QStringLiteral("host"), textOrNull(peer.hostName)},
            {QStringLiteral("address"), textOrNull(peer.address)},
            {QStringLiteral("port"), peer.port > 0 ? QVariant(qlonglong{peer.port}) : QVariant()},
            {QStringLiteral("problem"), textOrNull(peerProblem(peer.state))},
            {QStringLiteral("snapshot"), hasSnapshot ? QVariant(peer.snapshot) : QVariant()}});
    }
    return QString::fromUtf8(compactJson(list)) + u'\n';
}

} // namespace lanterna
