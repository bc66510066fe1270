#include "tests/fakes/VirtualDispatch.h"

#include <gtest/gtest.h>

#include <QStringList>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class VirtualSleeps : public testing::Test
{
protected:
    /// A pool task that says its name at each beat.
    void beat(const QString &name, std::chrono::milliseconds period, int times)
    {
        dispatch.globalAsync([=, this] {
            for (int count = 0; count < times && dispatch.sleepFor(period); ++count)
                said.append(name);
            said.append(name + QStringLiteral(" ends"));
        });
    }

    QStringList said;
    VirtualDispatch dispatch; // last: its end waits for the tasks, which use the list
};

TEST_F(VirtualSleeps, LastAsLongAsTheTestSays)
{
    beat(QStringLiteral("a"), 100ms, 1);
    dispatch.advance(99ms);
    EXPECT_TRUE(said.isEmpty());
    dispatch.advance(1ms);
    EXPECT_EQ(said, QStringList({"a", "a ends"}));
}

TEST_F(VirtualSleeps, OverlapAndWakeInTheOrderOfTheirTimes)
{
    beat(QStringLiteral("a"), 100ms, 3);
    beat(QStringLiteral("b"), 150ms, 2);
    dispatch.mainAfter(120ms, [this] { said.append("main"); });
    dispatch.advance(1s);
    EXPECT_EQ(said, QStringList({"a", "main", "b", "a", "b", "b ends", "a", "a ends"})); // equal times wake in the order of falling asleep
}

TEST_F(VirtualSleeps, EndAtOnceWhenTheProgramEnds)
{
    beat(QStringLiteral("a"), 1h, 3);
    dispatch.runReady();
    dispatch.endSleeps();
    EXPECT_EQ(said, QStringList({"a ends"}));
    beat(QStringLiteral("late"), 1h, 3);
    dispatch.runReady();
    EXPECT_EQ(said.last(), "late ends");
}

} // namespace
