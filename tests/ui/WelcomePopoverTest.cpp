#include "ui/WelcomeEntrance.h"
#include "ui/WelcomePopoverPresenter.h"

#include "tests/ui/WindowFixture.h"

#include <QDeadlineTimer>
#include <QKeyEvent>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

const QString flag = QStringLiteral("hasShownWelcomePopover");

class Welcome : public WindowFixture
{
protected:
    void show()
    {
        ASSERT_TRUE(presenter.showWelcomePopover()) << log.lines().join('\n').toStdString();
        settle();
    }
    void standStill() { program.setLook({WindowLook::Palette::light, false}); }
    QQuickWindow *card() { return presenter.popoverWindow(); }
    QQuickItem *item(const char *text)
    {
        QQuickItem *found = find(card()->contentItem(), QString::fromLatin1(text));
        EXPECT_TRUE(found) << text;
        return found;
    }
    void click(const char *button)
    {
        QMetaObject::invokeMethod(item(button), "clicked");
        settle();
    }
    void press(Qt::Key key)
    {
        QQuickWindow *window = card();
        QKeyEvent down(QEvent::KeyPress, key, Qt::NoModifier);
        QCoreApplication::sendEvent(window, &down);
        QKeyEvent up(QEvent::KeyRelease, key, Qt::NoModifier);
        QCoreApplication::sendEvent(window, &up);
        settle();
    }
    [[nodiscard]] bool preferencesShown() const { return prefs.controller() && prefs.controller()->window()->isVisible(); }
    /// The entrance of the card, at this moment of it.
    WelcomeEntrance *entrance(double seconds)
    {
        auto *found = card()->findChild<WelcomeEntrance *>();
        if (found)
            found->setProperty("seconds", seconds);
        return found;
    }
    /// Handles events until the condition holds; false after half a minute.
    template <typename Condition> bool comesTrue(const Condition &condition)
    {
        const QDeadlineTimer end(30s);
        while (!condition() && !end.hasExpired())
            QGuiApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
        return condition();
    }

    PrefsWindowBridge prefs;
    WelcomePopoverPresenter presenter{prefs};
};

TEST_F(Welcome, CardIsCentredOnTheMainMonitorsVisibleFrame)
{
    screens.found = {{QRectF(100, 50, 1600, 1000), QRectF(160, 90, 1540, 960)}, {QRectF(1700, 0, 800, 600), QRectF(1700, 0, 800, 600)}};
    show();
    EXPECT_TRUE(card()->isVisible());
    EXPECT_EQ(card()->size(), QSize(520, 580));
    EXPECT_EQ(card()->position(), QPoint(160 + 770 - 260, 90 + 480 - 290));
}

TEST_F(Welcome, CardAppearsWithoutAnyMonitorToo)
{
    screens.found.clear();
    show();
    EXPECT_TRUE(card()->isVisible());
}

TEST_F(Welcome, CardThatIsTooTallForTheMonitorIsDrawnSmaller)
{
    screens.found = {{QRectF(0, 0, 800, 480), QRectF(0, 28, 800, 452)}};
    show();
    EXPECT_EQ(card()->height(), 452);
    EXPECT_EQ(card()->y(), 28);
    EXPECT_NEAR(QRectF(card()->geometry()).center().x(), 400, 1);
    QQuickItem *last = item("Continue");
    EXPECT_LT(last->mapToScene(QPointF(0, last->height())).y(), 452);
    EXPECT_LT(last->mapToScene(QPointF(last->width(), 0)).x(), card()->width());
}

TEST_F(Welcome, HeightsStandBeforeTheFirstFrame)
{
    ASSERT_TRUE(presenter.showWelcomePopover());
    const QList<QQuickItem *> blocks = {item("Welcome to Lanterna")->parentItem(),
        item("Network Interfaces")->parentItem()->parentItem()->parentItem(), item("Continue")->parentItem()->parentItem()};
    QList<qreal> before;
    for (const QQuickItem *block : blocks)
        before.append(block->height());
    settle();
    for (qsizetype at = 0; at < blocks.size(); ++at) {
        EXPECT_GT(before.at(at), 40);
        EXPECT_EQ(blocks.at(at)->height(), before.at(at));
        EXPECT_EQ(blocks.at(at)->childrenRect().height(), before.at(at));
    }
}

