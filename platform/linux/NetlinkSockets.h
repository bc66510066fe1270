#pragma once

#include "platform/linux/NetlinkTransport.h"

namespace lanterna
{

/// The real transport: a socket for each exchange, so that threads never see each other's answers. Blocks for well under a millisecond as a rule, and
/// for at most two seconds for a kernel that does not answer (error ETIMEDOUT).
class NetlinkSockets : public NetlinkTransport
{
public:
    [[nodiscard]] NetlinkAnswer exchange(NetlinkBus bus, const QByteArray &request) override;
};

} // namespace lanterna
