#include "platform/linux/LinkTable.h"

#include "platform/linux/Netlink.h"

#include <linux/if_link.h>
#include <linux/rtnetlink.h>

namespace lanterna
{

QByteArray linkDumpRequest()
{
    // Without the counters of each interface the answer is a third shorter.
    return NetlinkRequest(RTM_GETLINK, NLM_F_DUMP).header(ifinfomsg{}).attribute(IFLA_EXT_MASK, quint32(RTEXT_FILTER_SKIP_STATS)).bytes();
}

QByteArray linkRequest(unsigned index)
{
    ifinfomsg header = {};
    header.ifi_index = int(index);
    return NetlinkRequest(RTM_GETLINK, NLM_F_ACK).header(header).bytes();
}

LinkTable parseLinks(QByteArrayView bytes)
{
    LinkTable links;
    for (const NetlinkMessage &message : netlinkMessages(bytes)) {
        const auto header = netlinkHeader<ifinfomsg>(message.payload);
        if (message.type != RTM_NEWLINK || !header || header->ifi_index <= 0)
            continue;
        const NetlinkAttributes attributes(afterNetlinkHeader<ifinfomsg>(message.payload));
        const auto index = unsigned(header->ifi_index);
        links[index] = {index, attributes.text(IFLA_IFNAME), header->ifi_flags};
    }
    return links;
}

} // namespace lanterna
