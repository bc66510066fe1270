#include "platform/linux/QtDispatch.h"

#include <QCoreApplication>
#include <QStringList>

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <thread>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class RunningDispatch : public testing::Test
{
protected:
    /// Turns the event loop until the condition holds; false after ten seconds.
    template <typename Condition> bool runUntil(Condition condition)
    {
        const auto end = std::chrono::steady_clock::now() + 10s;
        while (!condition() && std::chrono::steady_clock::now() < end)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 100);
        return condition();
    }
    QtDispatch dispatch;
};

TEST_F(RunningDispatch, WorkGoesToAnotherThreadAndComesBack)
{
    std::thread::id worker;
    std::thread::id back;
    std::atomic<bool> done{false};
    dispatch.globalAsync([&] {
        worker = std::this_thread::get_id();
        dispatch.mainAsync([&] {
            back = std::this_thread::get_id();
            done = true;
        });
    });
    ASSERT_TRUE(runUntil([&] { return done.load(); }));
    EXPECT_NE(worker, std::this_thread::get_id());
    EXPECT_EQ(back, std::this_thread::get_id());
}

TEST_F(RunningDispatch, TasksFromOneThreadKeepTheirOrder)
{
    std::vector<int> seen;
    dispatch.globalAsync([&] {
        for (int number = 0; number < 2000; ++number)
            dispatch.mainAsync([&, number] { seen.push_back(number); });
    });
    ASSERT_TRUE(runUntil([&] { return seen.size() == 2000; }));
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
}

TEST_F(RunningDispatch, DelayedTasksRunInTheOrderOfTheirDeadlines)
{
    QStringList order;
    const auto begin = dispatch.steadyNow();
    dispatch.mainAfter(30ms, [&] { order.append(QStringLiteral("late")); });
    dispatch.mainAfter(5ms, [&] { order.append(QStringLiteral("early")); });
    ASSERT_TRUE(runUntil([&] { return order.size() == 2; }));
    EXPECT_EQ(order, QStringList({"early", "late"}));
    EXPECT_GE(dispatch.steadyNow() - begin, 30ms);
}

TEST_F(RunningDispatch, ATimerSetOnAnotherThreadRunsOnTheMainThread)
{
    std::thread::id seen;
    std::atomic<bool> done{false};
    dispatch.globalAsync([&] {
        dispatch.mainAfter(1ms, [&] {
            seen = std::this_thread::get_id();
            done = true;
        });
    });
    ASSERT_TRUE(runUntil([&] { return done.load(); }));
    EXPECT_EQ(seen, std::this_thread::get_id());
}

TEST_F(RunningDispatch, ARepeatingTimerRepeatsUntilItsHandleGoes)
{
    int count = 0;
    TimerHandle timer = dispatch.performEvery(1ms, [&] { ++count; });
    ASSERT_TRUE(runUntil([&] { return count >= 3; }));
    timer.cancel();
    const int atCancel = count;
    bool later = false;
    dispatch.mainAfter(20ms, [&] { later = true; });
    ASSERT_TRUE(runUntil([&] { return later; }));
    EXPECT_EQ(count, atCancel);
}

TEST_F(RunningDispatch, BlockedTasksDelayNoOther)
{
    std::mutex mutex;
    std::condition_variable released;
    bool release = false;
    for (int task = 0; task < 12; ++task) {
        dispatch.globalAsync([&] {
            std::unique_lock lock(mutex);
            released.wait(lock, [&] { return release; });
        });
    }
    std::atomic<bool> ran{false};
    dispatch.globalAsync([&] { ran = true; });
    EXPECT_TRUE(runUntil([&] { return ran.load(); }));
    {
        const std::lock_guard lock(mutex);
        release = true;
    }
    released.notify_all();
    EXPECT_TRUE(dispatch.shutDown(5s));
}

TEST_F(RunningDispatch, ASerialQueueRunsItsTasksOneAtATimeAndInOrder)
{
    const auto queue = dispatch.makeSerialQueue();
    std::vector<int> seen; // guarded by the queue itself: the thread sanitizer would tell
    for (int number = 0; number < 500; ++number)
        queue->async([&, number] { seen.push_back(number); });
    std::atomic<bool> done{false};
    queue->async([&] { done = true; });
    ASSERT_TRUE(runUntil([&] { return done.load(); }));
    EXPECT_EQ(seen.size(), 500U);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
}

TEST_F(RunningDispatch, ShuttingDownDoesNotWaitForAStuckTask)
{
    const auto released = std::make_shared<std::atomic<bool>>(false);
    dispatch.globalAsync([released] {
        while (!*released)
            std::this_thread::yield();
    });
    EXPECT_FALSE(dispatch.shutDown(20ms));
    *released = true;
    EXPECT_TRUE(dispatch.shutDown(5s));
}

TEST_F(RunningDispatch, ATaskSleepsAsLongAsItAskedFor)
{
    std::atomic<std::chrono::nanoseconds> slept{};
    std::atomic<bool> whole{false};
    dispatch.globalAsync([&] {
        const auto start = dispatch.steadyNow();
        whole = dispatch.sleepFor(20ms);
        slept = dispatch.steadyNow() - start;
    });
    ASSERT_TRUE(runUntil([&] { return slept.load() > 0ns; }));
    EXPECT_TRUE(whole);
    EXPECT_GE(slept.load(), 20ms);
}

TEST_F(RunningDispatch, SleepingTasksDelayNoOtherHoweverManyTheyAre)
{
    std::atomic<int> sleeping{0};
    for (int task = 0; task < 100; ++task) { // more than may be at work
        dispatch.globalAsync([&] {
            ++sleeping;
            [[maybe_unused]] const bool whole = dispatch.sleepFor(1h);
        });
    }
    std::atomic<bool> ran{false};
    dispatch.globalAsync([&] { ran = true; });
    EXPECT_TRUE(runUntil([&] { return ran.load(); }));
    EXPECT_EQ(sleeping, 100);
    EXPECT_TRUE(dispatch.shutDown(5s));
}

TEST_F(RunningDispatch, ShuttingDownEndsEverySleep)
{
    std::atomic<int> cutShort{0};
    for (int task = 0; task < 4; ++task) {
        dispatch.globalAsync([&] {
            if (!dispatch.sleepFor(1h))
                ++cutShort;
        });
    }
    EXPECT_TRUE(dispatch.shutDown(5s));
    EXPECT_EQ(cutShort, 4);
}

} // namespace
