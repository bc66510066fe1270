#pragma once

#include <QByteArray>

namespace lanterna
{

/// The part of the kernel a request goes to.
enum class NetlinkBus { route, generic };

/// What came back for one request.
struct NetlinkAnswer {
    QByteArray bytes; ///< the datagrams of the answer laid end to end, each padded to four bytes
    int error = 0; ///< error number of the kernel or of the socket; 0 when the answer is whole
};

/// Carries requests to the kernel and brings answers back. Any thread.
class NetlinkTransport
{
public:
    virtual ~NetlinkTransport() = default;

    /// Sends one request and waits for the end of its answer. The request ends either with a dump or with an acknowledgement (NLM_F_DUMP, NLM_F_ACK).
    [[nodiscard]] virtual NetlinkAnswer exchange(NetlinkBus bus, const QByteArray &request) = 0;
};

/// Asks over the transport, and asks again when the table changed during a dump. On a machine where it never holds still the last answer stands:
/// a table with a hole is better than none, and the change that made it is announced to whoever listens.
NetlinkAnswer askKernel(NetlinkTransport &transport, NetlinkBus bus, const QByteArray &request);

} // namespace lanterna
