#pragma once

#include "platform/linux/LinkTable.h"

#include <QList>

#include <optional>

namespace lanterna
{

/// One IPv4 neighbour, resolved or being resolved.
struct Neighbour {
    unsigned interfaceIndex = 0;
    quint32 address = 0; ///< host order
    QByteArray hardwareAddress; ///< raw bytes, six as a rule; empty while unresolved
    quint16 state = 0; ///< NUD_REACHABLE, NUD_STALE, NUD_FAILED, ...

    bool operator==(const Neighbour &) const = default;
};

/// The request for all IPv4 neighbours.
QByteArray neighbourDumpRequest();

/// The neighbour in the payload of one message about it, whatever its state; none where it is no single host, or an address for which this machine
/// itself answers.
std::optional<Neighbour> parseNeighbour(QByteArrayView payload);

/// The neighbours in an answer, by interface index, then by address. Left out is what is no neighbour: entries that need no resolution (NOARP),
/// group and broadcast addresses, addresses for which this machine itself answers.
QList<Neighbour> parseNeighbours(QByteArrayView bytes);

/// The same neighbours with those of one interface behind all others. Readers let the last line of an address win.
QList<Neighbour> withInterfaceLast(QList<Neighbour> neighbours, unsigned interfaceIndex);

/// The table as text, one line per neighbour: "? (192.168.1.20) at 00:11:32:00:77:14 on eth0", or "(incomplete)" in the place of the hardware
/// address. Neighbours on a loopback interface, or on one that is not in `links`, are left out.
QString renderNeighbourTable(const QList<Neighbour> &neighbours, const LinkTable &links);

} // namespace lanterna
