#include "platform/linux/LinuxProbeSockets.h"

#include "platform/linux/Descriptor.h"
#include "platform/linux/SocketAddress.h"
#include "tests/linux/PrivateNetwork.h"

#include <QDir>
#include <QFile>

#include <array>
#include <cerrno>
#include <cstring>

#include <poll.h>
#include <sys/socket.h>

using namespace lanterna;

namespace
{

/// What arrived, as far as the tests look.
struct Arrival {
    QByteArray payload;
    int hops = 0;
};

/// lan0 and far0 are the two ends of a cable, and everything is sent by one end or over the loopback.
class LinuxProbeSocketsTest : public CableTest
{
protected:
    LinuxProbeSocketsTest() : CableTest("address add 192.168.77.20/24 broadcast 192.168.77.255 dev lan0") { }
    /// A socket that listens on one of the test's addresses.
    static Descriptor listener(int type, const QString &address, quint16 port)
    {
        Descriptor socket(::socket(AF_INET, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        const int on = 1;
        setsockopt(socket.get(), IPPROTO_IP, IP_RECVTTL, &on, sizeof on);
        const auto at = socketAddress(address, port).value();
        EXPECT_EQ(bind(socket.get(), reinterpret_cast<const sockaddr *>(&at), sizeof at), 0) << std::strerror(errno);
        return socket;
    }
    /// Whether something waits there; looks for at most ten seconds.
    static bool waits(const Descriptor &socket)
    {
        pollfd what = {socket.get(), POLLIN, 0};
        return poll(&what, 1, 10'000) == 1;
    }
    static Arrival received(const Descriptor &socket)
    {
        if (!waits(socket))
            return {};
        std::array<char, 2048> data = {};
        alignas(cmsghdr) std::array<char, 256> extra = {};
        iovec part = {data.data(), data.size()};
        msghdr message = {};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        message.msg_control = extra.data();
        message.msg_controllen = extra.size();
        Arrival arrival;
        arrival.payload = QByteArray(data.data(), qMax<ssize_t>(0, recvmsg(socket.get(), &message, 0)));
        for (cmsghdr *header = CMSG_FIRSTHDR(&message); header; header = CMSG_NXTHDR(&message, header)) {
            if (header->cmsg_type == IP_TTL)
                std::memcpy(&arrival.hops, CMSG_DATA(header), sizeof arrival.hops);
        }
        return arrival;
    }
    static int openDescriptors() { return int(QDir("/proc/self/fd").entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size()); }

    LinuxProbeSockets sockets;
};

TEST_F(LinuxProbeSocketsTest, DatagramArrivesAsGiven)
{
    const Descriptor there = listener(SOCK_DGRAM, "127.0.0.5", 3483);
    const auto opened = sockets.openUDP(ProbeAudience::host);
    ASSERT_TRUE(opened.socket) << qPrintable(opened.error);
    opened.socket->sendTo("127.0.0.5", 3483, QByteArray("e\0IPAD", 6));
    EXPECT_EQ(received(there).payload, QByteArray("e\0IPAD", 6));
}

TEST_F(LinuxProbeSocketsTest, EmptyDatagramArrivesToo)
{
    const Descriptor there = listener(SOCK_DGRAM, "127.0.0.5", 3483);
    sockets.openUDP(ProbeAudience::host).socket->sendTo("127.0.0.5", 3483, {});
    EXPECT_TRUE(waits(there));
}

TEST_F(LinuxProbeSocketsTest, BroadcastNeedsASocketThatMayBroadcast)
{
    const Descriptor there = listener(SOCK_DGRAM, "192.168.77.255", 9);
    sockets.openUDP(ProbeAudience::host).socket->sendTo("192.168.77.255", 9, "to hosts only");
    sockets.openUDP(ProbeAudience::broadcast).socket->sendTo("192.168.77.255", 9, "to everyone");
    EXPECT_EQ(received(there).payload, "to everyone");
}

TEST_F(LinuxProbeSocketsTest, GroupsAreAskedOnTheLinkOnly)
{
    ASSERT_TRUE(PrivateNetwork::ip("route add 224.0.0.0/4 dev lan0"));
    const Descriptor there = listener(SOCK_DGRAM, "239.255.255.250", 1900);
    ip_mreqn group = {};
    group.imr_multiaddr = socketAddress("239.255.255.250", 0)->sin_addr;
    group.imr_address = socketAddress("192.168.77.20", 0)->sin_addr;
    ASSERT_EQ(setsockopt(there.get(), IPPROTO_IP, IP_ADD_MEMBERSHIP, &group, sizeof group), 0) << std::strerror(errno);
    sockets.openUDP(ProbeAudience::multicast).socket->sendTo("239.255.255.250", 1900, "hello");
    const Arrival arrival = received(there);
    EXPECT_EQ(arrival.payload, "hello");
    EXPECT_EQ(arrival.hops, 1);
}

TEST_F(LinuxProbeSocketsTest, TextThatIsNoAddressSendsNothing)
{
    const Descriptor there = listener(SOCK_DGRAM, "0.0.0.0", 4000);
    const auto opened = sockets.openUDP(ProbeAudience::host);
    for (const char *text : {"", "localhost", "127.0.0.1 ", "127.0.0", "::1", "127.0.0.256"})
        opened.socket->sendTo(text, 4000, "stray");
    opened.socket->sendTo("127.0.0.1", 4000, "the only one");
    EXPECT_EQ(received(there).payload, "the only one");
}

TEST_F(LinuxProbeSocketsTest, ErrorsAreIgnored)
{
    const Descriptor there = listener(SOCK_DGRAM, "127.0.0.5", 4000);
    const auto opened = sockets.openUDP(ProbeAudience::host);
    opened.socket->sendTo("203.0.113.9", 4000, "no route leads there");
    opened.socket->sendTo("127.0.0.5", 4000, QByteArray(70'000, 'x')); // longer than a datagram can be
    opened.socket->sendTo("127.0.0.6", 4000, "refused by the port");
    opened.socket->sendTo("127.0.0.5", 4000, "arrives");
    EXPECT_EQ(received(there).payload, "arrives");
}

TEST_F(LinuxProbeSocketsTest, ICMPIsRefusedWithTheSystemsText)
{
    // A fresh namespace allows nobody.
    const auto opened = sockets.openICMP();
    EXPECT_FALSE(opened.socket);
    EXPECT_EQ(opened.error, "Permission denied");
}

TEST_F(LinuxProbeSocketsTest, ICMPMessageLeavesWhereTheSystemAllowsIt)
{
    QFile range("/proc/sys/net/ipv4/ping_group_range");
    if (!range.open(QIODevice::WriteOnly | QIODevice::Unbuffered) || range.write("0 0") != 3)
        GTEST_SKIP() << "the setting net.ipv4.ping_group_range cannot be written here";
    Descriptor there(socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_ICMP));
    ASSERT_TRUE(there) << std::strerror(errno);
    const auto opened = sockets.openICMP();
    ASSERT_TRUE(opened.socket) << qPrintable(opened.error);
    opened.socket->sendTo("127.0.0.5", 0, QByteArray::fromHex("0800f7ff00000000") + "payload");
    const QByteArray packet = received(there).payload; // with its IP header
    EXPECT_EQ(packet.mid(20, 1), QByteArray::fromHex("08"));
    EXPECT_TRUE(packet.endsWith("payload"));
}

TEST_F(LinuxProbeSocketsTest, ConnectionReachesThePort)
{
    const Descriptor there = listener(SOCK_STREAM, "127.0.0.7", 445);
    ASSERT_EQ(listen(there.get(), 5), 0);
    const auto attempt = sockets.startConnect("127.0.0.7", 445);
    EXPECT_TRUE(attempt);
    EXPECT_TRUE(waits(there));
}

TEST_F(LinuxProbeSocketsTest, ConnectionToASilentHostDoesNotBlock)
{
    ASSERT_TRUE(PrivateNetwork::ip("neighbour add 192.168.77.99 lladdr 02:00:00:00:00:99 dev lan0 nud permanent"));
    const auto start = std::chrono::steady_clock::now();
    const auto attempt = sockets.startConnect("192.168.77.99", 445);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_TRUE(attempt);
}

TEST_F(LinuxProbeSocketsTest, DroppingAHandleClosesItsSocket)
{
    const int before = openDescriptors();
    auto attempt = sockets.startConnect("192.168.77.99", 445);
    auto opened = sockets.openUDP(ProbeAudience::host);
    EXPECT_EQ(openDescriptors(), before + 2);
    attempt.reset();
    opened.socket.reset();
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(LinuxProbeSocketsTest, ConnectionToNoAddressIsAnEmptyHandle)
{
    EXPECT_FALSE(sockets.startConnect("no address", 445));
}

} // namespace
