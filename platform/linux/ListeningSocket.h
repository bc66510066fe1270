#pragma once

#include "platform/linux/Descriptor.h"

#include <QtGlobal>

namespace lanterna
{

/// A TCP socket that listens on a port of the system's choice, on all interfaces, over IPv6 and IPv4, or IPv4 alone where there is no IPv6. None,
/// with the reason in errno, when the system refuses. Neither it nor what it accepts blocks. What it accepts buffers little in the system, so that clients
/// that do not read cost little memory.
Descriptor listeningSocket();

/// The port of a bound socket; 0 when it has none.
quint16 portOf(const Descriptor &socket);

/// What became of an attempt to accept a connection.
enum class Acceptance {
    accepted,
    nobody, ///< no client waits
    clientLost, ///< this client's trouble; the next one may be there already
    mustPause, ///< the system lacks descriptors or memory, or has a trouble of its own
    broken, ///< the socket will never accept again
};

/// Accepts one connection; its descriptor, and what became of it. With `broken` errno says why.
struct Accepted {
    Descriptor socket;
    Acceptance acceptance;
};
Accepted acceptFrom(const Descriptor &socket);

} // namespace lanterna
