#include "platform/RecordDatabase.h"

#include <gtest/gtest.h>

using namespace lanterna;

TEST(RecordDatabase, NamesAreOfAFewASCIICharacters)
{
    EXPECT_TRUE(isRecordIdentifier("userCustomizationsDict"));
    EXPECT_TRUE(isRecordIdentifier("."));
    EXPECT_TRUE(isRecordIdentifier("-_9"));
    EXPECT_TRUE(isRecordIdentifier(QString(255, u'a')));
    EXPECT_FALSE(isRecordIdentifier(QString(256, u'a')));
    EXPECT_FALSE(isRecordIdentifier(""));
    for (const char *other : {"a/b", "a b", "a\n", "a%", "ä", "٣"}) // the last one is a digit elsewhere
        EXPECT_FALSE(isRecordIdentifier(QString::fromUtf8(other))) << other;
}

TEST(RecordDatabase, AnErrorIsToldWithItsCode)
{
    EXPECT_EQ(describe({RecordErrorCode::notAuthenticated, "not signed in", {}}), "not signed in (9)");
}