TEST_F(Welcome, CardIsAFixedFramelessTranslucentWindowOnTop)
{
    show();
    EXPECT_TRUE(card()->flags().testFlag(Qt::FramelessWindowHint));
    EXPECT_TRUE(card()->flags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_EQ(card()->color().alpha(), 0);
    EXPECT_TRUE(card()->mask().isEmpty());
    EXPECT_EQ(card()->minimumSize(), card()->maximumSize());
}

TEST_F(Welcome, TextsStandAsTheyAre)
{
    show();
    for (const char *text : {"Welcome to Lanterna", "Network information at your fingertips", "Network Interfaces",
             "View all active network interfaces and WAN IP directly in your menubar", "Bonjour Broadcasting",
             "Share the name of the currently logged-in user via Bonjour for real-time discovery by Rangefinder", "MAC Address Sharing",
             "Share device MAC addresses with iOS devices via iCloud (Optional)", "Please take a moment to review your preferences",
             "You can access preferences anytime from the menubar", "Open Preferences", "Continue"})
        EXPECT_TRUE(item(text)) << text;
}

TEST_F(Welcome, IgnoredForAMinuteItClosesAndLeavesTheFlag)
{
    show();
    dispatch.advance(60s - 1ms);
    ASSERT_TRUE(card());
    EXPECT_TRUE(card()->isVisible());
    dispatch.advance(1ms);
    EXPECT_FALSE(card());
    EXPECT_FALSE(settings.contains(flag));
    EXPECT_FALSE(preferencesShown());
}

TEST_F(Welcome, OpenPreferencesOpensThemThenWritesTheFlagThenCloses)
{
    show();
    bool shownBefore = false;
    bool cardStillThere = false;
    settings.setChangeObserver([&](const QString &, bool) { // as the flag is written
        shownBefore = preferencesShown();
        cardStillThere = card();
    });
    click("Open Preferences");
    EXPECT_TRUE(shownBefore);
    EXPECT_TRUE(cardStillThere);
    EXPECT_TRUE(preferencesShown());
    EXPECT_EQ(settings.value(flag), QVariant(true));
    EXPECT_FALSE(card());
}

TEST_F(Welcome, ContinueWritesTheFlagAndCloses)
{
    show();
    click("Continue");
    EXPECT_EQ(settings.value(flag), QVariant(true));
    EXPECT_FALSE(card());
    EXPECT_FALSE(preferencesShown());
    dispatch.advance(2min); // its timer went with it
}

TEST_F(Welcome, EscapeClosesAndLeavesTheFlag)
{
    show();
    press(Qt::Key_Escape);
    EXPECT_FALSE(card());
    EXPECT_FALSE(settings.contains(flag));
}

TEST_F(Welcome, ClosingByTheWindowManagerLeavesTheFlag)
{
    show();
    card()->close();
    settle();
    EXPECT_FALSE(card());
    EXPECT_FALSE(settings.contains(flag));
}

TEST_F(Welcome, DismissingLeavesTheFlagAndTwiceIsOnce)
{
    show();
    presenter.dismissWelcomePopover();
    presenter.dismissWelcomePopover();
    EXPECT_FALSE(card());
    EXPECT_FALSE(settings.contains(flag));
}

TEST_F(Welcome, ReturnOpensThePreferencesWhereverTheFocusIs)
{
    show();
    press(Qt::Key_Tab);
    press(Qt::Key_Return);
    EXPECT_TRUE(preferencesShown());
    EXPECT_FALSE(card());
}

TEST_F(Welcome, TabGoesBetweenTheButtonsAndSpacePressesTheOneInFocus)
{
    show();
    EXPECT_TRUE(item("Open Preferences")->hasActiveFocus());
    press(Qt::Key_Tab);
    EXPECT_TRUE(item("Continue")->hasActiveFocus());
    EXPECT_TRUE(item("Continue")->property("visualFocus").toBool());
    press(Qt::Key_Tab);
    EXPECT_TRUE(item("Open Preferences")->property("visualFocus").toBool());
    press(Qt::Key_Tab);
    press(Qt::Key_Space);
    EXPECT_FALSE(card());
    EXPECT_EQ(settings.value(flag), QVariant(true));
    EXPECT_FALSE(preferencesShown());
}

TEST_F(Welcome, EachShowIsAWindowOfItsOwnThatTakesTheOldOnesPlace)
{
    show();
    const QPointer<QQuickWindow> first = card();
    show();
    EXPECT_NE(card(), first);
    EXPECT_TRUE(card()->isVisible());
    EXPECT_TRUE(!first || !first->isVisible());
}

TEST_F(Welcome, TimerOfTheFirstShowDoesNotCloseTheSecond)
{
    show();
    dispatch.advance(30s);
    show();
    dispatch.advance(30s);
    ASSERT_TRUE(card());
    EXPECT_TRUE(card()->isVisible());
    dispatch.advance(30s);
    EXPECT_FALSE(card());
}

TEST_F(Welcome, WindowThatIsNoLongerVisibleIsLeftAloneAfterAMinute)
{
    show();
    card()->hide();
    dispatch.advance(60s);
    EXPECT_TRUE(card());
}

TEST_F(Welcome, CardMayBeShownAgainAfterItWasAcknowledged)
{
    settings.setValue(flag, true);
    show(); // whoever asks for it has looked at the flag
    click("Continue");
    EXPECT_EQ(settings.value(flag), QVariant(true));
    EXPECT_FALSE(card());
}

TEST_F(Welcome, FlagOfAWrongTypeIsWrittenAnew)
{
    settings.setValue(flag, QVariantMap{{"a", 1}});
    show();
    click("Continue");
    EXPECT_EQ(settings.value(flag), QVariant(true));
}

TEST_F(Welcome, EntranceMovesTheIconAndTheBlocks)
{
    ASSERT_TRUE(presenter.showWelcomePopover());
    EXPECT_FALSE(card()->property("isAnimating").toBool());
    QQuickItem *icon = find(card()->contentItem(), "Lanterna", "objectName");
    ASSERT_TRUE(icon);
    QQuickItem *header = item("Welcome to Lanterna")->parentItem();
    EXPECT_DOUBLE_EQ(icon->scale(), 0.8);
    EXPECT_EQ(icon->opacity(), 0);
    EXPECT_EQ(header->opacity(), 0);
    const double lowest = header->mapToScene(QPointF()).y();
    ASSERT_TRUE(entrance(0.5));
    EXPECT_NEAR(icon->scale(), 1.019, 0.0005);
    EXPECT_NEAR(header->opacity(), easeOutProgress(0.2 / 0.6), 1e-6);
    EXPECT_NEAR(header->mapToScene(QPointF()).y(), lowest - 20 * easeOutProgress(0.2 / 0.6), 1e-6);
    entrance(1.5);
    EXPECT_EQ(header->mapToScene(QPointF()).y(), lowest - 20);
    EXPECT_EQ(item("Continue")->parentItem()->parentItem()->opacity(), 1);
}

TEST_F(Welcome, EntranceRunsFromTheFirstFrameOn)
{
    show();
    EXPECT_TRUE(comesTrue([&] { return card()->property("isAnimating").toBool(); }));
    auto *found = card()->findChild<WelcomeEntrance *>();
    ASSERT_TRUE(found);
    EXPECT_TRUE(comesTrue([&] { return found->property("seconds").toDouble() > 0.05; }));
}

TEST_F(Welcome, EverythingStandsAtOnceWhereMovementIsUnwanted)
{
    standStill();
    ASSERT_TRUE(presenter.showWelcomePopover());
    EXPECT_EQ(find(card()->contentItem(), "Lanterna", "objectName")->scale(), 1);
    EXPECT_EQ(item("Welcome to Lanterna")->parentItem()->opacity(), 1);
    QQuickItem *button = item("Continue");
    button->setProperty("down", true);
    EXPECT_DOUBLE_EQ(button->scale(), 0.96);
}

TEST_F(Welcome, WithoutBlendingTheCardIsTheWholeWindowCutRoundAndNowhereBlack)
{
    screens.blending = false;
    standStill();
    show();
    EXPECT_EQ(card()->size(), QSize(480, 540));
    EXPECT_EQ(card()->position(), QPoint(640 - 240, 415 - 270));
    EXPECT_EQ(card()->color().alpha(), 255);
    EXPECT_FALSE(card()->mask().contains(QPoint(0, 0)));
    EXPECT_FALSE(card()->mask().contains(QPoint(479, 539)));
    EXPECT_TRUE(card()->mask().contains(QPoint(240, 0)));
    EXPECT_TRUE(card()->mask().contains(QPoint(479, 270)));
    const QImage picture = card()->grabWindow();
    for (const QPoint &corner : {QPoint(0, 0), QPoint(479, 0), QPoint(0, 539), QPoint(479, 539), QPoint(8, 8)})
        EXPECT_GT(picture.pixelColor(corner).lightness(), 128) << corner.x() << ' ' << corner.y();
}

/// Every picture of a shadow below this item.
void collectShadows(QQuickItem *from, QList<QQuickItem *> &found)
{
    if (from->inherits("QQuickBorderImage"))
        found.append(from);
    for (QQuickItem *child : from->childItems())
        collectShadows(child, found);
}

TEST_F(Welcome, CardIconAndFirstButtonThrowShadowsThatEndInsideTheWindow)
{
    show();
    QList<QQuickItem *> shadows;
    collectShadows(card()->contentItem(), shadows);
    QList<qreal> opacities;
    for (const QQuickItem *shadow : shadows) {
        opacities.append(shadow->opacity());
        EXPECT_EQ(shadow->property("status").toInt(), 1) << "no picture";
        EXPECT_TRUE(QRectF(0, 0, 520, 580).contains(shadow->mapRectToScene(shadow->boundingRect())));
    }
    std::sort(opacities.begin(), opacities.end());
    EXPECT_EQ(opacities, QList<qreal>({0.2, 0.25, 0.3}));
}

TEST_F(Welcome, FirstButtonIsBlueAtNineTenthsAndSecondWhiteAtHalf)
{
    screens.blending = false;
    standStill();
    show();
    const QImage picture = card()->grabWindow();
    const auto colour = [&](const char *button) {
        QQuickItem *found = item(button);
        return picture.pixelColor(found->mapToScene(QPointF(12, found->height() / 2)).toPoint());
    };
    // On a card of #f6f6f7.
    EXPECT_EQ(colour("Open Preferences"), QColor(0x30, 0x6e, 0xd9));
    EXPECT_EQ(colour("Continue"), QColor(0xfb, 0xfb, 0xfb));
}

TEST(RoundedRegion, LeavesOutTheCornersAlone)
{
    const QRegion region = roundedRegion(QSize(100, 60), 10);
    EXPECT_EQ(region.boundingRect(), QRect(0, 0, 100, 60));
    EXPECT_FALSE(region.contains(QPoint(1, 1)));
    EXPECT_FALSE(region.contains(QPoint(98, 58)));
    EXPECT_TRUE(region.contains(QPoint(5, 5)));
    EXPECT_TRUE(region.contains(QPoint(50, 0)));
    EXPECT_TRUE(region.contains(QPoint(99, 30)));
}

} // namespace
