#pragma once

#include <QByteArray>

#include <linux/netlink.h>

namespace lanterna
{

/// Lengthens bytes to a multiple of four.
inline QByteArray paddedBytes(QByteArray bytes)
{
    while (bytes.size() % 4 != 0)
        bytes += '\0';
    return bytes;
}

/// The bytes of a number or structure as they lie in memory.
template <typename Value> QByteArray rawBytes(const Value &value)
{
    return {reinterpret_cast<const char *>(&value), qsizetype(sizeof value)};
}

/// One attribute as the kernel writes it.
inline QByteArray attributeBytes(int type, const QByteArray &value)
{
    const nlattr header = {quint16(sizeof(nlattr) + size_t(value.size())), quint16(type)};
    return paddedBytes(rawBytes(header) + value);
}

/// An attribute that holds a number.
template <typename Number> QByteArray numberAttribute(int type, Number value)
{
    return attributeBytes(type, rawBytes(value));
}

/// An attribute that holds an IPv4 address.
inline QByteArray addressAttribute(int type, int a, int b, int c, int d)
{
    return attributeBytes(type, QByteArray{}.append(char(a)).append(char(b)).append(char(c)).append(char(d)));
}

/// A message with its fixed structure and attributes.
template <typename Header> QByteArray messageBytes(int type, const Header &header, const QByteArray &attributes = {}, int flags = NLM_F_MULTI)
{
    const QByteArray payload = paddedBytes(rawBytes(header)) + attributes;
    nlmsghdr envelope = {};
    envelope.nlmsg_len = quint32(sizeof envelope + size_t(payload.size()));
    envelope.nlmsg_type = quint16(type);
    envelope.nlmsg_flags = quint16(flags);
    return paddedBytes(rawBytes(envelope) + payload);
}

/// The message that ends a dump, with 0 or a negative error number.
inline QByteArray doneBytes(int code = 0, int flags = NLM_F_MULTI)
{
    return messageBytes(NLMSG_DONE, qint32(code), {}, flags);
}

/// The message that refuses a request, with a positive error number, or acknowledges it with 0.
inline QByteArray errorBytes(int number)
{
    return messageBytes(NLMSG_ERROR, qint32(-number), rawBytes(nlmsghdr{}), 0);
}

} // namespace lanterna
