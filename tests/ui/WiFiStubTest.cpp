#include "ui/WiFiStub.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

QString times(int count, const char *character)
{
    return QString::fromUtf8(character).repeated(count);
}

bool accepted(const QString &input)
{
    return WiFiStub::valid(WiFiStub::candidate(input));
}

TEST(WiFiStubName, IsSavedWithoutBlanksAtItsEnds)
{
    EXPECT_EQ(WiFiStub::candidate("  HomeNet\t\n"), "HomeNet");
    EXPECT_EQ(WiFiStub::candidate("\u2003Home Net\u00a0"), "Home Net");
    EXPECT_TRUE(accepted("  HomeNet "));
}

TEST(WiFiStubName, OfNothingButBlanksIsRefused)
{
    EXPECT_FALSE(accepted(""));
    EXPECT_FALSE(accepted(" \t\n "));
}

TEST(WiFiStubName, Of32CharactersIsAcceptedAnd33Refused)
{
    EXPECT_TRUE(accepted(times(32, "a")));
    EXPECT_FALSE(WiFiStub::tooLong(times(32, "a")));
    EXPECT_FALSE(accepted(times(33, "a")));
    EXPECT_TRUE(WiFiStub::tooLong(times(33, "a")));
}

TEST(WiFiStubName, BlanksAroundItCountForTheWarningAlone)
{
    const QString input = "  " + times(32, "a");
    EXPECT_TRUE(WiFiStub::tooLong(input));
    EXPECT_TRUE(accepted(input));
}

TEST(WiFiStubName, CountsCharactersAsPeopleDo)
{
    for (const char *one : {"é", "e\u0301", "👍🏽", "👩‍👩‍👧‍👦", "🇩🇪", "1️⃣", "각", "ก็"}) {
        EXPECT_EQ(WiFiStub::characterCount(QString::fromUtf8(one)), 1) << one;
        EXPECT_TRUE(accepted(times(32, one))) << one;
        EXPECT_FALSE(accepted(times(33, one))) << one;
    }
}

TEST(WiFiStubName, OfBrokenTextIsCountedToo)
{
    EXPECT_EQ(WiFiStub::characterCount(QString(QChar(0xd83d))), 1); // half a pair
    EXPECT_EQ(WiFiStub::characterCount({}), 0);
}

} // namespace
