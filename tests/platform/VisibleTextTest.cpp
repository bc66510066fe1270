#include "platform/VisibleText.h"

#include <QList>
#include <QString>

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

TEST(VisibleText, NothingIsSeenOfBlanksControlsAndInvisibleCharacters)
{
    for (const char *text :
        {"", " ", "\t\r\n", "\x01\x1b\x7f", "\u00a0\u2003\u3000\u1680", "\u200b\u200c\u200d\u2060\ufeff", "\u2028\u2029", "\u202e\u2066\u2069\u061c",
            "\u00ad", "\u034f\u0301\ufe0f\u20dd", "\U000e0041\U000e0100", "\u115f\u1160\u3164\uffa0", "\u2800", "\U0001d159"})
        EXPECT_FALSE(hasVisibleText(QString::fromUtf8(text))) << QString::fromUtf8(text).toUcs4().value(0);
}

TEST(VisibleText, OneCharacterThatShowsIsEnough)
{
    for (const char *text : {"a", "\u200b-\u200b", "\u202eé", "\U0001f4f1", "\u2764\ufe0f", "\u0e33", "\uf8ff", "\U0001ffff", "\ufffd", "\u0903"})
        EXPECT_TRUE(hasVisibleText(QString::fromUtf8(text))) << text;
}

} // namespace
