#include "platform/linux/desktop/PanelStruts.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

const QSize whole(2000, 800);
const QRect first(0, 0, 1000, 800);
const QRect second(1000, 0, 1000, 800);

/// A panel at an edge of the whole.
PanelStrut top(int depth, int start, int end)
{
    PanelStrut strut;
    strut.top = {depth, start, end};
    return strut;
}
PanelStrut bottom(int depth, int start, int end)
{
    PanelStrut strut;
    strut.bottom = {depth, start, end};
    return strut;
}
PanelStrut left(int depth, int start, int end)
{
    PanelStrut strut;
    strut.left = {depth, start, end};
    return strut;
}
PanelStrut right(int depth, int start, int end)
{
    PanelStrut strut;
    strut.right = {depth, start, end};
    return strut;
}

using Frames = QList<QRect>;

TEST(VisibleFrames, WithoutPanelsEverythingIsVisible)
{
    EXPECT_EQ(visibleFrames(whole, {first, second}, {}), (Frames{first, second}));
    EXPECT_EQ(visibleFrames(whole, {}, {top(28, 0, 999)}), Frames{});
}

TEST(VisibleFrames, PanelOnTopOfOneMonitorLeavesTheOtherAlone)
{
    EXPECT_EQ(visibleFrames(whole, {first, second}, {top(28, 0, 999)}), (Frames{QRect(0, 28, 1000, 772), second}));
    EXPECT_EQ(visibleFrames(whole, {first, second}, {top(28, 1000, 1999)}), (Frames{first, QRect(1000, 28, 1000, 772)}));
}

TEST(VisibleFrames, PanelAcrossBothCountsOnBoth)
{
    EXPECT_EQ(visibleFrames(whole, {first, second}, {top(28, 0, 1999)}), (Frames{QRect(0, 28, 1000, 772), QRect(1000, 28, 1000, 772)}));
}

TEST(VisibleFrames, BottomAndSidePanels)
{
    EXPECT_EQ(visibleFrames(whole, {first, second}, {bottom(40, 0, 999)}), (Frames{QRect(0, 0, 1000, 760), second}));
    EXPECT_EQ(visibleFrames(whole, {first, second}, {left(60, 0, 799)}), (Frames{QRect(60, 0, 940, 800), second}));
    EXPECT_EQ(visibleFrames(whole, {first, second}, {right(60, 0, 799)}), (Frames{first, QRect(1000, 0, 940, 800)}));
}

TEST(VisibleFrames, SidePanelAtTheInnerEdgeBelongsToItsMonitorOnly)
{
    // Counted from the edge of the whole, it covers all of the first monitor.
    EXPECT_EQ(visibleFrames(whole, {first, second}, {left(1060, 0, 799)}), (Frames{first, QRect(1060, 0, 940, 800)}));
    EXPECT_EQ(visibleFrames(whole, {first, second}, {right(1060, 0, 799)}), (Frames{QRect(0, 0, 940, 800), second}));
}

TEST(VisibleFrames, PanelOfTheLowerMonitorIsInTheMiddleOfTheWhole)
{
    const QRect upper(0, 0, 1000, 600);
    const QRect lower(0, 600, 1000, 600);
    EXPECT_EQ(visibleFrames({1000, 1200}, {upper, lower}, {top(628, 0, 999)}), (Frames{upper, QRect(0, 628, 1000, 572)}));
    EXPECT_EQ(visibleFrames({1000, 1200}, {upper, lower}, {bottom(628, 0, 999)}), (Frames{QRect(0, 0, 1000, 572), lower}));
}

TEST(VisibleFrames, PanelOfTheSmallerMonitorIsCountedFromTheBottomOfTheWhole)
{
    const QRect small(1000, 0, 800, 600);
    EXPECT_EQ(visibleFrames({1800, 800}, {first, small}, {bottom(230, 1000, 1799)}), (Frames{first, QRect(1000, 0, 800, 570)}));
}

TEST(VisibleFrames, TheDeeperOfTwoPanelsCounts)
{
    EXPECT_EQ(visibleFrames(whole, {first}, {top(28, 0, 999), top(50, 200, 400), bottom(30, 0, 999)}), (Frames{QRect(0, 50, 1000, 720)}));
}

