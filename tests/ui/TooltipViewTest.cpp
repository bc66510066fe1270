#include "ui/TooltipWindowController.h"

#include "tests/ui/WindowFixture.h"

#include <QAccessible>
#include <QElapsedTimer>
#include <QPointer>
#include <QThread>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class Tooltip : public WindowFixture
{
protected:
    Tooltip() { program.setLook({WindowLook::Palette::light, false}); }
    void show(const QString &message, double x = 600)
    {
        bridge.showMessage(message, x);
        settle();
    }
    QQuickWindow *window() { return bridge.controller().window(); }
    QQuickItem *text() { return find(window()->contentItem(), "message", "objectName"); }
    QQuickItem *content() { return text()->parentItem()->parentItem(); }
    qreal opacity() { return content()->opacity(); }
    void animate() { program.setLook({WindowLook::Palette::light, true}); }
    /// Lets the toolkit's own clock run until this holds.
    template <typename Condition> bool waitFor(Condition holds)
    {
        QElapsedTimer waited;
        waited.start();
        while (!holds() && waited.elapsed() < 20000)
            QGuiApplication::processEvents(QEventLoop::AllEvents, 5);
        return holds();
    }

    TooltipBridge bridge;
};

TEST_F(Tooltip, MessageIsShownUnderThePanelAtItsPlace)
{
    show("copied: \n192.168.1.20");
    ASSERT_TRUE(window());
    EXPECT_TRUE(window()->isVisible());
    EXPECT_EQ(window()->y(), 35);
    EXPECT_NEAR(window()->x() + window()->width() / 2.0, 600, 1);
    EXPECT_NEAR(opacity(), 0.95, 0.001);
}

TEST_F(Tooltip, NothingIsShownInsideTheCall)
{
    bridge.showMessage("hello", 600);
    EXPECT_FALSE(window());
}

TEST_F(Tooltip, AnyThreadMayAsk)
{
    const std::unique_ptr<QThread> thread(QThread::create([&] { bridge.showMessage("from afar", 600); }));
    thread->start();
    thread->wait();
    EXPECT_FALSE(window());
    settle();
    ASSERT_TRUE(window());
    EXPECT_EQ(window()->property("message"), "from afar");
}

TEST_F(Tooltip, ItTakesNeitherFocusNorClicks)
{
    show("hello");
    const Qt::WindowFlags wanted =
        Qt::ToolTip | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowTransparentForInput | Qt::WindowDoesNotAcceptFocus;
    EXPECT_EQ(window()->flags() & wanted, wanted);
}

TEST_F(Tooltip, VeryShortMessageStillGetsABubbleOf100Points)
{
    show("hi");
    EXPECT_EQ(window()->width(), 100);
}

TEST_F(Tooltip, LongMessageWrapsInABubbleOf400Points)
{
    show("a");
    const int oneLine = window()->height();
    show(QStringLiteral("many words ").repeated(30));
    EXPECT_EQ(window()->width(), 400);
    EXPECT_GT(window()->height(), oneLine);
    const QRectF bubble = window()->property("bubbleFrame").toRectF();
    EXPECT_EQ(bubble.width(), 392);
}

TEST_F(Tooltip, LongWordIsBrokenAndStaysInside)
{
    show(QString(1000, 'W'));
    EXPECT_EQ(window()->width(), 400);
    EXPECT_LE(text()->width(), 368);
    EXPECT_LE(text()->property("contentWidth").toDouble(), 368);
}

TEST_F(Tooltip, WidthIsThatOfTheLongestLine)
{
    show("the following text has been copied to your clipboard: ");
    const int alone = window()->width();
    show("the following text has been copied to your clipboard: \n192.168.1.20");
    EXPECT_EQ(window()->width(), alone);
}

TEST_F(Tooltip, TextIsNoMarkup)
{
    show("<b>Home</b> & <img src='x'>");
    EXPECT_EQ(text()->property("textFormat").toInt(), Qt::PlainText);
    EXPECT_EQ(text()->property("text"), "<b>Home</b> & <img src='x'>");
}

TEST_F(Tooltip, MessageIsWhiteOnBlackInSmallLetters)
{
    show("hello");
    EXPECT_EQ(text()->property("color").value<QColor>(), QColor(Qt::white));
    EXPECT_EQ(text()->parentItem()->property("color").value<QColor>().lightness(), 0);
    EXPECT_EQ(text()->property("font").value<QFont>().pixelSize(), qRound(11 * program.scale()));
}

