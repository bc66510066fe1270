#include "platform/linux/MulticastReply.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

constexpr quint32 someAddress = 0xC0A80114; // 192.168.1.20
const QByteArray someOwner = "20.1.168.192.in-addr.arpa";

QByteArray wire16(int value)
{
    return QByteArray(1, char(value >> 8)) + char(value);
}

/// A dotted name as labels with their lengths.
QByteArray wireName(const QByteArray &name)
{
    QByteArray bytes;
    for (const QByteArray &label : name.split('.'))
        bytes += char(label.size()) + label;
    return bytes + '\0';
}

QByteArray pointerTo(int offset)
{
    return wire16(0xC000 | offset);
}

QByteArray header(int questions, int answers, int flags = 0x8400)
{
    return wire16(77) + wire16(flags) + wire16(questions) + wire16(answers) + wire16(0) + wire16(0);
}

/// A PTR record; the length is that of the data unless told otherwise.
QByteArray record(const QByteArray &owner, const QByteArray &data, int length = -1, int type = 12, int recordClass = 0x8001)
{
    return owner + wire16(type) + wire16(recordClass) + QByteArray(4, '\0') + wire16(length < 0 ? int(data.size()) : length) + data;
}

QByteArray plainReply(const QByteArray &name)
{
    return header(0, 1) + record(wireName(someOwner), wireName(name));
}

QString nameIn(const QByteArray &packet)
{
    const std::optional<MulticastReply> reply = parseMulticastReply(packet);
    return reply ? reply->nameFor(someOwner, 77) : QStringLiteral("(refused)");
}

TEST(MulticastReply, APlainAnswerHasTheName)
{
    EXPECT_EQ(nameIn(plainReply("printer.local")), QStringLiteral("printer.local"));
}

TEST(MulticastReply, TheQuestionMayBeRepeatedAndPointedAt)
{
    const QByteArray question = wireName(someOwner) + wire16(12) + wire16(1);
    EXPECT_EQ(nameIn(header(1, 1) + question + record(pointerTo(12), wireName("printer.local"))), QStringLiteral("printer.local"));
}

TEST(MulticastReply, ANameMayEndInAPieceOfAnother)
{
    const QByteArray first = record(wireName(someOwner), wireName("printer.local"));
    const int local = 12 + int(first.size()) - 7; // "local" and its zero
    const QByteArray second = record(pointerTo(12),
        QByteArray("\x05"
                   "other")
            + pointerTo(local));
    const std::optional<MulticastReply> reply = parseMulticastReply(header(0, 2) + first + second);
    ASSERT_TRUE(reply);
    ASSERT_EQ(reply->pointers.size(), 2);
    EXPECT_EQ(reply->pointers[1].name, QStringLiteral("other.local"));
    EXPECT_EQ(reply->pointers[1].owner, someOwner);
}

TEST(MulticastReply, TheOwnerMayBeInCapitals)
{
    EXPECT_EQ(nameIn(header(0, 1) + record(wireName("20.1.168.192.IN-ADDR.ARPA"), wireName("printer.local"))), QStringLiteral("printer.local"));
}

TEST(MulticastReply, RecordsOfOtherKindsArePassedOver)
{
    const QByteArray text = record(wireName(someOwner), "anything", -1, 16);
    EXPECT_EQ(nameIn(header(0, 2) + text + record(wireName(someOwner), wireName("printer.local"))), QStringLiteral("printer.local"));
}

TEST(MulticastReply, AnotherOwnerIsNotBelieved)
{
    EXPECT_EQ(nameIn(header(0, 1) + record(wireName("21.1.168.192.in-addr.arpa"), wireName("printer.local"))), QString());
}

TEST(MulticastReply, AnotherIdIsNotBelieved)
{
    EXPECT_EQ(parseMulticastReply(plainReply("printer.local"))->nameFor(someOwner, 78), QString());
}

TEST(MulticastReply, AnotherQuestionIsNotBelieved)
{
    const QByteArray question = wireName("21.1.168.192.in-addr.arpa") + wire16(12) + wire16(1);
    EXPECT_EQ(nameIn(header(1, 1) + question + record(wireName(someOwner), wireName("printer.local"))), QString());
}

TEST(MulticastReply, QuestionsAndErrorsAreNoReplies)
{
    const QByteArray answer = record(wireName(someOwner), wireName("printer.local"));
    EXPECT_FALSE(parseMulticastReply(header(0, 1, 0x0000) + answer)); // a question
    EXPECT_FALSE(parseMulticastReply(header(0, 1, 0x8403) + answer)); // NXDOMAIN
    EXPECT_FALSE(parseMulticastReply(header(0, 1, 0xA800) + answer)); // an update's reply
}

TEST(MulticastReply, ANameWithControlCharactersIsLeftOut)
{
    EXPECT_EQ(nameIn(plainReply("prin\x1b[2Jter.local")), QString());
}

