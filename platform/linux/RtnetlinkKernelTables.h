#pragma once

#include "platform/KernelTables.h"
#include "platform/linux/NetlinkSockets.h"

#include <memory>
#include <mutex>

namespace lanterna
{

class NeighbourKeeper;

/// The kernel's tables over rtnetlink. Any thread; every call asks anew and takes about a millisecond. Needs no privilege and starts no process.
/// While neighbours are kept, one thread follows the kernel's messages about them.
class RtnetlinkKernelTables : public KernelTables
{
public:
    explicit RtnetlinkKernelTables(std::shared_ptr<NetlinkTransport> transport = std::make_shared<NetlinkSockets>());

    [[nodiscard]] QString routingTableText() const override;
    [[nodiscard]] QString neighbourTableText() const override;
    [[nodiscard]] std::shared_ptr<void> keepNeighbours() const override;
    [[nodiscard]] QList<InterfaceAddress> interfaceAddresses() const override;

private:
    [[nodiscard]] std::shared_ptr<NeighbourKeeper> presentKeeper() const;

    std::shared_ptr<NetlinkTransport> m_transport;
    mutable std::mutex m_keeperMutex;
    mutable std::weak_ptr<NeighbourKeeper> m_keeper; ///< the handles own it
};

} // namespace lanterna
