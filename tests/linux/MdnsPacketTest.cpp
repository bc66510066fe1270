#include "platform/linux/MdnsPacket.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QList>

using namespace lanterna;

namespace
{

constexpr quint16 answer = 0x8400;
constexpr quint16 a = 1;
constexpr quint16 cname = 5;
constexpr quint16 ptr = 12;

QByteArray bigEndian(quint16 number)
{
    return QByteArray().append(char(number >> 8)).append(char(number & 0xff));
}

QByteArray header(quint16 flags, quint16 questions, quint16 answers, quint16 authorities = 0, quint16 additionals = 0)
{
    return bigEndian(0) + bigEndian(flags) + bigEndian(questions) + bigEndian(answers) + bigEndian(authorities) + bigEndian(additionals);
}

QByteArray name(const QList<QByteArray> &labels)
{
    QByteArray bytes;
    for (const QByteArray &label : labels)
        bytes += char(label.size()) + label;
    return bytes + '\0';
}

QByteArray record(const QByteArray &owner, quint16 type, const QByteArray &data)
{
    return owner + bigEndian(type) + bigEndian(1) + QByteArray(4, 'T') + bigEndian(quint16(data.size())) + data;
}

QByteArray question(const QByteArray &of, quint16 type = 255)
{
    return of + bigEndian(type) + bigEndian(1);
}

bool mayReach(const QByteArray &packet)
{
    const bool asker = mayReachMdnsStack(packet, MdnsRole::asker);
    const bool responder = mayReachMdnsStack(packet, MdnsRole::responder);
    EXPECT_EQ(asker, responder);
    return asker;
}

bool mayReachResponder(const QByteArray &packet)
{
    EXPECT_FALSE(mayReachMdnsStack(packet, MdnsRole::asker));
    return mayReachMdnsStack(packet, MdnsRole::responder);
}

const QByteArray host = name({"printer", "local"});
const QByteArray pointer("\xc0\x0c", 2);

} // namespace

TEST(MdnsPacket, AnswersMayPass)
{
    const QByteArray packet = header(answer, 0, 1, 0, 1) + record(host, ptr, host) + record(pointer, a, "\xc0\xa8\x01\x14");
    EXPECT_TRUE(mayReach(packet));
    const auto parts = mdnsPacketParts(packet);
    ASSERT_TRUE(parts);
    ASSERT_EQ(parts->recordTypes.size(), 2U);
    EXPECT_TRUE(parts->questionNames.empty());
    EXPECT_EQ(packet.sliced(parts->recordTypes.at(0), 2), bigEndian(ptr));
    EXPECT_EQ(packet.sliced(parts->recordTypes.at(1), 2), bigEndian(a));
}

TEST(MdnsPacket, QuestionsPassToAResponderOnly)
{
    EXPECT_TRUE(mayReachResponder(header(0, 1, 0) + question(host)));
    EXPECT_TRUE(mayReachResponder(header(0, 2, 0) + question(host) + question(pointer)));
    EXPECT_TRUE(mayReachResponder(header(0, 0, 1) + record(host, a, "1234"))); // more known answers to an earlier question
}

TEST(MdnsPacket, KnownAnswersProbesAndExtensionsPassWithTheirQuestions)
{
    const QByteArray extension = QByteArray(1, '\0') + bigEndian(41) + bigEndian(1440) + QByteArray(4, '\0') + bigEndian(2) + "xx";
    const QByteArray packet =
        header(0, 1, 1, 2, 1) + question(host) + record(pointer, a, "1234") + record(pointer, a, "5678") + record(pointer, ptr, host) + extension;
    EXPECT_TRUE(mayReachResponder(packet));
    EXPECT_EQ(mdnsPacketParts(packet).value().recordTypes.size(), 4U);
    EXPECT_EQ(mdnsPacketParts(packet).value().questionNames, std::vector<qsizetype>({12}));
}

TEST(MdnsPacket, OneAliasAmongTheRecordsKeepsAPacketOut)
{
    const QByteArray good = record(host, a, "1234");
    const QByteArray alias = record(host, cname, host);
    EXPECT_FALSE(mayReach(header(answer, 0, 1) + alias));
    EXPECT_FALSE(mayReach(header(answer, 0, 2) + good + alias));
    EXPECT_FALSE(mayReach(header(answer, 0, 1, 0, 1) + good + alias));
    EXPECT_TRUE(mayReach(header(answer, 0, 1) + good + alias)); // behind the last record is nothing that anybody reads
}

