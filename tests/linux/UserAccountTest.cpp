#include "platform/linux/UserAccount.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

TEST(UserAccount, TheFullNameEndsAtTheFirstComma)
{
    EXPECT_EQ(fullNameFromAccount("Ada Keeper,Room 3,,", "ada"), "Ada Keeper");
    EXPECT_EQ(fullNameFromAccount("Ada Keeper", "ada"), "Ada Keeper");
}

TEST(UserAccount, WithoutAFullNameTheLoginCounts)
{
    EXPECT_EQ(fullNameFromAccount("", "ada"), "ada");
    EXPECT_EQ(fullNameFromAccount(" ,Room 3", "ada"), "ada");
}

} // namespace
