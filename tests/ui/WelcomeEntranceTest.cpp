#include "ui/WelcomeEntrance.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

using namespace lanterna;

namespace
{

TEST(SpringProgress, BeginsAtRestAndEndsAtOne)
{
    EXPECT_EQ(springProgress(-1), 0);
    EXPECT_EQ(springProgress(0), 0);
    EXPECT_NEAR(springProgress(0.001), 0, 0.0001); // no jerk at the start
    EXPECT_NEAR(springProgress(10), 1, 1e-9);
}

TEST(SpringProgress, FollowsTheDampedOscillation)
{
    // 1 - e^(-0.6 w t) (cos 0.8 w t + 0.75 sin 0.8 w t), w = 2 pi / 0.8, computed elsewhere
    EXPECT_NEAR(springProgress(0.1), 0.219804, 1e-6);
    EXPECT_NEAR(springProgress(0.2), 0.601646, 1e-6);
    EXPECT_NEAR(springProgress(0.5), 1.094780, 1e-6);
    EXPECT_NEAR(springProgress(1.0), 0.991017, 1e-6);
    EXPECT_NEAR(springProgress(1.5), 1.000851, 1e-6);
}

TEST(SpringProgress, PeaksAfterHalfASecond)
{
    const double peak = 1 + std::exp(-0.6 * 2 * std::numbers::pi / 0.8 * 0.5);
    EXPECT_NEAR(springProgress(0.5), peak, 1e-9);
    for (double time = 0; time < 3; time += 0.001)
        EXPECT_LE(springProgress(time), peak) << time;
}

TEST(EaseOutProgress, IsFastFirstAndSlowLast)
{
    EXPECT_EQ(easeOutProgress(-3), 0);
    EXPECT_EQ(easeOutProgress(0), 0);
    EXPECT_EQ(easeOutProgress(1), 1);
    EXPECT_EQ(easeOutProgress(3), 1);
    EXPECT_NEAR(easeOutProgress(0.5), 0.6846, 0.001); // cubic-bezier(0, 0, 0.58, 1)
    double before = 0;
    for (double share = 0.01; share <= 1; share += 0.01) {
        EXPECT_GE(easeOutProgress(share), before) << share;
        before = easeOutProgress(share);
    }
}

class Entrance : public testing::Test
{
protected:
    void at(double seconds) { entrance.setProperty("seconds", seconds); }
    WelcomeEntrance entrance;
};

TEST_F(Entrance, BeginsWithASmallUnseenIconAndNothingElse)
{
    EXPECT_DOUBLE_EQ(entrance.iconScale(), 0.8);
    EXPECT_EQ(entrance.iconOpacity(), 0);
    EXPECT_EQ(entrance.arrivals(), QList<qreal>({0, 0, 0, 0}));
}

TEST_F(Entrance, IconPassesItsSizeAndItsOpacityDoesNotPassOne)
{
    at(0.5);
    EXPECT_NEAR(entrance.iconScale(), 1.019, 0.0005);
    EXPECT_EQ(entrance.iconOpacity(), 1);
}

TEST_F(Entrance, BlocksArriveOneAfterAnother)
{
    at(0.3);
    EXPECT_EQ(entrance.arrivals(), QList<qreal>({0, 0, 0, 0}));
    at(0.6);
    EXPECT_NEAR(entrance.arrivals().at(0), easeOutProgress(0.5), 1e-9);
    EXPECT_NEAR(entrance.arrivals().at(1), easeOutProgress(0.1 / 0.6), 1e-9);
    EXPECT_EQ(entrance.arrivals().at(2), 0);
    at(0.9001);
    EXPECT_EQ(entrance.arrivals().at(0), 1);
    EXPECT_GT(entrance.arrivals().at(1), entrance.arrivals().at(2));
    EXPECT_GT(entrance.arrivals().at(2), entrance.arrivals().at(3));
    at(1.3001);
    EXPECT_EQ(entrance.arrivals(), QList<qreal>({1, 1, 1, 1}));
}

TEST_F(Entrance, EverythingStandsAtItsEnd)
{
    at(entrance.duration());
    EXPECT_EQ(entrance.iconScale(), 1);
    EXPECT_EQ(entrance.iconOpacity(), 1);
    EXPECT_NEAR(springProgress(entrance.duration()), 1, 0.001); // so nobody sees it jump
}

TEST_F(Entrance, WithoutMovementEverythingStandsFromTheStart)
{
    entrance.setProperty("animated", false);
    EXPECT_EQ(entrance.iconScale(), 1);
    EXPECT_EQ(entrance.iconOpacity(), 1);
    EXPECT_EQ(entrance.arrivals(), QList<qreal>({1, 1, 1, 1}));
}

} // namespace