TEST(MdnsPacket, OneAliasInAnySectionKeepsAQuestionOut)
{
    const QByteArray good = record(host, a, "1234");
    const QByteArray alias = record(host, cname, host);
    EXPECT_TRUE(mayReachResponder(header(0, 1, 1, 1, 1) + question(host) + good + good + good));
    EXPECT_FALSE(mayReachResponder(header(0, 1, 1, 1, 1) + question(host) + alias + good + good));
    EXPECT_FALSE(mayReachResponder(header(0, 1, 1, 1, 1) + question(host) + good + alias + good));
    EXPECT_FALSE(mayReachResponder(header(0, 1, 1, 1, 1) + question(host) + good + good + alias));
    EXPECT_FALSE(mayReachResponder(header(0, 0, 1) + alias));
    EXPECT_TRUE(mayReachResponder(header(0, 1, 0) + question(host, cname))); // asking for one is harmless: there is none
}

TEST(MdnsPacket, WhatIsNotReadToItsEndMayNotPass)
{
    const QByteArray packet = header(answer, 0, 2) + record(host, a, "1234") + record(pointer, a, "1234");
    ASSERT_TRUE(mayReach(packet));
    for (qsizetype size = 0; size < packet.size(); ++size)
        EXPECT_FALSE(mayReach(packet.first(size))) << size;
    const QByteArray asked = header(0, 2, 1) + question(host) + question(pointer) + record(pointer, a, "1234");
    ASSERT_TRUE(mayReachResponder(asked));
    for (qsizetype size = 0; size < asked.size(); ++size)
        EXPECT_FALSE(mayReachResponder(asked.first(size))) << size;
}

TEST(MdnsPacket, LabelsOverSixtyThreeBytesMayNotPass)
{
    EXPECT_TRUE(mayReach(header(answer, 0, 1) + record(name({QByteArray(63, 'x')}), a, "1234")));
    EXPECT_FALSE(mayReach(header(answer, 0, 1) + record(name({QByteArray(64, 'x')}), a, "1234")));
    EXPECT_FALSE(mayReach(header(answer, 0, 1) + record(name({QByteArray(191, 'x')}), a, "1234")));
    EXPECT_TRUE(mayReachResponder(header(0, 1, 0) + question(name({QByteArray(63, 'x')}))));
    EXPECT_FALSE(mayReachResponder(header(0, 1, 0) + question(name({QByteArray(64, 'x')}))));
}

TEST(MdnsPacket, AnswersWithQuestionsOrAuthoritiesMayNotPass)
{
    EXPECT_FALSE(mayReach(header(answer, 1, 1) + question(host) + record(host, a, "1234")));
    EXPECT_FALSE(mayReach(header(answer, 0, 1, 1) + record(host, a, "1234") + record(host, a, "1234")));
}

TEST(MdnsPacket, QuestionsForTheLoopbackMayNotPass)
{
    QList<QByteArray> reverse6(32, "0");
    reverse6[0] = "1";
    for (const QByteArray &loopback : {name({"localhost"}), name({"LocalHost"}), name({"ip6-localhost"}),
             name({"1", "0", "0", "127", "in-addr", "arpa"}), name(reverse6 + QList<QByteArray>({"ip6", "arpa"}))}) {
        EXPECT_FALSE(mayReachResponder(header(0, 1, 0) + question(loopback))) << loopback.constData();
        EXPECT_FALSE(mayReachResponder(header(0, 2, 0) + question(host) + question(loopback))) << loopback.constData();
    }
    EXPECT_TRUE(mayReachResponder(header(0, 1, 0) + question(name({"localhost", "local"}))));
    EXPECT_TRUE(mayReachResponder(header(0, 1, 0) + question(name({"20", "77", "168", "192", "in-addr", "arpa"}))));
}

TEST(MdnsPacket, CompressionHidesNoNameOfTheLoopback)
{
    // The second question points into the middle of the first: "x.localhost".
    const QByteArray first = question(name({"x", "localhost"}));
    EXPECT_TRUE(mayReachResponder(header(0, 1, 0) + first));
    EXPECT_TRUE(mayReachResponder(header(0, 2, 0) + first + question(QByteArray("\xc0\x0c", 2))));
    EXPECT_FALSE(mayReachResponder(header(0, 2, 0) + first + question(QByteArray("\xc0\x0e", 2))));
    EXPECT_FALSE(mayReachResponder(header(0, 3, 0) + first + question(pointer) + question("\x09localhost" + QByteArray(1, '\0'))));
}

TEST(MdnsPacket, QuestionsInCirclesMayNotPass)
{
    EXPECT_FALSE(mayReachResponder(header(0, 1, 0) + question(pointer))); // to itself
    EXPECT_FALSE(mayReachResponder(header(0, 1, 0) + question(QByteArray("\x01x\xc0\x0c", 4))));
    EXPECT_FALSE(mayReachResponder(header(0, 1, 0) + question(QByteArray("\xff\xff", 2)))); // behind the end
}
