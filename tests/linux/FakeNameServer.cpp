#include "tests/linux/FakeNameServer.h"

#include <QtEndian>

#include <array>
#include <cstring>
#include <utility>

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace lanterna
{

namespace
{

constexpr int headerBytes = 12;

constexpr quint32 group = 0xE00000FB; // 224.0.0.251

/// The address in a question like 20.1.168.192.in-addr.arpa, which is not checked beyond that; the other end is our own.
quint32 askedAddress(const QByteArray &question)
{
    quint32 address = 0;
    qsizetype position = 0;
    for (int label = 0; label < 4 && position < question.size(); ++label) {
        const qsizetype length = question[position];
        address |= question.mid(position + 1, length).toUInt() << (8 * label);
        position += 1 + length;
    }
    return address;
}

QByteArray answerBytes(const QByteArray &header, const QByteArray &question, const NameAnswer &answer)
{
    const bool named = answer.kind == NameAnswer::named;
    QByteArray bytes = header;
    qToBigEndian(quint16(qFromBigEndian<quint16>(bytes.data()) + answer.idError), bytes.data());
    qToBigEndian(quint16(named ? 0x8580 : 0x8583), bytes.data() + 2);
    qToBigEndian(quint16(1), bytes.data() + 4);
    qToBigEndian(quint16(named ? 1 : 0), bytes.data() + 6);
    bytes.replace(8, 4, QByteArray(4, '\0'));
    bytes += question;
    if (!named)
        return bytes;
    QByteArray name;
    const QList<QByteArray> labels = answer.name.split('.');
    for (const QByteArray &label : labels)
        name += char(label.size()) + label;
    name += '\0';
    bytes += QByteArray::fromHex("c00c 000c 0001 00000078 00") + char(name.size()) + name;
    return bytes;
}

} // namespace

FakeNameServer::FakeNameServer(quint32 address, quint16 port, Script script)
    : m_script(std::move(script)), m_socket(socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0))
{
    constexpr int on = 1;
    constexpr int bufferBytes = 1 << 22;
    setsockopt(m_socket, IPPROTO_IP, IP_PKTINFO, &on, sizeof on);
    setsockopt(m_socket, SOL_SOCKET, SO_RCVBUF, &bufferBytes, sizeof bufferBytes);
    sockaddr_in name = {};
    name.sin_family = AF_INET;
    name.sin_port = qToBigEndian(port);
    name.sin_addr.s_addr = qToBigEndian(address);
    m_listens = bind(m_socket, reinterpret_cast<const sockaddr *>(&name), sizeof name) == 0;
    m_thread = std::thread([this] { run(); });
}

bool FakeNameServer::joinGroup(quint32 interfaceAddress) const
{
    ip_mreq membership = {};
    membership.imr_multiaddr.s_addr = qToBigEndian(group);
    membership.imr_interface.s_addr = qToBigEndian(interfaceAddress);
    return setsockopt(m_socket, IPPROTO_IP, IP_ADD_MEMBERSHIP, &membership, sizeof membership) == 0;
}

FakeNameServer::~FakeNameServer()
{
    m_stopped = true;
    m_bell.ring();
    m_thread.join();
    close(m_socket);
}

void FakeNameServer::run()
{
    Readiness readiness;
    readiness.watch(m_bell.descriptor(), EPOLLIN, [](uint32_t) {});
    readiness.watch(m_socket, EPOLLIN, [this](uint32_t) { receive(); });
    while (!m_stopped) {
        sendDue();
        readiness.wait(std::chrono::milliseconds(m_replies.empty() ? 1000 : 2));
    }
}

void FakeNameServer::receive()
{
    while (true) {
        sockaddr_in from = {};
        std::array<char, 1500> packet = {};
        alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(in_pktinfo))> control = {};
        iovec piece = {packet.data(), packet.size()};
        msghdr message = {};
        message.msg_name = &from;
        message.msg_namelen = sizeof from;
        message.msg_iov = &piece;
        message.msg_iovlen = 1;
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        const ssize_t length = recvmsg(m_socket, &message, 0);
        if (length < 0)
            return;
        in_pktinfo info = {};
        if (const cmsghdr *header = CMSG_FIRSTHDR(&message))
            std::memcpy(&info, CMSG_DATA(header), sizeof info);
        receiveOne(QByteArray(packet.data(), length), from, info.ipi_addr);
    }
}

void FakeNameServer::receiveOne(const QByteArray &packet, const sockaddr_in &from, in_addr to)
{
    const int questions = packet.size() < headerBytes ? 0 : qFromBigEndian<quint16>(packet.data() + 4);
    qsizetype position = headerBytes;
    for (int i = 0; i < questions; ++i) {
        const qsizetype end = packet.indexOf('\0', position) + 5;
        if (end < position + 5 || end > packet.size())
            return;
        answer(packet.first(headerBytes), packet.mid(position, end - position), from, to);
        position = end;
    }
    sendDue();
}

void FakeNameServer::answer(const QByteArray &header, const QByteArray &question, const sockaddr_in &from, in_addr to)
{
    const quint32 asked = askedAddress(question);
    const bool toGroup = to.s_addr == qToBigEndian(group);
    ++m_questions;
    m_groupQuestions += toGroup ? 1 : 0;
    const NameAnswer answer = m_script(asked);
    if (answer.kind == NameAnswer::nothing)
        return;
    const in_addr own = toGroup ? in_addr{qToBigEndian(asked)} : to;
    const in_addr source = answer.from == 0 ? own : in_addr{qToBigEndian(answer.from)};
    m_replies.emplace(std::chrono::steady_clock::now() + answer.delay, Reply{answerBytes(header, question, answer), from, source});
}

void FakeNameServer::sendDue()
{
    while (!m_replies.empty() && m_replies.begin()->first <= std::chrono::steady_clock::now()) {
        Reply reply = std::move(m_replies.begin()->second);
        m_replies.erase(m_replies.begin());
        alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(in_pktinfo))> control = {};
        iovec piece = {reply.bytes.data(), size_t(reply.bytes.size())};
        msghdr message = {};
        message.msg_name = &reply.to;
        message.msg_namelen = sizeof reply.to;
        message.msg_iov = &piece;
        message.msg_iovlen = 1;
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        cmsghdr *header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = IPPROTO_IP;
        header->cmsg_type = IP_PKTINFO;
        header->cmsg_len = CMSG_LEN(sizeof(in_pktinfo));
        in_pktinfo info = {};
        info.ipi_spec_dst = reply.from;
        std::memcpy(CMSG_DATA(header), &info, sizeof info);
        sendmsg(m_socket, &message, 0);
    }
}

} // namespace lanterna
