#include "platform/ServiceName.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

TEST(ServiceName, IsWhatPeopleCallTheMachine)
{
    EXPECT_EQ(defaultServiceName("Ada's Laptop v2.0", "laptop.example.org"), "Ada's Laptop v2.0");
    EXPECT_EQ(defaultServiceName("  Küche ", "kueche"), "Küche");
}

TEST(ServiceName, IsTheHostNameBeforeItsFirstDotWherePeopleCallItNothing)
{
    EXPECT_EQ(defaultServiceName("", "laptop.example.org"), "laptop");
    EXPECT_EQ(defaultServiceName(" \t", "laptop"), "laptop");
}

TEST(ServiceName, IsNeverEmpty)
{
    EXPECT_EQ(defaultServiceName("", ""), "Lanterna");
    EXPECT_EQ(defaultServiceName("\x01", ".example.org"), "Lanterna");
}

TEST(ServiceName, HasNoControlCharacters)
{
    EXPECT_EQ(defaultServiceName("Study\nroom\x7f", ""), "Studyroom");
}

TEST(ServiceName, IsCutTo63BytesBetweenCharacters)
{
    EXPECT_EQ(defaultServiceName(QString(70, 'a'), "").size(), 63);
    EXPECT_EQ(defaultServiceName(QString(63, 'a'), "").size(), 63);
    EXPECT_EQ(defaultServiceName("a" + QString(31, u'ü'), ""), "a" + QString(31, u'ü')); // 63 bytes
    EXPECT_EQ(defaultServiceName(QString(32, u'ü'), ""), QString(31, u'ü')); // 62 bytes
    EXPECT_EQ(defaultServiceName(QString(62, 'a') + QStringLiteral("🏮"), ""), QString(62, 'a'));
    EXPECT_EQ(defaultServiceName(QString(62, 'a') + QStringLiteral("e\u0301"), ""), QString(62, 'a')); // not its letter alone
    EXPECT_EQ(defaultServiceName(QString(62, 'a') + " b", ""), QString(62, 'a'));
}

TEST(ServiceName, LetterWithTooManyMarksLosesSome)
{
    const QString name = defaultServiceName("e" + QString(100, QChar(0x301)), "");
    EXPECT_EQ(name, "e" + QString(31, QChar(0x301)));
}

} // namespace
