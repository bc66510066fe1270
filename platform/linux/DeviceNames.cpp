#include "platform/linux/DeviceNames.h"

#include "platform/linux/InterfaceAddresses.h"
#include "platform/linux/MulticastReply.h"

#include <QHostAddress>
#include <QRandomGenerator>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace lanterna
{

namespace
{

using namespace std::chrono_literals;

enum class Deed { ask, tellQuiet, tellFinished };

struct PlannedStep {
    int since; // the first question, in percent of the time that an ordinary answer may take
    Deed deed;
};

/// A device answers within a few milliseconds, on sleepy Wi-Fi within half a second. Two repetitions make up for lost packets and for a device that
/// has to be woken by the first one.
constexpr std::array<PlannedStep, 5> plan = {{{0, Deed::ask}, {50, Deed::ask}, {100, Deed::tellQuiet}, {150, Deed::ask}, {250, Deed::tellFinished}}};

/// Questions to addresses where nobody is wait three seconds in the kernel for a hardware address, at the expense of their socket: some 270 fill a
/// usual one, and it takes no question for anybody else. Then another socket is used; so many hold those of a /20 full of holes.
constexpr size_t maximumSockets = 16;

/// The kernel holds 1,024 neighbours as a rule (net.ipv4.neigh.default.gc_thresh3) and gives none up within five seconds, but drops packets, of which
/// the sender hears nothing. One half is left for the rest of the machine.
constexpr qsizetype maximumAlone = 512;

/// Sixteen questions make 524 bytes at most. Some responders have 512 for a reply; that suffices, since they repeat the questions in a shorter form.
constexpr qsizetype questionsTogether = 16;

constexpr quint32 everybody = 0xE00000FB; // 224.0.0.251

/// When all are full, or none can be had.
constexpr auto fullDelay = 50ms;

/// For each of the two directions. The system gives less where its limit is lower.
constexpr int socketBufferBytes = 1 << 20;

/// Packets taken per wake-up; the rest wakes again, and time passes for the others.
constexpr int packetsAtOnce = 256;

/// The most that a reply may have (RFC 6762, 17); what was longer is seen as cut off and refused.
constexpr size_t maximumReplyBytes = 9000;

sockaddr_in socketAddress(quint32 address, quint16 port)
{
    sockaddr_in name = {};
    name.sin_family = AF_INET;
    name.sin_port = qToBigEndian(port);
    name.sin_addr.s_addr = qToBigEndian(address);
    return name;
}

/// Sends a datagram from one of our addresses, which also chooses the interface of a multicast. A failure is as good as a lost packet.
void sendFrom(int socket, quint32 source, QByteArray bytes, sockaddr_in to)
{
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(in_pktinfo))> control = {};
    iovec piece = {bytes.data(), size_t(bytes.size())};
    msghdr message = {};
    message.msg_name = &to;
    message.msg_namelen = sizeof to;
    message.msg_iov = &piece;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr *header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = IPPROTO_IP;
    header->cmsg_type = IP_PKTINFO;
    header->cmsg_len = CMSG_LEN(sizeof(in_pktinfo));
    in_pktinfo info = {};
    info.ipi_spec_dst.s_addr = qToBigEndian(source);
    std::memcpy(CMSG_DATA(header), &info, sizeof info);
    sendmsg(socket, &message, 0);
}

} // namespace

std::optional<quint32> ownAddressBeside(quint32 address, const QList<InterfaceAddress> &interfaces)
{
    for (const InterfaceAddress &interface : interfaces) {
        const quint32 own = QHostAddress(interface.address).toIPv4Address();
        const quint32 mask = interface.prefixLength <= 0 ? 0 : ~quint32(0) << (32 - std::min(interface.prefixLength, 32));
        if (mask != 0 && (own & mask) == (address & mask))
            return own;
    }
    return std::nullopt;
}

DeviceNames::DeviceNames(Readiness &readiness, quint16 port, std::chrono::milliseconds patience, Listener listener)
    : m_readiness(readiness), m_port(port), m_patience(patience), m_listener(std::move(listener)),
      m_interfaces(readInterfaceAddresses().value_or(QList<InterfaceAddress>())), m_sharedId(quint16(QRandomGenerator::system()->generate()))
{
    openSocket();
}

DeviceNames::~DeviceNames()
{
    for (const int socket : m_sockets) {
        m_readiness.forget(socket);
        close(socket);
    }
}

