#include "platform/linux/HostName.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

TEST(HostName, ATrailingDotIsRemoved)
{
    EXPECT_EQ(hostName("nas.home."), QStringLiteral("nas.home"));
    EXPECT_EQ(hostName("nas"), QStringLiteral("nas"));
}

TEST(HostName, LettersOfAnyScriptAreKept)
{
    EXPECT_EQ(hostName("K\xC3\xBC"
                       "che.local"),
        QStringLiteral("Küche.local"));
    EXPECT_EQ(hostName("\xE5\xB1\x85\xE9\x96\x93.local"), QStringLiteral("居間.local"));
}

TEST(HostName, SpacesAroundItAreRemoved)
{
    EXPECT_EQ(hostName(" Anna's Mac.local "), QStringLiteral("Anna's Mac.local"));
}

TEST(HostName, ANameThatCouldUpsetATerminalIsRefused)
{
    EXPECT_EQ(hostName("nas\x1b[2Jhome"), QString());
    EXPECT_EQ(hostName("nas\nhome"), QString());
    EXPECT_EQ(hostName("nas\x7fhome"), QString());
    EXPECT_EQ(hostName(QByteArrayView("nas\0home", 8)), QString());
    EXPECT_EQ(hostName("nas\xC2\x9Bhome"), QString()); // U+009B opens terminal commands too
    EXPECT_EQ(hostName("nas\xE2\x80\xA8home"), QString()); // line separator
}

TEST(HostName, ANameThatTurnsTheWritingIsRefused)
{
    EXPECT_EQ(hostName("nas\xE2\x80\xAEmoc"), QString());
    EXPECT_EQ(hostName("nas\xE2\x81\xA6moc"), QString());
}

TEST(HostName, BytesThatAreNotUtf8AreRefused)
{
    EXPECT_EQ(hostName("nas\xFF"), QString());
    EXPECT_EQ(hostName("nas\xC3"), QString());
}

TEST(HostName, TwoHundredAndFiftyFiveBytesAreTheLimit)
{
    EXPECT_EQ(hostName(QByteArray(255, 'a')), QString(255, u'a'));
    EXPECT_EQ(hostName(QByteArray(255, 'a') + '.'), QString(255, u'a'));
    EXPECT_EQ(hostName(QByteArray(256, 'a')), QString());
}

TEST(HostName, AnAddressIsNoName)
{
    EXPECT_EQ(hostName("192.168.1.20"), QString());
    EXPECT_EQ(hostName("192.168.1.20."), QString());
    EXPECT_EQ(hostName("fe80::1"), QString());
    EXPECT_EQ(hostName("fe80::1%eth0"), QString());
    EXPECT_EQ(hostName("20.1.168.192.IN-ADDR.arpa."), QString());
    EXPECT_EQ(hostName("192-168-1-20.home"), QStringLiteral("192-168-1-20.home"));
}

TEST(HostName, NothingIsNoName)
{
    EXPECT_EQ(hostName(""), QString());
    EXPECT_EQ(hostName("."), QString());
    EXPECT_EQ(hostName(".. ."), QString());
}

TEST(HostName, WhatCannotBeSeenIsNoName)
{
    EXPECT_EQ(hostName("\xE2\x80\x8B"), QString()); // zero width space
    EXPECT_EQ(hostName("\xE2\x80\x8D.\xEF\xBB\xBF "), QString()); // joiner, byte order mark
    EXPECT_EQ(hostName("\xF3\xA0\x81\xA1"), QString()); // U+E0061, a tag
    EXPECT_EQ(hostName("\xEF\xB8\x8F"), QString()); // U+FE0F chooses the look of a character before it
    EXPECT_EQ(hostName("\xE3\x85\xA4"), QString()); // U+3164 fills the place of a letter
}

TEST(HostName, InvisibleCharactersOfHonestNamesAreKept)
{
    EXPECT_EQ(hostName("\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x92\xBB.local"), QStringLiteral("👩\u200D💻.local"));
    EXPECT_EQ(hostName("\xE0\xA4\x95\xE0\xA5\x8D\xE2\x80\x8D.local"), QStringLiteral("क्\u200D.local"));
}

TEST(HostName, InvisibleCharactersHideNoAddress)
{
    EXPECT_EQ(hostName("192.168\xE2\x80\x8B.1.20"), QString());
    EXPECT_EQ(hostName("\xE2\x80\x8D"
                       "fe80::1"),
        QString());
    EXPECT_EQ(hostName("20.1.168.192.in-addr.ar\xE2\x80\x8Dpa"), QString());
}

} // namespace
