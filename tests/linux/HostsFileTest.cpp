#include "platform/linux/HostsFile.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

constexpr quint32 someAddress = 0xC0A80114; // 192.168.1.20

QString nameIn(const QByteArray &text)
{
    return hostsFileNames(text).value(someAddress);
}

TEST(HostsFile, TheFirstNameOfALineCounts)
{
    EXPECT_EQ(nameIn("192.168.1.20\tnas.home  nas # in the cellar\n"), QStringLiteral("nas.home"));
}

TEST(HostsFile, TheFirstLineOfAnAddressCounts)
{
    EXPECT_EQ(nameIn("192.168.1.20 nas\n192.168.1.20 other\n"), QStringLiteral("nas"));
}

TEST(HostsFile, CommentsAndNonsenseArePassedOver)
{
    EXPECT_EQ(
        nameIn("#192.168.1.20 old\n\nnonsense\n192.168.1.20\n192.168.1.20 #none\n::1 localhost\r\n  192.168.1.20 nas\r\n"), QStringLiteral("nas"));
}

TEST(HostsFile, AnAddressIsNoName)
{
    EXPECT_EQ(nameIn("192.168.1.20 192.168.1.20\n"), QString());
}

TEST(HostsFile, TheLastLineNeedsNoEnd)
{
    EXPECT_EQ(nameIn("192.168.1.20 nas"), QStringLiteral("nas"));
    EXPECT_TRUE(hostsFileNames("").isEmpty());
}

TEST(NameServiceSwitch, OfHostsFileAndDnsHasNothingMore)
{
    for (const char *text :
        {"", "passwd: files systemd\n", "hosts: files dns\n", "# hosts: mdns4\nhosts:\tfiles [NOTFOUND = return] dns # myhostname\n"})
        EXPECT_FALSE(namesMoreHostSources(text)) << text;
}

TEST(NameServiceSwitch, OfAnyOtherModuleHasMore)
{
    for (const char *text :
        {"hosts: files mdns4_minimal [NOTFOUND=return] dns\n", "passwd: files\nhosts:files dns myhostname", "hosts: resolve [!UNAVAIL=return] dns"})
        EXPECT_TRUE(namesMoreHostSources(text)) << text;
}

} // namespace
