#pragma once

#include "platform/StreamListener.h"
#include "platform/linux/StreamConnections.h"

#include <thread>

namespace lanterna
{

/// Listens with a thread of its own, which watches all connections (epoll). Over IPv4 alone where the system has no IPv6.
///
/// Open connections are bounded (see `StreamLimits`). A client that takes its time delays no other. One that goes away is forgotten silently. Where
/// the process runs out of descriptors newcomers wait, and those who have stalled make room for them.
///
/// Goes promptly, but not on its own thread; what the system has taken over of a message still reaches the client.
class EpollStreamListener : public StreamListener
{
public:
    explicit EpollStreamListener(const StreamLimits &limits = {});
    ~EpollStreamListener() override;

    [[nodiscard]] Started start(NewConnection newConnection, Failed failed) override;
    /// How many connections are open now. Any thread.
    [[nodiscard]] size_t connectionCount() const;

private:
    const StreamLimits m_limits;
    std::shared_ptr<StreamConnections> m_connections;
    std::jthread m_thread;
};

} // namespace lanterna
