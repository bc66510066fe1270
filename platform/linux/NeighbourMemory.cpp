#include "platform/linux/NeighbourMemory.h"

#include "platform/linux/Netlink.h"

#include <linux/if.h>
#include <linux/if_addr.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>

namespace lanterna
{

namespace
{

constexpr quint16 resolvedStates = NUD_REACHABLE | NUD_STALE | NUD_DELAY | NUD_PROBE | NUD_PERMANENT;

bool isResolved(const Neighbour &neighbour)
{
    return (neighbour.state & resolvedStates) && !neighbour.hardwareAddress.isEmpty();
}

} // namespace

void NeighbourMemory::feed(QByteArrayView bytes, Stamp now)
{
    for (const NetlinkMessage &message : netlinkMessages(bytes)) {
        if (message.type == RTM_NEWNEIGH || message.type == RTM_DELNEIGH)
            takeNeighbour(message.type == RTM_NEWNEIGH, message.payload, now);
        else if (message.type == RTM_NEWLINK || message.type == RTM_DELLINK)
            takeLink(message.type == RTM_DELLINK, message.payload);
        else if (message.type == RTM_DELADDR)
            takeLostAddress(message.payload);
    }
}

void NeighbourMemory::feedTable(QByteArrayView bytes, Stamp now)
{
    for (auto &[key, row] : m_resolved) {
        if (row.dropped == 0)
            row.dropped = now; // until the table says otherwise
    }
    feed(bytes, now);
}

void NeighbourMemory::forgetDroppedBefore(Stamp time)
{
    std::erase_if(m_resolved, [time](const auto &row) { return row.second.dropped != 0 && row.second.dropped < time; });
}

QList<Neighbour> NeighbourMemory::merge(const QList<Neighbour> &table) const
{
    std::map<Key, Neighbour> rows;
    for (const auto &[key, row] : m_resolved)
        rows.emplace_hint(rows.end(), key, row.neighbour);
    for (const Neighbour &neighbour : table) {
        const Key key(neighbour.interfaceIndex, neighbour.address);
        if (!(neighbour.state & NUD_INCOMPLETE) || !rows.contains(key))
            rows[key] = neighbour;
    }
    QList<Neighbour> merged;
    for (const auto &row : rows)
        merged.append(row.second);
    return merged;
}

void NeighbourMemory::takeNeighbour(bool present, QByteArrayView payload, Stamp now)
{
    const auto neighbour = parseNeighbour(payload);
    if (!neighbour)
        return;
    const Key key(neighbour->interfaceIndex, neighbour->address);
    if (!isResolved(*neighbour)) {
        // While the kernel asks nothing is decided; one that is deleted while it asks had no answer.
        if (!present || !(neighbour->state & NUD_INCOMPLETE))
            m_resolved.erase(key);
        return;
    }
    const auto known = m_resolved.find(key);
    if (known != m_resolved.end())
        known->second = {*neighbour, present ? 0 : now};
    else if (present && m_resolved.size() < mostRows) // a deletion makes nothing known: it may follow the message that took the whole interface away
        m_resolved.emplace(key, Row{*neighbour});
}

void NeighbourMemory::takeLink(bool gone, QByteArrayView payload)
{
    // Bridges speak of their ports in the same messages, with a family of their own: a port that leaves a bridge is no interface that leaves.
    const auto header = netlinkHeader<ifinfomsg>(payload);
    if (!header || header->ifi_family != AF_UNSPEC)
        return;
    // Without the lower layer (switched off, or no carrier) the kernel empties the interface's table.
    if (gone || !(header->ifi_flags & IFF_LOWER_UP))
        std::erase_if(m_resolved, [index = unsigned(header->ifi_index)](const auto &row) { return row.first.first == index; });
}

void NeighbourMemory::takeLostAddress(QByteArrayView payload)
{
    const auto header = netlinkHeader<ifaddrmsg>(payload);
    if (!header || header->ifa_family != AF_INET || header->ifa_prefixlen > 32)
        return;
    const auto network = NetlinkAttributes(afterNetlinkHeader<ifaddrmsg>(payload)).ipv4Address(IFA_ADDRESS);
    if (!network)
        return;
    const int hostBits = 32 - header->ifa_prefixlen;
    std::erase_if(m_resolved, [&](const auto &row) {
        const auto &[index, address] = row.first;
        return index == header->ifa_index && quint64(address) >> hostBits == quint64(*network) >> hostBits;
    });
}

} // namespace lanterna
