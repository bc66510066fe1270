#include "platform/ThreadPool.h"

#include "tests/support/NoMoreThreads.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <optional>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class ThreadPoolTest : public testing::Test
{
protected:
    void TearDown() override { EXPECT_TRUE(pool.shutDown(10s)); }
    Task count()
    {
        return [this] {
            const std::scoped_lock lock(mutex);
            ++ran;
            changed.notify_all();
        };
    }
    bool soon(int number)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, 10s, [&] { return ran == number; });
    }

    std::mutex mutex;
    std::condition_variable changed;
    int ran = 0;
    bool released = false;
    ThreadPool pool;
};

TEST_F(ThreadPoolTest, TasksWithoutAThreadWaitForTheNextOne)
{
    {
        const NoMoreThreads limit;
        for (int task = 0; task < 100; ++task) // more than may be at work: none of them counts as one that is
            pool.run(count());
    }
    EXPECT_EQ(ran, 0);
    pool.run(count());
    EXPECT_TRUE(soon(101));
}

TEST_F(ThreadPoolTest, TasksWithoutAThreadOfTheirOwnAreRunByThoseThereAre)
{
    pool.run([this] {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return released; });
    });
    {
        const NoMoreThreads limit;
        pool.run(count());
        pool.run(count());
        EXPECT_EQ(ran, 0);
        const std::scoped_lock lock(mutex);
        released = true;
        changed.notify_all();
    }
    EXPECT_TRUE(soon(2));
}

TEST_F(ThreadPoolTest, TasksThatNeverHadAThreadDoNotHoldTheEnd)
{
    const NoMoreThreads limit;
    pool.run(count());
    EXPECT_TRUE(pool.shutDown(10s));
    EXPECT_EQ(ran, 0);
}

} // namespace
