#include "tests/app/ControllerFixture.h"

using namespace lanterna;

namespace
{

const QString claim = QStringLiteral("the following text has been copied to your clipboard: \n");

class Clipboard : public ControllerFixture
{
protected:
    /// A program with tooltips and a count of useful actions, on a machine with one address.
    void showing(const QString &title)
    {
        earlierRun();
        set("showInterfaceName", title.contains(QLatin1Char(':')));
        kernel.add(QStringLiteral("eth0"), QStringLiteral("192.168.1.20"));
        Features with = features();
        with.showToolTip = [this](const QString &text, double x) {
            toolTips.append(text);
            places.append(x);
            happened.append(QStringLiteral("tooltip"));
        };
        with.noteUsefulActionAndMaybeRequestReview = [this] { happened.append(QStringLiteral("useful")); };
        controller = std::make_unique<NewMenuItem>(ports(), with);
        controller->awakeFromNib();
        controller->applicationWillFinishLaunching(0);
        dispatch.advance(std::chrono::milliseconds(600));
        ASSERT_TRUE(statusItem.rowTitles().contains(title)) << statusItem.rowTitles().join('|').toStdString();
    }
    void clickRow(const char *title)
    {
        ASSERT_TRUE(statusItem.click(QString::fromLatin1(title)));
        dispatch.runReady();
    }

    QStringList toolTips;
    QList<double> places;
    QStringList happened;
};

TEST_F(Clipboard, RowWithANameCopiesTheBareAddressAndSaysSo)
{
    showing("eth0: 192.168.1.20");
    clickRow("eth0: 192.168.1.20");
    EXPECT_EQ(pasteboard.texts, QStringList{"192.168.1.20"});
    EXPECT_EQ(toolTips, QStringList{claim + "192.168.1.20"});
    EXPECT_EQ(happened, (QStringList{"tooltip", "useful"}));
}

TEST_F(Clipboard, WANRowCopiesTheBareWANAddress)
{
    set("WANIP", "203.0.113.7");
    MenuItem row;
    row.title = QStringLiteral("wan: 203.0.113.7");
    showing("192.168.1.20");
    controller->copyToClipboardFromItem(row);
    dispatch.runReady();
    EXPECT_EQ(pasteboard.texts, QStringList{"203.0.113.7"});
    EXPECT_EQ(toolTips, QStringList{claim + "203.0.113.7"});
}

TEST_F(Clipboard, RowTitledOfflineCopiesTheWordItself)
{
    showing("192.168.1.20");
    clickRow("offline"); // the WAN row
    EXPECT_EQ(pasteboard.texts, QStringList{"offline"});
    EXPECT_EQ(toolTips, QStringList{claim + "offline"});
}

TEST_F(Clipboard, NothingIsClaimedBeforeThePasteboardHasAnswered)
{
    showing("192.168.1.20");
    ASSERT_TRUE(statusItem.click(QStringLiteral("192.168.1.20")));
    EXPECT_TRUE(happened.isEmpty());
    dispatch.runReady();
    EXPECT_EQ(happened, (QStringList{"tooltip", "useful"}));
}

TEST_F(Clipboard, CopyThatFailsIsSaidAndIsNoUsefulAction)
{
    showing("192.168.1.20");
    pasteboard.works = false;
    clickRow("192.168.1.20");
    EXPECT_EQ(toolTips, QStringList{"the clipboard could not be set"});
    EXPECT_EQ(happened, QStringList{"tooltip"});
    EXPECT_TRUE(log.contains(QStringLiteral("the clipboard could not be set")));
}

TEST_F(Clipboard, FailureIsSaidHoweverTheCopyWasAskedFor)
{
    showing("192.168.1.20");
    pasteboard.works = false;
    clickRow("Copy Displayed Address");
    controller->copyShownAddress();
    dispatch.runReady();
    EXPECT_EQ(toolTips, QStringList(2, "the clipboard could not be set"));
    EXPECT_EQ(happened, (QStringList{"tooltip", "tooltip"}));
}

TEST_F(Clipboard, CopyOfTheDisplayedAddressShowsNoTooltip)
{
    showing("192.168.1.20");
    clickRow("Copy Displayed Address");
    EXPECT_EQ(pasteboard.texts, QStringList{"192.168.1.20"});
    EXPECT_EQ(happened, QStringList{"useful"});
}

TEST_F(Clipboard, TooltipStandsAtTheItem)
{
    showing("192.168.1.20");
    clickRow("192.168.1.20");
    statusItem.centre = 612.5;
    clickRow("192.168.1.20");
    EXPECT_EQ(places, (QList<double>{0.0, 612.5}));
}

TEST_F(Clipboard, LongTooltipIsItsFirst1000CharactersAndDots)
{
    showing("192.168.1.20");
    for (const int length : {1000, 1001, 1500})
        controller->showToolTip(QString(length, QLatin1Char('x')));
    EXPECT_EQ(toolTips, (QStringList{QString(1000, 'x'), QString(1000, 'x') + "...", QString(1000, 'x') + "..."}));
}

TEST_F(Clipboard, CharactersOfATooltipAreCountedAsPeopleCount)
{
    const QString wave = QStringLiteral("👋🏽"); // four units of UTF-16, one character
    showing("192.168.1.20");
    controller->showToolTip(wave.repeated(1000));
    controller->showToolTip(wave.repeated(1001));
    EXPECT_EQ(toolTips, (QStringList{wave.repeated(1000), wave.repeated(1000) + "..."}));
}

TEST_F(Clipboard, AnswerThatComesAfterTheEndIsDropped)
{
    showing("192.168.1.20");
    ASSERT_TRUE(statusItem.click(QStringLiteral("192.168.1.20")));
    controller.reset();
    dispatch.runReady();
    EXPECT_TRUE(happened.isEmpty());
}

} // namespace
