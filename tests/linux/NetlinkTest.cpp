#include "platform/linux/Netlink.h"

#include "tests/fakes/FakeNetlinkTransport.h"
#include "tests/linux/NetlinkBytes.h"

#include <gtest/gtest.h>

#include <cerrno>

using namespace lanterna;

namespace
{

constexpr int anyType = 42;

TEST(NetlinkMessages, SeveralMessagesOfOneDatagramAreAllSeen)
{
    const QByteArray bytes = messageBytes(anyType, quint32(1)) + messageBytes(anyType + 1, quint32(2)) + doneBytes();
    const QList<NetlinkMessage> messages = netlinkMessages(bytes);
    ASSERT_EQ(messages.size(), 3);
    EXPECT_EQ(messages[1].type, anyType + 1);
    EXPECT_EQ(netlinkHeader<quint32>(messages[1].payload), 2u);
}

TEST(NetlinkMessages, BytesCutAnywhereGiveOnlyWholeMessages)
{
    const QByteArray first = messageBytes(anyType, quint32(1));
    const QByteArray bytes = first + messageBytes(anyType, quint32(2));
    for (qsizetype length = 0; length < bytes.size(); ++length)
        EXPECT_EQ(netlinkMessages(bytes.first(length)).size(), length < first.size() ? 0 : 1) << length;
}

TEST(NetlinkMessages, LengthThatLiesEndsTheWalk)
{
    for (const quint32 length : {0u, 1u, 15u, 1000u, 0xffffffffu, 0x80000000u}) {
        QByteArray liar = messageBytes(anyType, quint32(2));
        memcpy(liar.data(), &length, sizeof length);
        EXPECT_EQ(netlinkMessages(messageBytes(anyType, quint32(1)) + liar).size(), 1) << length;
    }
}

TEST(NetlinkMessages, OddStartInMemoryIsNoProblem)
{
    const QByteArray shifted = "x" + messageBytes(anyType, quint32(7), numberAttribute(1, quint32(9)));
    const QList<NetlinkMessage> messages = netlinkMessages(QByteArrayView(shifted).sliced(1));
    ASSERT_EQ(messages.size(), 1);
    EXPECT_EQ(NetlinkAttributes(afterNetlinkHeader<quint32>(messages[0].payload)).number<quint32>(1), 9u);
}

TEST(NetlinkAnswers, EndIsADoneOrAnErrorMessage)
{
    EXPECT_FALSE(answerComplete(messageBytes(anyType, quint32(1))));
    EXPECT_TRUE(answerComplete(messageBytes(anyType, quint32(1)) + doneBytes()));
    EXPECT_TRUE(answerComplete(errorBytes(0)));
}

TEST(NetlinkAnswers, ErrorIsTakenFromEitherEnd)
{
    EXPECT_EQ(answerError(errorBytes(ENOENT)), ENOENT);
    EXPECT_EQ(answerError(doneBytes(-EPERM)), EPERM);
    EXPECT_EQ(answerError(errorBytes(0)), 0);
    EXPECT_EQ(answerError(doneBytes()), 0);
}

TEST(NetlinkAnswers, NumberThatIsNoErrorNumberIsNone)
{
    EXPECT_EQ(answerError(errorBytes(-5)), 0);
    EXPECT_EQ(answerError(messageBytes(NLMSG_ERROR, quint32(0x80000000))), 0);
}

TEST(NetlinkAttributesTest, OfARepeatedAttributeTheLastCounts)
{
    const QByteArray bytes = numberAttribute(3, quint32(1)) + numberAttribute(3, quint32(2));
    EXPECT_EQ(NetlinkAttributes(bytes).number<quint32>(3), 2u);
}

TEST(NetlinkAttributesTest, ShortNumberAndWrongAddressLengthAreNone)
{
    const QByteArray bytes = numberAttribute(1, quint16(1)) + attributeBytes(2, "12345") + attributeBytes(3, "");
    const NetlinkAttributes attributes(bytes);
    EXPECT_FALSE(attributes.number<quint32>(1));
    EXPECT_FALSE(attributes.ipv4Address(2));
    EXPECT_FALSE(attributes.ipv4Address(9));
    EXPECT_TRUE(attributes.contains(3));
}

TEST(NetlinkAttributesTest, NestAndNetworkOrderFlagsDoNotHideTheType)
{
    const QByteArray bytes = attributeBytes(5 | NLA_F_NESTED, numberAttribute(1 | NLA_F_NET_BYTEORDER, quint32(8)));
    EXPECT_EQ(NetlinkAttributes(bytes).nest(5).number<quint32>(1), 8u);
}

TEST(NetlinkAttributesTest, TextEndsAtItsFirstZeroByte)
{
    EXPECT_EQ(NetlinkAttributes(attributeBytes(1, QByteArray("eth0\0junk", 9))).text(1), "eth0");
    EXPECT_EQ(NetlinkAttributes(attributeBytes(1, "eth0")).text(1), "eth0");
}

TEST(NetlinkRequests, LengthCoversHeaderAndAttributes)
{
    const QByteArray bytes = NetlinkRequest(anyType, NLM_F_DUMP).header(quint32(5)).attribute(1, quint32(6)).attribute(2, "name").bytes();
    ASSERT_EQ(netlinkMessages(bytes).size(), 1);
    const NetlinkMessage message = netlinkMessages(bytes).first();
    EXPECT_EQ(message.flags, NLM_F_REQUEST | NLM_F_DUMP);
    EXPECT_EQ(NetlinkAttributes(afterNetlinkHeader<quint32>(message.payload)).number<quint32>(1), 6u);
    EXPECT_EQ(NetlinkAttributes(afterNetlinkHeader<quint32>(message.payload)).text(2), "name");
}

TEST(AskingTheKernel, InterruptedDumpIsAskedForAgain)
{
    int attempt = 0;
    FakeNetlinkTransport transport([&](NetlinkBus, const QByteArray &) {
        const int flags = ++attempt < 3 ? NLM_F_MULTI | NLM_F_DUMP_INTR : NLM_F_MULTI;
        return NetlinkAnswer{messageBytes(anyType, quint32(attempt)) + doneBytes(0, flags), 0};
    });
    const NetlinkAnswer answer = askKernel(transport, NetlinkBus::route, {});
    EXPECT_EQ(transport.count(), 3);
    EXPECT_EQ(netlinkHeader<quint32>(netlinkMessages(answer.bytes).first().payload), 3u);
}

TEST(AskingTheKernel, DumpThatIsAlwaysInterruptedStandsInTheEnd)
{
    FakeNetlinkTransport transport([](NetlinkBus, const QByteArray &) {
        return NetlinkAnswer{messageBytes(anyType, quint32(1), {}, NLM_F_MULTI | NLM_F_DUMP_INTR) + doneBytes(), 0};
    });
    const NetlinkAnswer answer = askKernel(transport, NetlinkBus::route, {});
    EXPECT_EQ(transport.count(), 5);
    EXPECT_EQ(answer.error, 0);
    EXPECT_EQ(netlinkMessages(answer.bytes).size(), 2);
}

TEST(AskingTheKernel, ErrorIsNotAskedForAgain)
{
    FakeNetlinkTransport transport([](NetlinkBus, const QByteArray &) { return NetlinkAnswer{{}, EPERM}; });
    EXPECT_EQ(askKernel(transport, NetlinkBus::route, {}).error, EPERM);
    EXPECT_EQ(transport.count(), 1);
}

} // namespace
