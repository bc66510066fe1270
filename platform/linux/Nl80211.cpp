#include "platform/linux/Nl80211.h"

#include "platform/linux/Netlink.h"

#include <algorithm>

#include <linux/genetlink.h>
#include <linux/nl80211.h>

namespace lanterna
{

namespace
{

/// IEEE 802.11-2020, table 9-92.
constexpr quint8 ssidElementId = 0;

/// The fixed structure of a generic message. The kernel looks at the version of its controller's messages only.
genlmsghdr command(quint8 number, quint8 version)
{
    return {number, version, 0};
}

/// The attributes of one generic message, when it carries this command.
std::optional<NetlinkAttributes> commandAttributes(const NetlinkMessage &message, quint8 number)
{
    const auto header = netlinkHeader<genlmsghdr>(message.payload);
    if (message.type < NLMSG_MIN_TYPE || !header || header->cmd != number)
        return std::nullopt;
    return NetlinkAttributes(afterNetlinkHeader<genlmsghdr>(message.payload));
}

} // namespace

QByteArray wirelessFamilyRequest()
{
    return NetlinkRequest(GENL_ID_CTRL, NLM_F_ACK).header(command(CTRL_CMD_GETFAMILY, 1)).attribute(CTRL_ATTR_FAMILY_NAME, NL80211_GENL_NAME).bytes();
}

std::optional<quint16> parseFamilyId(QByteArrayView bytes)
{
    for (const NetlinkMessage &message : netlinkMessages(bytes)) {
        if (const auto attributes = commandAttributes(message, CTRL_CMD_NEWFAMILY))
            return attributes->number<quint16>(CTRL_ATTR_FAMILY_ID);
    }
    return std::nullopt;
}

QByteArray wirelessInterfacesRequest(quint16 family)
{
    return NetlinkRequest(family, NLM_F_DUMP).header(command(NL80211_CMD_GET_INTERFACE, 0)).bytes();
}

QList<WirelessInterface> parseWirelessInterfaces(QByteArrayView bytes)
{
    QList<WirelessInterface> interfaces;
    for (const NetlinkMessage &message : netlinkMessages(bytes)) {
        const auto attributes = commandAttributes(message, NL80211_CMD_NEW_INTERFACE);
        if (!attributes)
            continue;
        // A device for peer-to-peer discovery has neither.
        const quint32 index = attributes->number<quint32>(NL80211_ATTR_IFINDEX).value_or(0);
        const QByteArray name = attributes->text(NL80211_ATTR_IFNAME);
        if (index == 0 || name.isEmpty())
            continue;
        const bool station = attributes->number<quint32>(NL80211_ATTR_IFTYPE) == quint32(NL80211_IFTYPE_STATION);
        interfaces.append({index, name, station, attributes->bytes(NL80211_ATTR_SSID).toByteArray()});
    }
    // Dumps begin with the newest; the built-in card, which came first, is the steadier choice.
    std::stable_sort(
        interfaces.begin(), interfaces.end(), [](const WirelessInterface &one, const WirelessInterface &other) { return one.index < other.index; });
    return interfaces;
}

QByteArray scanResultsRequest(quint16 family, unsigned interfaceIndex)
{
    return NetlinkRequest(family, NLM_F_DUMP).header(command(NL80211_CMD_GET_SCAN, 0)).attribute(NL80211_ATTR_IFINDEX, interfaceIndex).bytes();
}

std::optional<QByteArray> parseAssociatedSsid(QByteArrayView bytes)
{
    for (const NetlinkMessage &message : netlinkMessages(bytes)) {
        const auto attributes = commandAttributes(message, NL80211_CMD_NEW_SCAN_RESULTS);
        if (!attributes)
            continue;
        const NetlinkAttributes bss = attributes->nest(NL80211_ATTR_BSS);
        if (bss.number<quint32>(NL80211_BSS_STATUS) != quint32(NL80211_BSS_STATUS_ASSOCIATED))
            continue;
        // Not the elements of the beacon: those hold no name when the network is hidden.
        const auto ssid = ssidElement(bss.bytes(NL80211_BSS_INFORMATION_ELEMENTS));
        if (ssid && !ssid->isEmpty())
            return ssid;
    }
    return std::nullopt;
}

std::optional<QByteArray> ssidElement(QByteArrayView elements)
{
    // Each element is one byte of kind, one byte of length, and that many bytes.
    while (elements.size() >= 2) {
        const auto kind = quint8(elements[0]);
        const qsizetype length = quint8(elements[1]);
        if (length > elements.size() - 2)
            break;
        if (kind == ssidElementId)
            return elements.sliced(2, length).toByteArray();
        elements = elements.sliced(2 + length);
    }
    return std::nullopt;
}

} // namespace lanterna
