#pragma once

#include "cli/PeerPayload.h"

#include <QDateTime>
#include <QList>

namespace lanterna
{

/// A sensor of the network, and what it handed over.
struct Peer {
    QString name; ///< of its service; may hold anything
    QString hostName; ///< "lighthouse.local."; empty when not known
    QString address; ///< dotted; empty when not known
    quint16 port = 0;
    PeerState state = PeerState::notFound;
    QString network; ///< under which its snapshot is filed
    qsizetype devices = 0; ///< in its snapshot
    double dateEpoch = 0; ///< when its snapshot was taken, in seconds since 1970 UTC; 0 when not known
    QVariantMap snapshot; ///< kept only where it is going to be printed
};

/// Notes what stands in a snapshot.
void describe(Peer &peer, const QVariantMap &snapshot);

/// What is wrong with a peer, in a few words; empty for one that has handed over its snapshot.
QString peerProblem(PeerState state);

/// How long ago a snapshot was taken: "12 s", "4 min", "3 h", "5 d"; "clock ahead" for one from a minute or more in the future, "no date" if none.
QString snapshotAge(double dateEpoch, const QDateTime &now);

/// The peers as a table for people: name, address, network, devices, and the age or what is wrong, with a last line that counts them. `columns` is
/// the terminal's width: names, then networks are cut to fit; 0 stands for no terminal, where nothing is cut. Nothing in a peer's texts can command a
/// terminal, see `harmless`.
QString peersTable(const QList<Peer> &peers, const QDateTime &now, int columns);

/// The peers for programs: [{"name", "host", "address", "port", "problem", "snapshot"}] on one line. What is not known is null; "problem" is null for
/// a peer whose snapshot is there.
QString peersJson(const QList<Peer> &peers);

} // namespace lanterna
