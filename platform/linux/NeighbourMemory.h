#pragma once

#include "platform/linux/NeighbourTable.h"

#include <map>

namespace lanterna
{

/// Remembers neighbours that were resolved, beyond the moment at which the kernel drops them for their age. A value; fed with the bytes of rtnetlink
/// messages, it knows nothing of sockets or threads.
///
/// The kernel's words for what happens, as Debian's says them:
/// - dropped for its age: RTM_DELNEIGH with the good state it had (stale, as a rule) and the hardware address. This one stays;
/// - no answer: RTM_NEWNEIGH "failed", without a hardware address, and later RTM_DELNEIGH "failed". Out;
/// - removed by an administrator (one, or a flush): the same two, at once. Out;
/// - interface down, without carrier, or gone: RTM_DELNEIGH in good states before or after the interface's own message. Out, by the latter;
/// - last address of an interface removed: RTM_DELNEIGH in good states; the address has its message too. Out, by the latter.
///
/// What is dropped is stamped with the time of that, a number of the caller's that never falls and begins at 1.
class NeighbourMemory
{
public:
    using Stamp = quint64;

    /// No more rows than this are remembered, 6 MB or so: a whole /16. Those that come later are left to the kernel.
    static constexpr size_t mostRows = 65'536;

    /// Takes messages about neighbours, interfaces and addresses, in the order in which they came.
    void feed(QByteArrayView bytes, Stamp now);

    /// Takes the whole of the kernel's table, an answer to a dump. What it does not mention stays known, as dropped at this time if not before.
    void feedTable(QByteArrayView bytes, Stamp now);

    /// Forgets what was dropped before that time.
    void forgetDroppedBefore(Stamp time);

    /// The kernel's table with what it has dropped, by interface index, then by address. The kernel's row counts where it has one, but for an address
    /// that was dropped and is being asked for again: until that fails it is known.
    [[nodiscard]] QList<Neighbour> merge(const QList<Neighbour> &table) const;

private:
    using Key = std::pair<unsigned, quint32>; // interface index, address

    struct Row {
        Neighbour neighbour;
        Stamp dropped = 0; ///< 0 while the kernel holds it
    };

    void takeNeighbour(bool present, QByteArrayView payload, Stamp now);
    void takeLink(bool gone, QByteArrayView payload);
    void takeLostAddress(QByteArrayView payload);

    std::map<Key, Row> m_resolved;
};

} // namespace lanterna
