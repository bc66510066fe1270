#include "cli/PeerPayload.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

PeerAnswer answerTo(const QByteArray &stream, qsizetype step = 7)
{
    PeerPayload payload;
    for (qsizetype at = 0; at < stream.size() && payload.take(stream.mid(at, step)); at += step)
        EXPECT_LE(payload.size(), stream.size());
    return payload.finish();
}

TEST(PeerPayload, AnObjectWithADeviceListIsASnapshot)
{
    const PeerAnswer answer = answerTo("{\"ssid\":\"Harbour\",\"devices\":\"\",\"dateEpoch\":1731680000.5}");
    EXPECT_EQ(answer.state, PeerState::snapshot);
    EXPECT_EQ(answer.snapshot, QVariantMap({{"ssid", "Harbour"}, {"devices", ""}, {"dateEpoch", 1731680000.5}}));
}

TEST(PeerPayload, TheSourceAloneOrNothingIsNone)
{
    EXPECT_EQ(answerTo("{\"source\":\"Lanterna\"}").state, PeerState::none);
    EXPECT_EQ(answerTo("{}").state, PeerState::none);
    EXPECT_EQ(answerTo(" \n{ } \r\n").state, PeerState::none);
}

TEST(PeerPayload, AnotherObjectIsNoSnapshot)
{
    EXPECT_EQ(answerTo("{\"error\":\"busy\"}").state, PeerState::noSnapshot);
    EXPECT_EQ(answerTo("{\"devices\":[1,2]}").state, PeerState::noSnapshot);
}

TEST(PeerPayload, AStreamThatEndsWithinTheDocumentIsCutShort)
{
    const QByteArray whole = "{\"ssid\":\"Har}bo\\\"ur\",\"devices\":\"\",\"list\":[{}]}";
    for (qsizetype length = 0; length < whole.size(); ++length)
        EXPECT_EQ(answerTo(whole.left(length)).state, PeerState::cutShort) << length;
    EXPECT_EQ(answerTo(whole).state, PeerState::snapshot);
}

TEST(PeerPayload, GarbageIsGivenUpAtItsFirstByte)
{
    for (const QByteArray &garbage :
        {QByteArray("HTTP/1.1 400"), QByteArray("[1]"), QByteArray("\0\0\0", 3), QByteArray("\xff{}"), QByteArray("7")}) {
        PeerPayload payload;
        EXPECT_FALSE(payload.take(garbage));
        EXPECT_EQ(payload.size(), 0);
        EXPECT_FALSE(payload.take("{}")); // and stays so
        EXPECT_EQ(payload.finish().state, PeerState::noJson);
    }
}

TEST(PeerPayload, WhatFollowsTheObjectSpoilsIt)
{
    EXPECT_EQ(answerTo("{\"devices\":\"\"}{}").state, PeerState::noJson);
    EXPECT_EQ(answerTo("{\"devices\":\"\"}x").state, PeerState::noJson);
    EXPECT_EQ(answerTo(QByteArray("{\"devices\":\"\"}\0", 15)).state, PeerState::noJson);
}

TEST(PeerPayload, BrokenJsonIsNone)
{
    EXPECT_EQ(answerTo("{\"devices\":}").state, PeerState::noJson);
    EXPECT_EQ(answerTo("{\"devices\":\"\",}").state, PeerState::noJson);
    EXPECT_EQ(answerTo("{]").state, PeerState::noJson);
}

TEST(PeerPayload, BytesThatAreNoUTF8AreReplaced)
{
    const PeerAnswer answer = answerTo("{\"devices\":\"\",\"ssid\":\"a\xff\xfe\"}");
    EXPECT_EQ(answer.snapshot.value("ssid"), QStringLiteral("a\uFFFD\uFFFD"));
}

TEST(PeerPayload, DeepNestingIsGivenUpBeforeItIsRead)
{
    PeerPayload payload;
    EXPECT_FALSE(payload.take("{\"a\":" + QByteArray(1000000, '[')));
    EXPECT_EQ(payload.size(), 0);
    EXPECT_EQ(payload.finish().state, PeerState::noJson);
    EXPECT_EQ(answerTo("{\"devices\":\"\",\"a\":" + QByteArray(100, '[') + QByteArray(100, ']') + '}').state, PeerState::snapshot);
}

TEST(PeerPayload, MoreValuesThanAnySnapshotHasAreGivenUp)
{
    const auto listOf = [](int values) { return "{\"devices\":\"\",\"a\":[" + QByteArray("1,").repeated(values - 1) + "1]}"; };
    EXPECT_EQ(answerTo(listOf(PeerPayload::maximumValues - 10), 4096).state, PeerState::snapshot);
    PeerPayload payload;
    EXPECT_FALSE(payload.take(listOf(PeerPayload::maximumValues + 10)));
}

TEST(PeerPayload, AnEndlessNumberIsGivenUp)
{
    PeerPayload payload;
    EXPECT_TRUE(payload.take("{\"dateEpoch\":" + QByteArray(PeerPayload::longestWord, '1')));
    EXPECT_FALSE(payload.take("1"));
}

TEST(PeerPayload, TextMayFillSixtyFourMebibytesAndNoByteMore)
{
    const QByteArray head = "{\"devices\":\"";
    PeerPayload payload;
    ASSERT_TRUE(payload.take(head));
    const QByteArray piece(1024 * 1024, 'x');
    for (int count = 0; count < 63; ++count)
        ASSERT_TRUE(payload.take(piece));
    ASSERT_TRUE(payload.take(QByteArray(piece.size() - head.size() - 2, 'x')));
    ASSERT_TRUE(payload.take("\"}"));
    EXPECT_EQ(payload.size(), PeerPayload::maximumSize);
    PeerPayload longer = payload;
    EXPECT_FALSE(longer.take(" "));
    EXPECT_EQ(longer.size(), 0);
    EXPECT_EQ(longer.finish().state, PeerState::tooLong);
    EXPECT_EQ(payload.finish().state, PeerState::snapshot);
}

TEST(PeerPayload, DevicesAreCountedAsReadersDo)
{
    const auto count = [](const char *devices) { return deviceCount({{"devices", QString::fromLatin1(devices)}}); };
    EXPECT_EQ(count(""), 0);
    EXPECT_EQ(count("\"a\"|*|Router|*|192.168.1.1|*|E4:8D:8C:11:22:33\n***\"b\"|*|Router|*|192.168.1.2|*|UNKNOWN|*|x\n"), 2);
    EXPECT_EQ(count("\"a\"|*|Router|*|192.168.1.1\n*** \n***"), 0);
    EXPECT_EQ(deviceCount({}), 0);
}

} // namespace
