#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>

#include <optional>

namespace lanterna
{

// Multicast DNS (RFC 6762) as far as one question needs it: what is the host with this address called? Pure functions and values, for any thread.

/// One answer: what the owner, a name under in-addr.arpa, points at.
struct PointerRecord {
    QByteArray owner; // in small letters, without the trailing dot
    QString name; // as `hostName` gives it; records whose name it refuses are left out
};

/// What counts of a reply.
struct MulticastReply {
    quint16 id = 0;
    QList<QByteArray> questions; // names that were asked, each like an owner; replies need not repeat them
    QList<PointerRecord> pointers;

    /// The first name that the reply gives the owner; empty when it has none, or repeats another question than the owner's, or another id.
    [[nodiscard]] QString nameFor(const QByteArray &owner, quint16 expectedId) const;
};

/// The name under which an address is looked up, "20.1.168.192.in-addr.arpa" for 192.168.1.20, which is given in host order.
[[nodiscard]] QByteArray reverseName(quint32 address);

/// The datagram that asks for the names of addresses, with the wish for direct answers (RFC 6762, 5.4).
[[nodiscard]] QByteArray multicastQuestion(const QList<quint32> &addresses, quint16 id);

/// Reads a reply. Strict: none for anything that is no complete, well-formed, positive reply: cut short, counts that promise more than there is,
/// labels of a kind that is not in use, names of more than 255 bytes, compression that points anywhere but backwards. What follows the answers is
/// not read. Takes time in proportion to the reply's size.
[[nodiscard]] std::optional<MulticastReply> parseMulticastReply(QByteArrayView bytes);

} // namespace lanterna
