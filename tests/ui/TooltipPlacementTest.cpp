#include "ui/TooltipPlacement.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

using Monitors = QList<ScreenLayout::Monitor>;

/// A panel of 30 points at the top.
const ScreenLayout::Monitor first{QRectF(0, 0, 1280, 800), QRectF(0, 30, 1280, 770)};
/// Right of it, lower, with a panel of 40 points at the top.
const ScreenLayout::Monitor second{QRectF(1280, 100, 1000, 700), QRectF(1280, 140, 1000, 660)};
const QSizeF usual(216, 50);

TEST(TooltipPlacement, BubbleStandsUnderThePanelWithItsMiddleAtX)
{
    EXPECT_EQ(tooltipFrame(usual, 600, {first}), QRect(490, 35, 220, 50));
}

TEST(TooltipPlacement, ShortMessageStillGets100Points)
{
    EXPECT_EQ(tooltipFrame({20, 50}, 600, {first}), QRect(550, 35, 100, 50));
    EXPECT_EQ(tooltipFrame({97, 50}, 600, {first}).width(), 101);
}

TEST(TooltipPlacement, LongMessageIsCappedAt400Points)
{
    EXPECT_EQ(tooltipFrame({408, 90}, 600, {first}), QRect(400, 35, 400, 90));
    EXPECT_EQ(tooltipFrame({395, 90}, 600, {first}).width(), 399);
}

TEST(TooltipPlacement, NearTheRightEdgeItEnds10PointsInside)
{
    EXPECT_EQ(tooltipFrame({408, 50}, 1081, {first}), QRect(870, 35, 400, 50));
    EXPECT_EQ(tooltipFrame({408, 50}, 1280, {first}), QRect(870, 35, 400, 50));
    EXPECT_EQ(tooltipFrame({408, 50}, 1080, {first}), QRect(880, 35, 400, 50)) << "it fits exactly";
}

TEST(TooltipPlacement, NearTheLeftEdgeItStarts10PointsInside)
{
    EXPECT_EQ(tooltipFrame({408, 50}, 199, {first}), QRect(10, 35, 400, 50));
    EXPECT_EQ(tooltipFrame({408, 50}, 0, {first}), QRect(10, 35, 400, 50));
    EXPECT_EQ(tooltipFrame({408, 50}, 200, {first}), QRect(0, 35, 400, 50)) << "it fits exactly";
}

TEST(TooltipPlacement, MonitorNarrowerThanTheBubbleShowsItsStart)
{
    const ScreenLayout::Monitor narrow{QRectF(0, 0, 300, 800), QRectF(0, 30, 300, 770)};
    EXPECT_EQ(tooltipFrame({408, 50}, 150, {narrow}), QRect(10, 35, 400, 50));
}

TEST(TooltipPlacement, OnTheSecondMonitorItStandsAtThatOnesTopEdge)
{
    EXPECT_EQ(tooltipFrame(usual, 1800, {first, second}), QRect(1690, 145, 220, 50));
    EXPECT_EQ(tooltipFrame(usual, 2275, {first, second}), QRect(2050, 145, 220, 50)) << "and ends inside it";
    EXPECT_EQ(tooltipFrame(usual, 1290, {first, second}), QRect(1290, 145, 220, 50));
}

TEST(TooltipPlacement, OfTwoMonitorsThatSpanXTheFirstCounts)
{
    EXPECT_EQ(tooltipFrame(usual, 1280, {first, second}), QRect(1050, 35, 220, 50));
    EXPECT_EQ(tooltipFrame(usual, 1280, {second, first}), QRect(1290, 145, 220, 50));
    const ScreenLayout::Monitor below{QRectF(0, 800, 1280, 800), QRectF(0, 800, 1280, 800)};
    EXPECT_EQ(tooltipFrame(usual, 600, {below, first}).top(), 805);
}

TEST(TooltipPlacement, XOnNoMonitorIsShownOnTheMainOne)
{
    EXPECT_EQ(tooltipFrame(usual, 5000, {first, second}), QRect(1050, 35, 220, 50));
    EXPECT_EQ(tooltipFrame(usual, -5000, {first, second}), QRect(10, 35, 220, 50));
    EXPECT_EQ(tooltipFrame(usual, -5000, {second, first}), QRect(1290, 145, 220, 50));
}

TEST(TooltipPlacement, WithAPanelAtTheBottomOnlyItStandsAboveThat)
{
    const ScreenLayout::Monitor bottom{QRectF(0, 0, 1280, 800), QRectF(0, 0, 1280, 760)};
    EXPECT_EQ(tooltipFrame(usual, 600, {bottom}), QRect(490, 705, 220, 50));
    const ScreenLayout::Monitor both{QRectF(0, 0, 1280, 800), QRectF(0, 30, 1280, 730)};
    EXPECT_EQ(tooltipFrame(usual, 600, {both}).top(), 35);
}

TEST(TooltipPlacement, PanelAtTheSideMovesItsEdge)
{
    const ScreenLayout::Monitor side{QRectF(0, 0, 1280, 800), QRectF(60, 0, 1220, 800)};
    EXPECT_EQ(tooltipFrame(usual, 30, {side}), QRect(70, 5, 220, 50));
}

TEST(TooltipPlacement, WithoutAPanelItStandsAtTheTop)
{
    const ScreenLayout::Monitor bare{QRectF(0, 0, 1280, 800), QRectF(0, 0, 1280, 800)};
    EXPECT_EQ(tooltipFrame(usual, 600, {bare}).top(), 5);
}

TEST(TooltipPlacement, BubbleIsNeverHigherThanTheScreen)
{
    EXPECT_EQ(tooltipFrame({200, 20000}, 600, {first}), QRect(498, 35, 204, 760));
}

TEST(TooltipPlacement, PointsAreScaled)
{
    EXPECT_EQ(tooltipFrame({20, 50}, 600, {first}, 2), QRect(500, 40, 200, 50));
    EXPECT_EQ(tooltipFrame({5000, 50}, 1200, {first}, 1.5), QRect(665, 38, 600, 50));
}

TEST(TooltipPlacement, WithoutAMonitorThereIsNoBubble)
{
    EXPECT_TRUE(tooltipFrame(usual, 600, {}).isNull());
}

} // namespace
