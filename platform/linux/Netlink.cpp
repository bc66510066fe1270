#include "platform/linux/Netlink.h"

#include <QtEndian>

#include <libmnl/libmnl.h>
#include <linux/netlink.h>

namespace lanterna
{

namespace
{

/// The step from one message or attribute to the next.
qsizetype padded(qsizetype length)
{
    return (length + 3) & ~qsizetype(3);
}

} // namespace

QList<NetlinkMessage> netlinkMessages(QByteArrayView bytes)
{
    QList<NetlinkMessage> messages;
    while (const auto header = netlinkHeader<nlmsghdr>(bytes)) {
        const qsizetype length = header->nlmsg_len;
        const auto headerLength = qsizetype(sizeof(nlmsghdr));
        if (length < headerLength || length > bytes.size())
            break;
        messages.append({header->nlmsg_type, header->nlmsg_flags, bytes.sliced(headerLength, length - headerLength)});
        bytes = bytes.sliced(qMin(padded(length), bytes.size()));
    }
    return messages;
}

bool answerComplete(QByteArrayView bytes)
{
    for (const NetlinkMessage &message : netlinkMessages(bytes)) {
        if (message.type == NLMSG_DONE || message.type == NLMSG_ERROR)
            return true;
    }
    return false;
}

int answerError(QByteArrayView bytes)
{
    for (const NetlinkMessage &message : netlinkMessages(bytes)) {
        // A dump that fails half-way says so in its closing message.
        if (message.type != NLMSG_DONE && message.type != NLMSG_ERROR)
            continue;
        const int code = netlinkHeader<qint32>(message.payload).value_or(0);
        if (code < 0 && code >= -4095) // the kernel's range of error numbers
            return -code;
    }
    return 0;
}

bool answerInterrupted(QByteArrayView bytes)
{
    for (const NetlinkMessage &message : netlinkMessages(bytes)) {
        if (message.flags & NLM_F_DUMP_INTR)
            return true;
    }
    return false;
}

NetlinkAttributes::NetlinkAttributes(QByteArrayView bytes)
{
    // The two top bits of the type say how the value is coded, not what it is.
    while (const auto header = netlinkHeader<nlattr>(bytes)) {
        const qsizetype length = header->nla_len;
        const auto headerLength = qsizetype(sizeof(nlattr));
        if (length < headerLength || length > bytes.size())
            break;
        m_values[header->nla_type & NLA_TYPE_MASK] = bytes.sliced(headerLength, length - headerLength);
        bytes = bytes.sliced(qMin(padded(length), bytes.size()));
    }
}

QByteArrayView NetlinkAttributes::bytes(int type) const
{
    const auto found = m_values.find(type);
    return found == m_values.end() ? QByteArrayView() : found->second;
}

QByteArray NetlinkAttributes::text(int type) const
{
    const QByteArrayView value = bytes(type);
    const qsizetype end = value.indexOf('\0');
    return value.first(end < 0 ? value.size() : end).toByteArray();
}

std::optional<quint32> NetlinkAttributes::ipv4Address(int type) const
{
    const QByteArrayView value = bytes(type);
    if (value.size() != 4)
        return std::nullopt;
    return qFromBigEndian<quint32>(value.data());
}

NetlinkRequest::NetlinkRequest(quint16 type, quint16 flags)
{
    nlmsghdr *header = mnl_nlmsg_put_header(m_buffer.data());
    header->nlmsg_type = type;
    header->nlmsg_flags = quint16(NLM_F_REQUEST | flags);
}

NetlinkRequest &NetlinkRequest::append(const void *header, size_t size)
{
    std::memcpy(mnl_nlmsg_put_extra_header(reinterpret_cast<nlmsghdr *>(m_buffer.data()), size), header, size);
    return *this;
}

NetlinkRequest &NetlinkRequest::attribute(quint16 type, quint32 value)
{
    mnl_attr_put_u32_check(reinterpret_cast<nlmsghdr *>(m_buffer.data()), m_buffer.size(), type, value);
    return *this;
}

NetlinkRequest &NetlinkRequest::attribute(quint16 type, const char *text)
{
    mnl_attr_put_strz_check(reinterpret_cast<nlmsghdr *>(m_buffer.data()), m_buffer.size(), type, text);
    return *this;
}

QByteArray NetlinkRequest::bytes() const
{
    return {m_buffer.data(), qsizetype(netlinkHeader<nlmsghdr>(m_buffer)->nlmsg_len)};
}

} // namespace lanterna
