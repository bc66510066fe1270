#include "platform/linux/MachineName.h"

#include "platform/ServiceName.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

TEST(MachineName, IsReadPlainOrInQuotes)
{
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=Study\n"), "Study");
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=\"Ada's \\\"big\\\" one\"\n"), "Ada's \"big\" one");
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME='a \\ b'"), "a \\ b");
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=Ada\\'s one  \n"), "Ada's one");
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=\"tab\\t\""), "tab\\t");
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=\"Küche 🏮\"\r\n"), "Küche 🏮");
}

TEST(MachineName, IsFoundAmongOtherLines)
{
    EXPECT_EQ(
        prettyHostName("# a comment = x\n;PRETTY_HOSTNAME=no\n\nICON_NAME=computer\nCHASSIS=\n PRETTY_HOSTNAME = \"Study\"\nDEPLOYMENT=x"), "Study");
    EXPECT_EQ(prettyHostName("nonsense\nPRETTY_HOSTNAME=first\nPRETTY_HOSTNAME=second\n"), "second");
    EXPECT_EQ(prettyHostName("LOCATION=\"a\nPRETTY_HOSTNAME=inside\"\nPRETTY_HOSTNAME=outside"), "outside");
}

TEST(MachineName, IsEmptyWhereTheFileHasNone)
{
    EXPECT_EQ(prettyHostName(""), "");
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME"), "");
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME="), "");
    EXPECT_EQ(prettyHostName("OLD_PRETTY_HOSTNAME=x"), "");
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=\"\xff\xfe\""), "");
    EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=\"open"), "open");
}

TEST(MachineName, OfThisMachineFitsAService)
{
    const QByteArray name = machineServiceName().toUtf8();
    EXPECT_FALSE(name.isEmpty());
    EXPECT_LE(name.size(), maximumServiceNameBytes);
}

} // namespace
