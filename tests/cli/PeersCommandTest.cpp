#include "cli/PeersCommand.h"

#include <gtest/gtest.h>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

TEST(PeersOptions, FourSecondsAndATableByDefault)
{
    EXPECT_EQ(parsePeersOptions({}).options, (PeersOptions{4s, false}));
}

TEST(PeersOptions, TimeoutAndFormAreRead)
{
    EXPECT_EQ(parsePeersOptions({"--json", "--timeout", "60"}).options, (PeersOptions{60s, true}));
    EXPECT_EQ(parsePeersOptions({"--timeout", "9", "--timeout", "1"}).options, (PeersOptions{1s, false}));
}

TEST(PeersOptions, ATimeoutOutsideOneToSixtyIsRefused)
{
    for (const char *seconds : {"0", "61", "-1", "2.5", "soon", "", "99999999999"})
        EXPECT_EQ(parsePeersOptions({"--timeout", seconds}).error, "peers: --timeout needs a number of seconds, 1 to 60") << seconds;
    EXPECT_EQ(parsePeersOptions({"--timeout"}).error, "peers: --timeout needs a number of seconds, 1 to 60");
}

TEST(PeersOptions, AnythingElseIsRefused)
{
    EXPECT_EQ(parsePeersOptions({"--fast"}).error, "peers: unknown argument '--fast'");
}

} // namespace
