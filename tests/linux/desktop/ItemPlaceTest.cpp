#include "platform/linux/desktop/ItemPlace.h"

#include <gtest/gtest.h>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

const QList<QRectF> twoMonitors{QRectF(0, 0, 1000, 800), QRectF(1000, 0, 800, 600)};
const QPointF inTheMenu(830, 200);

TEST(ItemPlace, NothingIsKnownAtFirst)
{
    EXPECT_EQ(ItemPlace().x(0s, std::nullopt, twoMonitors), std::nullopt);
}

TEST(ItemPlace, PointerCountsWhereNoPanelTells)
{
    EXPECT_EQ(ItemPlace().x(0s, inTheMenu, twoMonitors), 830);
}

TEST(ItemPlace, ClickThatThePanelToldCountsBeforeThePointer)
{
    ItemPlace place;
    place.noteTold(700, 10s);
    place.noteOpened(705, 10s);
    EXPECT_EQ(place.x(12s, inTheMenu, twoMonitors), 700);
}

TEST(ItemPlace, OpeningCountsBeforeThePointer)
{
    ItemPlace place;
    place.noteOpened(705, 10s);
    EXPECT_EQ(place.x(70s, inTheMenu, twoMonitors), 705);
}

TEST(ItemPlace, AfterAMinuteThePointerCounts)
{
    ItemPlace place;
    place.noteTold(700, 10s);
    place.noteOpened(705, 10s);
    EXPECT_EQ(place.x(71s, inTheMenu, twoMonitors), 830);
}

TEST(ItemPlace, LaterOpeningCountsOnceTheToldClickIsOld)
{
    ItemPlace place;
    place.noteTold(700, 10s);
    place.noteOpened(720, 100s);
    EXPECT_EQ(place.x(101s, inTheMenu, twoMonitors), 720);
}

TEST(ItemPlace, ClickOnAnotherMonitorThanThePointersDoesNotCount)
{
    ItemPlace place;
    place.noteTold(1700, 10s);
    EXPECT_EQ(place.x(12s, inTheMenu, twoMonitors), 830);
    EXPECT_EQ(place.x(12s, QPointF(1650, 100), twoMonitors), 1700);
}

TEST(ItemPlace, OldClickIsBetterThanNothing)
{
    ItemPlace place;
    place.noteTold(700, 10s);
    EXPECT_EQ(place.x(10min, std::nullopt, twoMonitors), 700);
}

TEST(ItemPlace, MonitorThatIsNotListedRulesNothingOut)
{
    ItemPlace place;
    place.noteTold(700, 10s);
    EXPECT_EQ(place.x(11s, QPointF(5000, 0), twoMonitors), 700);
    EXPECT_EQ(place.x(11s, inTheMenu, {}), 700);
}

} // namespace
