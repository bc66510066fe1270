#pragma once

#include "platform/KernelTables.h"

#include <optional>

struct ifaddrs;

namespace lanterna
{

/// One entry of the system's interface list; none when it holds no IPv4 address.
std::optional<InterfaceAddress> interfaceAddress(const ifaddrs &entry);

/// The IPv4 addresses of all interfaces, in the kernel's order; none when the list cannot be read. Any thread.
std::optional<QList<InterfaceAddress>> readInterfaceAddresses();

} // namespace lanterna
