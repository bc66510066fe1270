#include "ui/WindowPlaces.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

const QRectF frame(0, 30, 1280, 770);
const QSizeF panel(420, 300);

TEST(PopoverPlace, IsCentredBelowTheControl)
{
    EXPECT_EQ(popoverPlace({500, 200, 380, 32}, panel, frame), QPoint(480, 236));
}

TEST(PopoverPlace, IsAboveWhereThereIsNoRoomBelow)
{
    EXPECT_EQ(popoverPlace({500, 600, 380, 32}, panel, frame), QPoint(480, 296));
}

TEST(PopoverPlace, StaysAboveWhereItIsAsLongAsItFits)
{
    EXPECT_EQ(popoverPlace({500, 400, 380, 32}, {420, 200}, frame, true), QPoint(480, 196));
    EXPECT_EQ(popoverPlace({500, 100, 380, 32}, {420, 200}, frame, true), QPoint(480, 136));
}

TEST(PopoverPlace, IsKeptInsideTheMonitor)
{
    EXPECT_EQ(popoverPlace({0, 200, 100, 32}, panel, frame), QPoint(0, 236));
    EXPECT_EQ(popoverPlace({1200, 200, 80, 32}, panel, frame), QPoint(860, 236));
    // Room neither below nor above: as far down as it fits.
    EXPECT_EQ(popoverPlace({500, 200, 380, 32}, {420, 700}, frame), QPoint(480, 100));
    // Larger than the monitor: its beginning is seen.
    EXPECT_EQ(popoverPlace({500, 200, 380, 32}, {2000, 900}, frame), QPoint(0, 30));
}

TEST(PopoverPlace, OfASecondMonitorIsInsideThatOne)
{
    EXPECT_EQ(popoverPlace({1280, 200, 100, 32}, panel, {1280, 0, 800, 600}), QPoint(1280, 236));
}

TEST(PopoverPlace, WithoutAMonitorIsBelowTheControl)
{
    EXPECT_EQ(popoverPlace({0, 200, 100, 32}, panel, {}), QPoint(-160, 236));
}

TEST(SheetPlace, IsCentredBelowTheParentsTitle)
{
    EXPECT_EQ(sheetPlace({480, 236, 420, 300}, {380, 250}, frame), QPoint(500, 268));
    EXPECT_EQ(sheetPlace({480, 600, 420, 200}, {380, 250}, frame), QPoint(500, 550));
}

} // namespace