TEST_F(Tooltip, ItGoesAfterThreeAndAHalfSeconds)
{
    show("hello");
    dispatch.advance(3499ms);
    EXPECT_TRUE(window());
    dispatch.advance(1ms);
    EXPECT_FALSE(window());
    EXPECT_TRUE(QGuiApplication::allWindows().isEmpty()) << "nothing remains";
}

TEST_F(Tooltip, SecondMessageReplacesTheFirstAtOnceAndStaysItsFullTime)
{
    animate();
    show("first");
    const QPointer<QQuickWindow> before = window();
    dispatch.advance(3s);
    show("second");
    EXPECT_TRUE(before.isNull()) << "gone without fading";
    ASSERT_TRUE(window());
    EXPECT_EQ(window()->property("message"), "second");
    dispatch.advance(3499ms); // the first one's time has long passed
    EXPECT_TRUE(window()->property("shown").toBool());
    dispatch.advance(1ms);
    EXPECT_FALSE(window()->property("shown").toBool());
}

TEST_F(Tooltip, MessageThatComesWhileTheLastFadesStaysItsFullTime)
{
    animate();
    show("first");
    dispatch.advance(3600ms);
    show("second");
    dispatch.advance(3400ms);
    ASSERT_TRUE(window());
    EXPECT_TRUE(window()->property("shown").toBool());
}

TEST_F(Tooltip, ContentFadesInAndOut)
{
    animate();
    show("hello");
    EXPECT_LT(opacity(), 0.95);
    EXPECT_TRUE(waitFor([&] { return opacity() > 0.949; }));
    EXPECT_EQ(window()->opacity(), 1.0) << "the window itself does not fade";
    dispatch.advance(3500ms);
    ASSERT_TRUE(window());
    EXPECT_TRUE(waitFor([&] { return opacity() < 0.001; }));
    dispatch.advance(149ms);
    EXPECT_TRUE(window());
    dispatch.advance(1ms);
    EXPECT_FALSE(window());
}

TEST_F(Tooltip, NearTheEdgesItStaysTenPointsInside)
{
    show("hello", 1279);
    EXPECT_EQ(window()->x() + window()->width(), 1270);
    show("hello", 1);
    EXPECT_EQ(window()->x(), 10);
}

TEST_F(Tooltip, OnTheSecondMonitorItStandsAtItsTopEdge)
{
    screens.found.append({QRectF(1280, 100, 1000, 700), QRectF(1280, 140, 1000, 660)});
    show("hello", 1800);
    EXPECT_EQ(window()->y(), 145);
    EXPECT_NEAR(window()->x() + window()->width() / 2.0, 1800, 1);
}

TEST_F(Tooltip, WithoutACompositorItIsCutToTheBubble)
{
    screens.blending = false;
    show("hello");
    EXPECT_EQ(window()->color(), QColor(Qt::black));
    const QRect bubble = window()->property("bubbleFrame").toRect();
    EXPECT_TRUE(window()->mask().contains(bubble.center()));
    EXPECT_FALSE(window()->mask().contains(bubble.topLeft())) << "the corner is cut off";
    EXPECT_FALSE(window()->mask().contains(QPoint(1, 1)));
}

TEST_F(Tooltip, WithACompositorItIsTranslucent)
{
    show("hello");
    EXPECT_EQ(window()->color().alpha(), 0);
    EXPECT_TRUE(window()->mask().isEmpty());
}

TEST_F(Tooltip, WithoutAnyMonitorNothingBreaks)
{
    screens.found.clear();
    show("hello");
    EXPECT_FALSE(window());
    dispatch.advance(4s);
}

TEST_F(Tooltip, EndOfTheBridgeEndsWhatItAskedFor)
{
    auto gone = std::make_unique<TooltipBridge>();
    gone->showMessage("hello", 600);
    gone.reset();
    settle();
    EXPECT_TRUE(QGuiApplication::allWindows().isEmpty());
}

TEST_F(Tooltip, MessageHasAnAccessibleName)
{
    show("hello");
    QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(content());
    ASSERT_TRUE(accessible);
    EXPECT_EQ(accessible->role(), QAccessible::ToolTip);
    EXPECT_EQ(accessible->text(QAccessible::Name), "hello");
}

} // namespace
