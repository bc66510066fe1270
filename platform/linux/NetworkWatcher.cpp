#include "platform/linux/NetworkWatcher.h"

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include <sys/socket.h>

namespace lanterna
{

namespace
{

/// What may change the state. IPv6 has groups of its own, which stay unheard.
constexpr unsigned groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE;

/// Messages taken per wake-up. A machine that makes them faster than they are read must not hold the main thread; the notifier fires again.
constexpr int messagesAtOnce = 1000;

/// Takes waiting messages unread. False when none was there; a lost message (ENOBUFS) counts as one.
bool drain(int descriptor)
{
    bool any = false;
    for (int taken = 0; taken < messagesAtOnce; ++taken) {
        std::array<char, 16> start = {}; // the rest of a message is dropped by the kernel
        const ssize_t length = recv(descriptor, start.data(), start.size(), MSG_DONTWAIT | MSG_TRUNC);
        if (length < 0 && errno != ENOBUFS && errno != EINTR)
            break;
        any = true;
    }
    return any;
}

} // namespace

void NetworkWatcher::SocketCloser::operator()(mnl_socket *socket) const
{
    mnl_socket_close(socket);
}

NetworkWatcher::NetworkWatcher(Dispatch &dispatch, SystemLog &log, Reader reader, std::function<void()> changed)
    : m_dispatch(dispatch), m_log(log), m_reader(std::move(reader)), m_changed(std::move(changed))
{
}

NetworkWatcher::~NetworkWatcher() = default;

void NetworkWatcher::start()
{
    if (!subscribe()) {
        m_log(QStringLiteral("Network changes cannot be watched: %@"), QString::fromLocal8Bit(std::strerror(errno)));
        return;
    }
    m_notifier = std::make_unique<QSocketNotifier>(mnl_socket_get_fd(m_socket.get()), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [this] { messagesArrived(); });
    m_state = m_reader(); // after the subscription, so that no change falls between
}

bool NetworkWatcher::subscribe()
{
    m_socket.reset(mnl_socket_open2(NETLINK_ROUTE, SOCK_CLOEXEC | SOCK_NONBLOCK));
    return m_socket && mnl_socket_bind(m_socket.get(), groups, MNL_SOCKET_AUTOPID) == 0;
}

void NetworkWatcher::messagesArrived()
{
    if (!drain(mnl_socket_get_fd(m_socket.get())) || m_lookPlanned)
        return;
    m_lookPlanned = true;
    m_lookTimer = m_dispatch.performAfter(settlingTime, [this] { look(); });
}

void NetworkWatcher::look()
{
    m_lookPlanned = false; // first: a message that arrives during the reading asks for another one
    const std::optional<NetworkState> now = m_reader();
    const bool changed = isNetworkChange(m_state, now);
    if (now)
        m_state = now;
    if (changed)
        m_changed();
}

} // namespace lanterna