bool DeviceNames::openSocket()
{
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (socket < 0)
        return false;
    setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &socketBufferBytes, sizeof socketBufferBytes);
    setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &socketBufferBytes, sizeof socketBufferBytes);
    constexpr int multicastHops = 255; // RFC 6762, 11; routers keep this group where it is
    setsockopt(socket, IPPROTO_IP, IP_MULTICAST_TTL, &multicastHops, sizeof multicastHops);
    m_readiness.watch(socket, EPOLLIN, [this, socket](uint32_t) { receive(socket); });
    m_sockets.push_back(socket);
    m_current = m_sockets.size() - 1;
    return true;
}

void DeviceNames::ask(quint32 address, Clock::time_point now)
{
    const std::optional<quint32> own = m_alone < maximumAlone ? std::nullopt : ownAddressBeside(address, m_interfaces);
    if (own)
        m_together.insert(address, *own);
    else
        ++m_alone;
    m_ids.insert(address, own ? m_sharedId : quint16(QRandomGenerator::system()->generate()));
    m_due.emplace(now, Due{.address = address, .step = 0});
}

void DeviceNames::timePassed(Clock::time_point now)
{
    while (!m_due.empty() && m_due.begin()->first <= now) {
        Due due = m_due.begin()->second;
        m_due.erase(m_due.begin());
        if (!m_ids.contains(due.address))
            continue;
        if (!due.taken)
            due.taken = now; // a thread that comes late must still give the device its time to answer; failed tries do not
        const bool done = carryOut(due);
        if (due.step + 1 == plan.size())
            continue;
        const Clock::time_point next = *due.taken + untilNext(due.step);
        if (!done && now + fullDelay < next)
            m_due.emplace(now + fullDelay, due);
        else
            m_due.emplace(next, Due{.address = due.address, .step = due.step + 1});
    }
    sendTogether();
}

std::chrono::milliseconds DeviceNames::untilNext(size_t step) const
{
    return m_patience * (plan[step + 1].since - plan[step].since) / 100;
}

bool DeviceNames::carryOut(const Due &due)
{
    switch (plan[due.step].deed) {
    case Deed::ask:
        return send(due.address);
    case Deed::tellQuiet:
        m_listener.quiet(due.address);
        return true;
    case Deed::tellFinished:
        m_listener.finished(due.address);
        return true;
    }
    return true;
}

bool DeviceNames::send(quint32 address)
{
    if (m_together.contains(address)) {
        m_waitingTogether[m_together.value(address)].append(address);
        return true;
    }
    const QByteArray question = multicastQuestion({address}, m_ids.value(address));
    const sockaddr_in device = socketAddress(address, m_port);
    for (size_t tried = 0; tried < maximumSockets; ++tried) {
        if (tried >= m_sockets.size() && !openSocket())
            return false;
        const ssize_t sent =
            sendto(m_sockets[m_current], question.data(), size_t(question.size()), 0, reinterpret_cast<const sockaddr *>(&device), sizeof device);
        if (sent >= 0 || (errno != EAGAIN && errno != ENOBUFS))
            return true; // no way to the address is as good as a lost packet
        m_current = (m_current + 1) % m_sockets.size();
    }
    return false;
}

void DeviceNames::sendTogether()
{
    for (const auto &[own, addresses] : std::exchange(m_waitingTogether, {})) {
        for (qsizetype first = 0; first < addresses.size() && !m_sockets.empty(); first += questionsTogether)
            sendFrom(
                m_sockets[m_current], own, multicastQuestion(addresses.mid(first, questionsTogether), m_sharedId), socketAddress(everybody, m_port));
    }
}

void DeviceNames::receive(int socket)
{
    std::array<char, maximumReplyBytes> packet; // not filled beforehand: only what has been received is read
    for (int taken = 0; taken < packetsAtOnce; ++taken) {
        sockaddr_in from = {};
        socklen_t fromLength = sizeof from;
        const ssize_t length = recvfrom(socket, packet.data(), packet.size(), 0, reinterpret_cast<sockaddr *>(&from), &fromLength);
        if (length < 0)
            return;
        if (fromLength == sizeof from && from.sin_port == qToBigEndian(m_port))
            heard(qFromBigEndian<quint32>(from.sin_addr.s_addr), QByteArrayView(packet.data(), length));
    }
}

void DeviceNames::heard(quint32 address, QByteArrayView packet)
{
    const auto id = m_ids.constFind(address);
    if (id == m_ids.constEnd())
        return;
    const std::optional<MulticastReply> reply = parseMulticastReply(packet);
    const QString name = reply ? reply->nameFor(reverseName(address), *id) : QString();
    if (name.isEmpty())
        return;
    m_ids.remove(address);
    m_listener.named(address, name);
}

} // namespace lanterna
