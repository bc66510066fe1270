#pragma once

#include "platform/linux/Descriptor.h"
#include "platform/linux/NeighbourMemory.h"
#include "platform/linux/NetlinkTransport.h"

#include <memory>
#include <mutex>
#include <set>
#include <stop_token>
#include <thread>

namespace lanterna
{

/// A `NeighbourMemory` that follows the kernel's messages on a thread of its own while it lives. Begins with the table as it is. Any thread.
///
/// What the kernel dropped counts from the beginning of the oldest handle that lives. Without any, nothing dropped does.
class NeighbourKeeper : public std::enable_shared_from_this<NeighbourKeeper>
{
public:
    /// What the kernel may queue for us while the thread has no turn. A message counts as about 1 kB, and a whole table that is dropped at once as
    /// about a thousand of them.
    static constexpr int usualReceiveBytes = 4 * 1024 * 1024;

    /// None when the system refuses the subscription, or a thread.
    static std::shared_ptr<NeighbourKeeper> begin(std::shared_ptr<NetlinkTransport> transport, int receiveBytes = usualReceiveBytes);
    /// With a subscription that is there already: a socket that gives the kernel's messages.
    static std::shared_ptr<NeighbourKeeper> begin(std::shared_ptr<NetlinkTransport> transport, Descriptor subscription);

    /// From now on and until it is dropped, what the kernel drops is kept. The keeper lives as long.
    [[nodiscard]] std::shared_ptr<void> handle();

    /// A table that the kernel gave just now, with what it had dropped before.
    [[nodiscard]] QList<Neighbour> merge(const QList<Neighbour> &table);

private:
    class Handle;

    NeighbourKeeper(std::shared_ptr<NetlinkTransport> transport, Descriptor socket, Descriptor wake);

    void follow(const std::stop_token &stop);
    void catchUp();
    void takeMessages();
    void takeTables();
    void endHandle(NeighbourMemory::Stamp begin);
    void forget();

    std::shared_ptr<NetlinkTransport> m_transport;
    Descriptor m_socket;
    Descriptor m_wake;
    std::mutex m_mutex; ///< for reading the socket and all below
    NeighbourMemory m_memory;
    NeighbourMemory::Stamp m_now = 1; ///< grows by one with each handle, so what was dropped before and after its beginning differs
    std::set<NeighbourMemory::Stamp> m_begins; ///< of the handles that live
    bool m_behind = true; ///< messages were lost, or none was ever seen: the tables have to be read
    std::jthread m_thread; // ends first
};

} // namespace lanterna
