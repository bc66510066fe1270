#pragma once

#include <QByteArray>

namespace lanterna
{

/// An ICMP echo request without data (RFC 792): type 8, code 0, checksum, the identifier, sequence number 1. Eight bytes.
QByteArray echoRequest(quint16 identifier);

/// The Internet checksum (RFC 1071) of the bytes: the complement of their sum as 16-bit numbers in network order.
quint16 internetChecksum(QByteArrayView bytes);

} // namespace lanterna
