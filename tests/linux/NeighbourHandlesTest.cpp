#include "platform/linux/NeighbourKeeper.h"

#include "tests/fakes/FakeNetlinkTransport.h"
#include "tests/linux/NetlinkBytes.h"

#include <gtest/gtest.h>

#include <array>

#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

using namespace lanterna;

namespace
{

/// The kernel is a pair of sockets here, and its table is always empty: what it drops, and when, is up to the test.
class NeighbourHandlesTest : public testing::Test
{
protected:
    void SetUp() override
    {
        std::array<int, 2> ends = {-1, -1};
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends.data()), 0);
        kernel = Descriptor(ends[0]);
        keeper = NeighbourKeeper::begin(std::make_shared<FakeNetlinkTransport>([](NetlinkBus, const QByteArray &) {
            return NetlinkAnswer{doneBytes(), 0};
        }),
            Descriptor(ends[1]));
        ASSERT_TRUE(keeper);
    }
    void say(int type, int host)
    {
        ndmsg header = {};
        header.ndm_family = AF_INET;
        header.ndm_ifindex = 2;
        header.ndm_state = NUD_STALE;
        const QByteArray attributes = addressAttribute(NDA_DST, 192, 168, 1, host) + attributeBytes(NDA_LLADDR, QByteArray::fromHex("001132007714"));
        const QByteArray bytes = messageBytes(type, header, attributes, 0);
        ASSERT_EQ(send(kernel.get(), bytes.data(), size_t(bytes.size()), 0), bytes.size());
    }
    void findAndDrop(int host)
    {
        say(RTM_NEWNEIGH, host);
        say(RTM_DELNEIGH, host);
    }
    /// The last parts of the addresses that are known.
    [[nodiscard]] QList<int> hosts() const
    {
        QList<int> found;
        for (const Neighbour &neighbour : keeper->merge({}))
            found.append(int(neighbour.address & 0xff));
        return found;
    }

    Descriptor kernel;
    std::shared_ptr<NeighbourKeeper> keeper;
};

TEST_F(NeighbourHandlesTest, WhatWasDroppedSinceTheOldestHandleBeganIsKept)
{
    const auto first = keeper->handle();
    findAndDrop(20);
    auto second = keeper->handle();
    findAndDrop(21);
    EXPECT_EQ(hosts(), (QList<int>{20, 21}));
    second.reset();
    EXPECT_EQ(hosts(), (QList<int>{20, 21}));
}

TEST_F(NeighbourHandlesTest, WhatWasDroppedBeforeTheOtherHandleBeganGoesWithTheOlder)
{
    auto first = keeper->handle();
    findAndDrop(20);
    const auto second = keeper->handle();
    findAndDrop(21);
    first.reset();
    EXPECT_EQ(hosts(), QList<int>{21});
}

TEST_F(NeighbourHandlesTest, HandlesThatAlwaysOverlapForgetAllTheSame)
{
    auto handle = keeper->handle();
    for (int host = 1; host < 100; ++host) {
        findAndDrop(host);
        auto next = keeper->handle();
        EXPECT_EQ(hosts(), QList<int>{host});
        handle = std::move(next);
        EXPECT_EQ(hosts(), QList<int>());
    }
}

TEST_F(NeighbourHandlesTest, OneFoundBeforeAHandleAndDroppedAfterwardsIsKept)
{
    auto first = keeper->handle();
    say(RTM_NEWNEIGH, 20);
    const auto second = keeper->handle();
    say(RTM_DELNEIGH, 20);
    first.reset();
    EXPECT_EQ(hosts(), QList<int>{20});
}

TEST_F(NeighbourHandlesTest, WithoutAHandleNothingDroppedIsKept)
{
    auto handle = keeper->handle();
    findAndDrop(20);
    EXPECT_EQ(hosts(), QList<int>{20});
    handle.reset();
    EXPECT_EQ(hosts(), QList<int>());
    findAndDrop(21);
    EXPECT_EQ(hosts(), QList<int>());
    findAndDrop(22);
    handle = keeper->handle();
    EXPECT_EQ(hosts(), QList<int>());
}

} // namespace