TEST(VisibleFrames, WorkAreasOfADesktopWhosePanelIsNoWindowCount)
{
    const Frames areas{QRect(0, 32, 1000, 768), second};
    EXPECT_EQ(visibleFrames(whole, {first, second}, {bottom(40, 0, 999)}, areas), (Frames{QRect(0, 32, 1000, 728), second}));
}

TEST(VisibleFrames, WorkAreasThatFitNoMonitorDoNotCount)
{
    const Frames areas{QRect(0, 32, 2000, 768), QRect(-5, 0, 100, 100), QRect(0, 0, 0, 0), QRect(0, 0, -100, -100)};
    EXPECT_EQ(visibleFrames(whole, {first, second}, {}, areas), (Frames{first, second}));
}

TEST(VisibleFrames, PanelsThatLeaveNothingDoNotCount)
{
    EXPECT_EQ(visibleFrames(whole, {first}, {top(500, 0, 999), bottom(500, 0, 999)}), Frames{first});
}

// 1366 pixels are 910.67 points at a scale of 1.5: rounded to 911, and back to 1367 pixels.
const QSize scaledWhole(2266, 768);
const QRect roundedUp(0, 0, 1367, 768);
const QRect narrow(1366, 0, 900, 768);

TEST(VisibleFrames, PanelOfTheNeighbourIsNotThatOfAMonitorRoundedUpIntoIt)
{
    EXPECT_EQ(visibleFrames(scaledWhole, {roundedUp, narrow}, {top(28, 1366, 2265)}), (Frames{roundedUp, QRect(1366, 28, 900, 740)}));
    EXPECT_EQ(visibleFrames(scaledWhole, {roundedUp, narrow}, {bottom(28, 1366, 2265)}), (Frames{roundedUp, QRect(1366, 0, 900, 740)}));
    const QRect upper(0, 0, 768, 1367);
    const QRect lower(0, 1366, 768, 900);
    EXPECT_EQ(visibleFrames({768, 2266}, {upper, lower}, {left(28, 1366, 2265), right(30, 1366, 2265)}), (Frames{upper, QRect(28, 1366, 710, 900)}));
}

TEST(VisibleFrames, PanelAtTheInnerEdgeDoesNotCountOnAMonitorRoundedUpBeyondTheWhole)
{
    // 901 columns, of which the whole has 900: a panel of the left monitor at the edge between both, and one on top of the right monitor.
    const QRect beyond(1366, 0, 901, 768);
    EXPECT_EQ(visibleFrames(scaledWhole, {QRect(0, 0, 1366, 768), beyond}, {right(960, 0, 767), top(28, 1366, 2265)}),
        (Frames{QRect(0, 0, 1306, 768), QRect(1366, 28, 901, 740)}));
}

TEST(VisibleFrames, WorkAreaOfAMonitorRoundedDownCounts)
{
    const QRect roundedDown(0, 0, 999, 799);
    EXPECT_EQ(visibleFrames(whole, {roundedDown}, {}, {QRect(0, 32, 1000, 768)}), (Frames{QRect(0, 32, 999, 767)}));
}

TEST(PanelStruts, TwelveNumbersAreReadInTheirOrder)
{
    PanelStrut strut;
    strut.left = {1, 5, 6};
    strut.right = {2, 7, 8};
    strut.top = {3, 9, 10};
    strut.bottom = {4, 11, 12};
    EXPECT_EQ(panelStrut({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, whole), strut);
}

TEST(PanelStruts, FourNumbersReserveWholeEdges)
{
    EXPECT_EQ(
        visibleFrames(whole, {first, second}, {*panelStrut({0, 0, 28, 0}, whole)}), (Frames{QRect(0, 28, 1000, 772), QRect(1000, 28, 1000, 772)}));
}

TEST(PanelStruts, OtherCountsAndImpossibleNumbersAreNothing)
{
    EXPECT_FALSE(panelStrut({}, whole));
    EXPECT_FALSE(panelStrut({1, 2, 3}, whole));
    EXPECT_FALSE(panelStrut({0, 0, 0xffffffff, 0}, whole));
    EXPECT_FALSE(panelStrut({0, 0, 28, 0, 0, 0, 0, 0, 0, 0xffffffff, 0, 0}, whole));
}

} // namespace
