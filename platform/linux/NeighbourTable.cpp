#include "platform/linux/NeighbourTable.h"

#include "platform/linux/Netlink.h"
#include "platform/linux/RouteTable.h"

#include <algorithm>
#include <tuple>

#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>

namespace lanterna
{

namespace
{

constexpr quint32 everyone = 0xffffffff; // 255.255.255.255

/// Group and broadcast addresses are resolved by rule, not by asking.
bool isSingleHost(quint32 address)
{
    const bool group = address >> 28 == 0xe; // 224.0.0.0/4, RFC 5771
    return address != 0 && address != everyone && !group;
}

/// Whether the kernel has, or had, to ask for this neighbour's hardware address.
bool needsResolution(const Neighbour &neighbour)
{
    return neighbour.state != NUD_NONE && !(neighbour.state & NUD_NOARP);
}

} // namespace

QByteArray neighbourDumpRequest()
{
    ndmsg header = {};
    header.ndm_family = AF_INET;
    return NetlinkRequest(RTM_GETNEIGH, NLM_F_DUMP).header(header).bytes();
}

std::optional<Neighbour> parseNeighbour(QByteArrayView payload)
{
    // NTF_PROXY marks addresses for which this machine answers in place of another.
    const auto header = netlinkHeader<ndmsg>(payload);
    if (!header || header->ndm_family != AF_INET || header->ndm_ifindex <= 0 || (header->ndm_flags & NTF_PROXY))
        return std::nullopt;
    const NetlinkAttributes attributes(afterNetlinkHeader<ndmsg>(payload));
    const auto address = attributes.ipv4Address(NDA_DST);
    if (!address || !isSingleHost(*address))
        return std::nullopt;

    Neighbour neighbour = {unsigned(header->ndm_ifindex), *address, {}, header->ndm_state};
    // An address left over from before the failure would pass for an answer.
    if (!(header->ndm_state & (NUD_INCOMPLETE | NUD_FAILED)))
        neighbour.hardwareAddress = attributes.bytes(NDA_LLADDR).toByteArray();
    return neighbour;
}

QList<Neighbour> parseNeighbours(QByteArrayView bytes)
{
    QList<Neighbour> neighbours;
    for (const NetlinkMessage &message : netlinkMessages(bytes)) {
        if (message.type != RTM_NEWNEIGH)
            continue;
        const auto neighbour = parseNeighbour(message.payload);
        if (neighbour && needsResolution(*neighbour))
            neighbours.append(*neighbour);
    }
    // The kernel lists them in the order of a hash table, which differs from boot to boot.
    std::stable_sort(neighbours.begin(), neighbours.end(), [](const Neighbour &one, const Neighbour &other) {
        return std::tie(one.interfaceIndex, one.address) < std::tie(other.interfaceIndex, other.address);
    });
    return neighbours;
}

QList<Neighbour> withInterfaceLast(QList<Neighbour> neighbours, unsigned interfaceIndex)
{
    std::stable_partition(
        neighbours.begin(), neighbours.end(), [interfaceIndex](const Neighbour &neighbour) { return neighbour.interfaceIndex != interfaceIndex; });
    return neighbours;
}

QString renderNeighbourTable(const QList<Neighbour> &neighbours, const LinkTable &links)
{
    QString text = QStringLiteral(""); // null stands for a table that cannot be read
    for (const Neighbour &neighbour : neighbours) {
        const auto link = links.find(neighbour.interfaceIndex);
        if (link == links.end() || (link->second.flags & IFF_LOOPBACK))
            continue;
        const QString hardwareAddress =
            neighbour.hardwareAddress.isEmpty() ? QStringLiteral("(incomplete)") : QString::fromLatin1(neighbour.hardwareAddress.toHex(':'));
        text += QStringLiteral("? (") + dottedAddress(neighbour.address) + QStringLiteral(") at ") + hardwareAddress + QStringLiteral(" on ")
            + link->second.displayName() + u'\n';
    }
    return text;
}

} // namespace lanterna
