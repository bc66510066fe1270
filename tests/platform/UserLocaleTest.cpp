#include "platform/UserLocale.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

TEST(LocaleIdentifier, IsTheFirstVariableThatHoldsAnything)
{
    EXPECT_EQ(localeIdentifier("de_DE", "fr_FR", "en_US"), "de_DE");
    EXPECT_EQ(localeIdentifier({}, "fr_FR", "en_US"), "fr_FR");
    EXPECT_EQ(localeIdentifier("", "", "en_US"), "en_US");
}

TEST(LocaleIdentifier, HasNeitherCodesetNorModifier)
{
    EXPECT_EQ(localeIdentifier({}, {}, "en_US.UTF-8"), "en_US");
    EXPECT_EQ(localeIdentifier({}, {}, "de_DE.ISO8859-15@euro"), "de_DE");
    EXPECT_EQ(localeIdentifier({}, {}, "ca_ES@valencia"), "ca_ES");
}

TEST(LocaleIdentifier, OfNoLocaleOrThePlainOneIsTheAmericanOne)
{
    for (const char *plain : {"C", "POSIX", "C.UTF-8", "C.utf8", "", ".UTF-8"})
        EXPECT_EQ(localeIdentifier({}, {}, plain), "en_US_POSIX") << plain;
    EXPECT_EQ(localeIdentifier("C", "de_DE", "de_DE"), "en_US_POSIX") << "C is a locale, not the lack of one";
}

} // namespace
