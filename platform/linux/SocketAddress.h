#pragma once

#include <QString>

#include <optional>

#include <netinet/in.h>

namespace lanterna
{

/// The address structure for a dotted IPv4 address; none for any other text.
std::optional<sockaddr_in> socketAddress(const QString &address, quint16 port);

} // namespace lanterna
