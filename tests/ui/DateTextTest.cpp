#include "ui/DateText.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

/// The text with plain spaces: versions of the locale data differ in the width of theirs.
QString written(const char *locale, const QDateTime &moment = QDateTime(QDate(2026, 11, 22), QTime(14, 5, 59)))
{
    return mediumDateShortTime(moment, QString::fromLatin1(locale)).replace(QChar(0x202f), u' ').replace(QChar(0xa0), u' ');
}

TEST(DateText, HasTheMediumDateAndTheShortTimeOfTheLocale)
{
    EXPECT_EQ(written("en_US"), "Nov 22, 2026, 2:05 PM");
    EXPECT_EQ(written("en_US_POSIX"), "Nov 22, 2026, 2:05 PM");
    EXPECT_EQ(written("de_DE"), "22.11.2026, 14:05");
    EXPECT_EQ(written("ja_JP"), "2026/11/22 14:05");
}

TEST(DateText, IsOfLocalTime)
{
    const QDateTime local(QDate(2026, 3, 1), QTime(0, 30));
    EXPECT_EQ(written("de_DE", local.toUTC()), "01.03.2026, 00:30");
}

TEST(DateText, OfAnUnknownLocaleIsWrittenAllTheSame)
{
    EXPECT_TRUE(written("xx_YY").contains("2026"));
    for (const char *bad : {"no such locale", "", "%s%s", "averyveryverylonglanguage_DE", "de_", "_DE", "de/../x"})
        EXPECT_EQ(written(bad), "Nov 22, 2026, 2:05 PM") << bad;
    EXPECT_TRUE(written("abcdefgh_ABCDEFGH_12345678_ABCDEFGH_ABCDEFGH").contains("2026"));
}

TEST(DateText, OfDatesFarAwayHasRoom)
{
    EXPECT_TRUE(written("en_US", QDateTime(QDate(200000, 1, 1), QTime(0, 0))).contains("200000"));
    EXPECT_EQ(mediumDateShortTime({}, "en_US"), "");
}

} // namespace
