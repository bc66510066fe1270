#pragma once

#include "platform/KernelTables.h"
#include "platform/linux/NetlinkSockets.h"

#include <memory>

namespace lanterna
{

/// The kernel's tables over rtnetlink. Any thread; every call asks anew and takes about a millisecond. Needs no privilege and starts no process.
class RtnetlinkKernelTables : public KernelTables
{
public:
    explicit RtnetlinkKernelTables(std::shared_ptr<NetlinkTransport> transport = std::make_shared<NetlinkSockets>());

    [[nodiscard]] QString routingTableText() const override;
    [[nodiscard]] QString neighbourTableText() const override;
    [[nodiscard]] QList<InterfaceAddress> interfaceAddresses() const override;

private:
    std::shared_ptr<NetlinkTransport> m_transport;
};

} // namespace lanterna
