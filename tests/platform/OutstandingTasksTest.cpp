#include "platform/OutstandingTasks.h"

#include "platform/ThreadPool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

TEST(OutstandingTasks, WithoutATaskNobodyWaits)
{
    OutstandingTasks outstanding;
    EXPECT_TRUE(outstanding.wait(0ms));
}

TEST(OutstandingTasks, ATaskIsOutstandingUntilItHasRunAndGone)
{
    OutstandingTasks outstanding;
    int ran = 0;
    Task task = outstanding.tracked([&] { ++ran; });
    EXPECT_FALSE(outstanding.wait(1ms));
    task();
    EXPECT_EQ(ran, 1);
    task = nullptr;
    EXPECT_TRUE(outstanding.wait(0ms));
}

TEST(OutstandingTasks, ATaskThatIsDroppedIsOutstandingNoLonger)
{
    OutstandingTasks outstanding;
    Task task = outstanding.tracked([] {});
    Task copy = task;
    task = nullptr;
    EXPECT_FALSE(outstanding.wait(1ms));
    copy = nullptr;
    EXPECT_TRUE(outstanding.wait(0ms));
}

TEST(OutstandingTasks, ATaskMayOutliveWhoCountsIt)
{
    Task task;
    {
        OutstandingTasks outstanding;
        task = outstanding.tracked([] {});
    }
    task();
}

TEST(OutstandingTasks, TheTasksOfAQueueAreWaitedFor)
{
    ThreadPool pool;
    const std::shared_ptr<SerialQueue> queue = pool.makeSerialQueue();
    OutstandingTasks outstanding;
    std::atomic<int> ran = 0;
    for (int task = 0; task < 20; ++task) {
        queue->async(outstanding.tracked([&] {
            std::this_thread::sleep_for(1ms);
            ++ran;
        }));
    }
    EXPECT_TRUE(outstanding.wait(10s));
    EXPECT_EQ(ran, 20);
    EXPECT_TRUE(pool.shutDown(10s));
}

} // namespace
