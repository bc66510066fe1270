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
