#include "platform/linux/EpollStreamListener.h"

#include "platform/linux/StreamServer.h"

#include <cerrno>
#include <cstring>
#include <system_error>

namespace lanterna
{

EpollStreamListener::EpollStreamListener(const StreamLimits &limits) : m_limits(limits) { }

EpollStreamListener::~EpollStreamListener() = default; // a thread that is dropped is asked to stop, and joined

StreamListener::Started EpollStreamListener::start(NewConnection newConnection, Failed failed)
{
    auto server = std::make_shared<StreamServer>(m_limits);
    if (!server->open())
        return {0, QString::fromLocal8Bit(std::strerror(errno))};
    const quint16 port = server->port();
    m_connections = server->connections();
    try {
        m_thread = std::jthread([server, newConnection = std::move(newConnection), failed = std::move(failed)](
                                    const std::stop_token &stop) { server->run(stop, newConnection, failed); });
    } catch (const std::system_error &error) {
        return {0, QString::fromLocal8Bit(std::strerror(error.code().value()))};
    }
    return {port, {}};
}

size_t EpollStreamListener::connectionCount() const
{
    return m_connections ? m_connections->count() : 0;
}

} // namespace lanterna
