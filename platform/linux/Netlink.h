#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>

#include <array>
#include <cstring>
#include <map>
#include <optional>

namespace lanterna
{

// Netlink messages as bytes: building requests, walking answers. Pure functions and values, for any thread. Nothing here trusts a length: a message
// or attribute that is cut short or lies about its size ends the walk, and what came before it still counts.

/// One message of an answer. The payload is a view into the bytes that were walked.
struct NetlinkMessage {
    quint16 type = 0;
    quint16 flags = 0;
    QByteArrayView payload;
};

/// The messages of one or more datagrams laid end to end, each padded to four bytes.
QList<NetlinkMessage> netlinkMessages(QByteArrayView bytes);

/// Whether an answer has ended: it holds the end of a dump, an acknowledgement or an error.
bool answerComplete(QByteArrayView bytes);
/// The error number with which the kernel ended an answer (ENOENT, EPERM, ...); 0 for none.
int answerError(QByteArrayView bytes);
/// Whether the table changed while it was dumped, so that entries may be missing or doubled.
bool answerInterrupted(QByteArrayView bytes);

/// The fixed structure at the beginning of a payload; none when the payload is shorter.
template <typename Header> std::optional<Header> netlinkHeader(QByteArrayView payload)
{
    if (payload.size() < qsizetype(sizeof(Header)))
        return std::nullopt;
    Header header;
    std::memcpy(&header, payload.data(), sizeof(Header));
    return header;
}

/// What follows a fixed structure, which is padded to four bytes; empty when nothing does.
template <typename Header> QByteArrayView afterNetlinkHeader(QByteArrayView payload)
{
    constexpr qsizetype padded = (qsizetype(sizeof(Header)) + 3) & ~qsizetype(3);
    return payload.size() > padded ? payload.sliced(padded) : QByteArrayView();
}

/// The attributes of a message or of a nest, by type. Of a repeated type the last one counts, as in the kernel's own parser.
class NetlinkAttributes
{
public:
    explicit NetlinkAttributes(QByteArrayView bytes);

    /// Whether the attribute is there, if only with an empty value.
    [[nodiscard]] bool contains(int type) const { return m_values.contains(type); }
    /// The attribute's value; empty when it is missing.
    [[nodiscard]] QByteArrayView bytes(int type) const;
    /// A text value up to its first zero byte; empty when it is missing.
    [[nodiscard]] QByteArray text(int type) const;
    /// A number in the machine's byte order; none when the attribute is missing or shorter than the number.
    template <typename Number> [[nodiscard]] std::optional<Number> number(int type) const { return netlinkHeader<Number>(bytes(type)); }
    /// An IPv4 address in host order; none when the attribute is missing or not four bytes long.
    [[nodiscard]] std::optional<quint32> ipv4Address(int type) const;
    /// The attributes inside this one.
    [[nodiscard]] NetlinkAttributes nest(int type) const { return NetlinkAttributes(bytes(type)); }

private:
    std::map<int, QByteArrayView> m_values;
};

/// Builds one request. Requests are small: a fixed structure and at most a handful of short attributes.
class NetlinkRequest
{
public:
    /// `flags` come on top of NLM_F_REQUEST.
    NetlinkRequest(quint16 type, quint16 flags);

    /// Appends the fixed structure of the message type; called once, before any attribute.
    template <typename Header> NetlinkRequest &header(const Header &header) { return append(&header, sizeof(Header)); }
    NetlinkRequest &attribute(quint16 type, quint32 value);
    /// A text attribute, sent with its closing zero byte.
    NetlinkRequest &attribute(quint16 type, const char *text);
    /// The finished message; sequence number and port id are 0.
    [[nodiscard]] QByteArray bytes() const;

private:
    NetlinkRequest &append(const void *header, size_t size);

    alignas(8) std::array<char, 256> m_buffer = {};
};

} // namespace lanterna
