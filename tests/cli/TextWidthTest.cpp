#include "cli/TextWidth.h"

#include <gtest/gtest.h>

#include <clocale>

using namespace lanterna;

namespace
{

TEST(TextWidth, WideLettersCountTwoAndMarksNone)
{
    EXPECT_EQ(columnsOf(QStringLiteral("Printer")), 7);
    EXPECT_EQ(columnsOf(QStringLiteral("日本語")), 6);
    EXPECT_EQ(columnsOf(QStringLiteral("한글")), 4);
    EXPECT_EQ(columnsOf(QStringLiteral("ＡＢ")), 4);
    EXPECT_EQ(columnsOf(QStringLiteral("Zoe\u0308")), 3);
    EXPECT_EQ(columnsOf(QStringLiteral("a\u200db")), 2);
    EXPECT_EQ(columnsOf(QStringLiteral("Küche Ω")), 7);
    EXPECT_EQ(columnsOf(QStringLiteral("📺")), 2);
    EXPECT_EQ(columnsOf(QStringLiteral("…")), 1);
}

TEST(TextWidth, TheEdgesOfTheTableAreRight)
{
    EXPECT_EQ(columnsOf(U'\x10ff'), 1);
    EXPECT_EQ(columnsOf(U'\x1100'), 2);
    EXPECT_EQ(columnsOf(U'\x115f'), 2);
    EXPECT_EQ(columnsOf(U'\x1160'), 0);
    EXPECT_EQ(columnsOf(U'\x4dc0'), 2);
    EXPECT_EQ(columnsOf(U'\x4e00'), 2);
    EXPECT_EQ(columnsOf(U'\xa4c6'), 2);
    EXPECT_EQ(columnsOf(U'\xd7b0'), 0);
    EXPECT_EQ(columnsOf(U'\xff60'), 2);
    EXPECT_EQ(columnsOf(U'\xff61'), 1);
    EXPECT_EQ(columnsOf(U'\x3fffd'), 1); // reserved for wide letters, but none is there yet
    EXPECT_EQ(columnsOf(U'\x20000'), 2);
}

TEST(TextWidth, DoesNotDependOnTheLocale)
{
    const std::string before = std::setlocale(LC_CTYPE, nullptr);
    std::setlocale(LC_CTYPE, "C");
    EXPECT_EQ(columnsOf(QStringLiteral("日本語")), 6);
    std::setlocale(LC_CTYPE, before.c_str());
}

TEST(TextWidth, CutTextsNeverTakeMoreColumnsThanAllowed)
{
    const QString text = QStringLiteral("日本語e\u0301 TV📺");
    for (int columns = 0; columns <= columnsOf(text); ++columns)
        EXPECT_LE(columnsOf(elided(text, columns)), columns);
    EXPECT_EQ(elided(text, 5), QStringLiteral("日本…"));
    EXPECT_EQ(elided(text, 4), QStringLiteral("日…"));
    EXPECT_EQ(elided(text, columnsOf(text)), text);
    EXPECT_EQ(elided(QStringLiteral("ab"), 1), QStringLiteral("…"));
    EXPECT_EQ(elided(QStringLiteral("ab"), 0), QString());
}

TEST(TextWidth, PaddingFillsToTheWidth)
{
    EXPECT_EQ(padded(QStringLiteral("日"), 4), QStringLiteral("日  "));
    EXPECT_EQ(padded(QStringLiteral("long"), 2), QStringLiteral("long"));
}

TEST(TextWidth, WhatWouldCommandATerminalIsWrittenOut)
{
    EXPECT_EQ(harmless(QStringLiteral("a\x1b[2J\nb")), QStringLiteral("a\\x1b[2J\\nb"));
    EXPECT_EQ(harmless(QStringLiteral("x\u202egnp.exe")), QStringLiteral("x\\u202egnp.exe"));
    EXPECT_EQ(harmless(QStringLiteral("日本")), QStringLiteral("日本"));
}

TEST(TextWidth, WordsAreWrappedWhole)
{
    EXPECT_EQ(wrapped("one two three", 7), "one two\nthree\n");
    EXPECT_EQ(wrapped("one two three", 6), "one\ntwo\nthree\n");
    EXPECT_EQ(wrapped("  a\nvery-long-word b ", 4), "a\nvery-long-word\nb\n");
    EXPECT_EQ(wrapped("日本 日本", 8), "日本\n日本\n") << "by columns";
    EXPECT_EQ(wrapped("", 4), "");
}

} // namespace
