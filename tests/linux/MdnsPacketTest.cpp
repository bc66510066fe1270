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

const QByteArray host = name({"printer", "local"});
const QByteArray pointer("\xc0\x0c", 2);

} // namespace

TEST(MdnsPacket, AnswersMayPass)
{
    const QByteArray packet = header(answer, 0, 1, 0, 1) + record(host, ptr, host) + record(pointer, a, "\xc0\xa8\x01\x14");
    EXPECT_TRUE(mayReachMdnsStack(packet));
    const auto types = answerRecordTypes(packet);
    ASSERT_TRUE(types);
    ASSERT_EQ(types->size(), 2U);
    EXPECT_EQ(packet.sliced(types->at(0), 2), bigEndian(ptr));
    EXPECT_EQ(packet.sliced(types->at(1), 2), bigEndian(a));
}

TEST(MdnsPacket, QuestionsMayNotPass)
{
    EXPECT_FALSE(mayReachMdnsStack(header(0, 1, 0) + host + bigEndian(ptr) + bigEndian(1)));
    EXPECT_FALSE(mayReachMdnsStack(header(0, 0, 1) + record(host, a, "1234")));
}

TEST(MdnsPacket, OneAliasAmongTheRecordsKeepsAPacketOut)
{
    const QByteArray good = record(host, a, "1234");
    const QByteArray alias = record(host, cname, host);
    EXPECT_FALSE(mayReachMdnsStack(header(answer, 0, 1) + alias));
    EXPECT_FALSE(mayReachMdnsStack(header(answer, 0, 2) + good + alias));
    EXPECT_FALSE(mayReachMdnsStack(header(answer, 0, 1, 0, 1) + good + alias));
    EXPECT_TRUE(mayReachMdnsStack(header(answer, 0, 1) + good + alias)); // behind the last record is nothing that anybody reads
}

TEST(MdnsPacket, WhatIsNotReadToItsEndMayNotPass)
{
    const QByteArray packet = header(answer, 0, 2) + record(host, a, "1234") + record(pointer, a, "1234");
    ASSERT_TRUE(mayReachMdnsStack(packet));
    for (qsizetype size = 0; size < packet.size(); ++size)
        EXPECT_FALSE(mayReachMdnsStack(packet.first(size))) << size;
}

TEST(MdnsPacket, LabelsOverSixtyThreeBytesMayNotPass)
{
    EXPECT_TRUE(mayReachMdnsStack(header(answer, 0, 1) + record(name({QByteArray(63, 'x')}), a, "1234")));
    EXPECT_FALSE(mayReachMdnsStack(header(answer, 0, 1) + record(name({QByteArray(64, 'x')}), a, "1234")));
    EXPECT_FALSE(mayReachMdnsStack(header(answer, 0, 1) + record(name({QByteArray(191, 'x')}), a, "1234")));
}

TEST(MdnsPacket, AnswersWithQuestionsOrAuthoritiesMayNotPass)
{
    EXPECT_FALSE(mayReachMdnsStack(header(answer, 1, 1) + host + bigEndian(ptr) + bigEndian(1) + record(host, a, "1234")));
    EXPECT_FALSE(mayReachMdnsStack(header(answer, 0, 1, 1) + record(host, a, "1234") + record(host, a, "1234")));
}
