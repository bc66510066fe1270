#include "tests/fakes/VirtualDispatch.h"

#include <gtest/gtest.h>

#include <QStringList>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class VirtualTime : public testing::Test
{
protected:
    Task note(const char *name)
    {
        return [this, name] { order.append(QString::fromLatin1(name)); };
    }
    VirtualDispatch dispatch;
    QStringList order;
};

TEST_F(VirtualTime, HandedOverTasksRunInTheirOrderAndNeverInsideTheCall)
{
    dispatch.mainAsync(note("first"));
    dispatch.globalAsync(note("second"));
    dispatch.makeSerialQueue()->async(note("third"));
    EXPECT_TRUE(order.isEmpty());
    dispatch.runReady();
    EXPECT_EQ(order, QStringList({"first", "second", "third"}));
}

TEST_F(VirtualTime, DelayedTasksRunAtTheirMomentEarliestFirst)
{
    dispatch.mainAfter(300ms, note("late"));
    dispatch.mainAfter(100ms, note("early"));
    dispatch.mainAfter(100ms, note("early too"));
    dispatch.advance(99ms);
    EXPECT_TRUE(order.isEmpty());
    dispatch.advance(201ms);
    EXPECT_EQ(order, QStringList({"early", "early too", "late"}));
}

TEST_F(VirtualTime, ATaskSeesTheTimeAtWhichItWasDue)
{
    std::chrono::nanoseconds seen{0};
    dispatch.mainAfter(100ms, [&] { seen = dispatch.steadyNow(); });
    dispatch.advance(1h);
    EXPECT_EQ(seen, 100ms);
}

TEST_F(VirtualTime, DroppedAndCancelledTimersNeverRun)
{
    {
        const TimerHandle dropped = dispatch.performAfter(10ms, note("dropped"));
    }
    TimerHandle cancelled = dispatch.performEvery(10ms, note("cancelled"));
    cancelled.cancel();
    dispatch.advance(1s);
    EXPECT_TRUE(order.isEmpty());
}

TEST_F(VirtualTime, AReplacedHandleCancelsWhatItHeld)
{
    TimerHandle pending = dispatch.performAfter(10ms, note("old"));
    pending = dispatch.performAfter(20ms, note("new"));
    dispatch.advance(1s);
    EXPECT_EQ(order, QStringList({"new"}));
}

TEST_F(VirtualTime, ATimerThatIsDueCanStillBeCancelledByAnEarlierTask)
{
    TimerHandle second;
    const TimerHandle first = dispatch.performAfter(10ms, [&] { second.cancel(); });
    second = dispatch.performAfter(10ms, note("second"));
    dispatch.advance(1s);
    EXPECT_TRUE(order.isEmpty());
}

TEST_F(VirtualTime, ARepeatingTimerKeepsItsBeatForADay)
{
    int count = 0;
    const TimerHandle timer = dispatch.performEvery(60s, [&] { ++count; });
    dispatch.advance(24h);
    EXPECT_EQ(count, 1440);
}

TEST_F(VirtualTime, ATimerMayEndItself)
{
    int count = 0;
    TimerHandle timer;
    timer = dispatch.performEvery(1s, [&] {
        if (++count == 3)
            timer.cancel();
    });
    dispatch.advance(1min);
    EXPECT_EQ(count, 3);
}

TEST_F(VirtualTime, AHandleMayOutliveItsDispatch)
{
    TimerHandle timer;
    {
        VirtualDispatch shortLived;
        timer = shortLived.performAfter(1s, note("never"));
    }
    timer.cancel();
    EXPECT_TRUE(order.isEmpty());
}

TEST_F(VirtualTime, AJumpOfTheWallClockMovesNoTimer)
{
    const QDateTime before = dispatch.now();
    const TimerHandle timer = dispatch.performAfter(10s, note("due"));
    dispatch.jumpWallClock(-48h);
    dispatch.advance(10s);
    EXPECT_EQ(order, QStringList({"due"}));
    EXPECT_EQ(before.secsTo(dispatch.now()), 10 - 48 * 3600);
}

TEST(TaskQueue, AHeldUpRepeatingTimerRunsOnceAndKeepsTheOriginalBeat)
{
    TaskQueue queue;
    int count = 0;
    queue.addTimer(10s, 10s, [&] { ++count; });
    while (const auto task = queue.takeNext(57s))
        (*task)();
    EXPECT_EQ(count, 1);
    EXPECT_EQ(queue.nextDeadline(), std::optional<TaskQueue::Time>(60s));
}

} // namespace