TEST(MulticastReply, EveryCutOffReplyIsRefused)
{
    const QByteArray question = wireName(someOwner) + wire16(12) + wire16(1);
    const QByteArray whole = header(1, 1) + question + record(pointerTo(12), wireName("printer.local"));
    ASSERT_TRUE(parseMulticastReply(whole));
    for (qsizetype length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(parseMulticastReply(whole.first(length))) << length;
}

TEST(MulticastReply, CountsThatPromiseTooMuchAreRefused)
{
    const QByteArray answer = record(wireName(someOwner), wireName("printer.local"));
    EXPECT_FALSE(parseMulticastReply(header(0, 2) + answer));
    EXPECT_FALSE(parseMulticastReply(header(1, 1) + answer));
    EXPECT_FALSE(parseMulticastReply(header(0, 0xFFFF) + answer));
}

TEST(MulticastReply, ARecordThatLiesAboutItsLengthIsRefused)
{
    const QByteArray name = wireName("printer.local");
    EXPECT_FALSE(parseMulticastReply(header(0, 1) + record(wireName(someOwner), name, int(name.size()) - 1)));
    EXPECT_FALSE(parseMulticastReply(header(0, 1) + record(wireName(someOwner), name + "xx", int(name.size()) + 2)));
    EXPECT_FALSE(parseMulticastReply(header(0, 1) + record(wireName(someOwner), name, 0xFFFF, 16)));
}

TEST(MulticastReply, LoopsAreRefused)
{
    EXPECT_FALSE(parseMulticastReply(header(0, 1) + record(pointerTo(12), wireName("printer.local")))); // points at itself
    const int data = 12 + int(wireName(someOwner).size()) + 10;
    EXPECT_FALSE(parseMulticastReply(header(0, 1)
        + record(wireName(someOwner),
            QByteArray("\x01"
                       "a")
                + pointerTo(data)))); // back to its own start
}

TEST(MulticastReply, PointersForwardsAreRefused)
{
    const QByteArray answer = record(pointerTo(100), wireName("printer.local"));
    EXPECT_FALSE(parseMulticastReply(header(0, 1) + answer + QByteArray(100, '\0') + wireName(someOwner)));
}

TEST(MulticastReply, AChainOfManyPointersIsRefused)
{
    QByteArray packet = header(0, 2);
    const int first = int(packet.size()) + 11; // the data of the first record, whose owner is the root
    QByteArray chain = QByteArray(1, '\0');
    for (int i = 0; i < 40; ++i)
        chain += pointerTo(i == 0 ? first : first + 1 + 2 * (i - 1));
    packet += record(QByteArray(1, '\0'), chain, -1, 16);
    packet += record(wireName(someOwner), pointerTo(first + 1 + 2 * 39));
    EXPECT_FALSE(parseMulticastReply(packet));
}

TEST(MulticastReply, LabelsOfUnusedKindsAreRefused)
{
    for (const int length : {0x40, 0x7F, 0x80, 0xBF})
        EXPECT_FALSE(parseMulticastReply(header(0, 1) + record(wireName(someOwner), char(length) + QByteArray(length, 'a') + '\0'))) << length;
}

TEST(MulticastReply, ALabelOf255BytesIsRefused)
{
    EXPECT_FALSE(parseMulticastReply(header(0, 1) + record(wireName(someOwner), '\xFF' + QByteArray(255, 'a') + '\0')));
}

TEST(MulticastReply, NamesEndAt255Bytes)
{
    const QByteArray label(63, 'a');
    const QByteArray three = label + '.' + label + '.' + label; // 192 bytes with their lengths
    EXPECT_EQ(nameIn(plainReply(three + '.' + QByteArray(61, 'b'))).size(), 253);
    EXPECT_EQ(nameIn(plainReply(three + '.' + QByteArray(62, 'b'))), QStringLiteral("(refused)"));
}

TEST(MulticastReply, ThousandsOfRecordsAreRefused)
{
    QByteArray packet = header(0, 2000);
    for (int i = 0; i < 2000; ++i)
        packet += record(QByteArray(1, '\0'), {}, -1, 16);
    EXPECT_FALSE(parseMulticastReply(packet));
}

TEST(MulticastReply, TheQuestionAsksForADirectAnswer)
{
    const QByteArray expected = wire16(77) + wire16(0) + wire16(1) + QByteArray(6, '\0') + wireName(someOwner) + wire16(12) + wire16(0x8001);
    EXPECT_EQ(multicastQuestion({someAddress}, 77), expected);
    EXPECT_EQ(reverseName(someAddress), someOwner);
}

TEST(MulticastReply, AQuestionMayBeForSeveralAddresses)
{
    const QByteArray other = wireName("21.1.168.192.in-addr.arpa") + wire16(12) + wire16(0x8001);
    QByteArray expected = multicastQuestion({someAddress}, 77) + other;
    expected[5] = 2;
    EXPECT_EQ(multicastQuestion({someAddress, someAddress + 1}, 77), expected);
}

} // namespace
