#include "tests/ui/PanelFixture.h"

using namespace lanterna;

namespace
{

const QVariantMap table{{"192.168.1.2", "00:11:32:00:77:14"}, {"lastUpdate", "11!22!2026_01*42 +"}};

class Logs : public PanelFixture
{
protected:
    QQuickWindow *open()
    {
        click(openPanel(), "Logs");
        return windowWith("Recent Activity");
    }
    void store(const QStringList &networks)
    {
        QVariantMap tables;
        for (const QString &network : networks)
            tables.insert(network, table);
        settings.setValue("recentICloudActivity", tables);
    }
    QStringList stored() const { return settings.dictionary("recentICloudActivity").keys(); }
    QQuickItem *list()
    {
        for (QQuickItem *found : allBelow(windowWith("Recent Activity")->contentItem())) {
            if (found->inherits("QQuickListView")) {
                QMetaObject::invokeMethod(found, "forceLayout"); // without waiting for the next frame
                return found;
            }
        }
        return nullptr;
    }
    QQuickItem *row(const QString &name)
    {
        for (QQuickItem *found : allBelow(list())) {
            if (found->property("name") == name)
                return found;
        }
        return nullptr;
    }
    void askToDelete(const QString &name)
    {
        ASSERT_TRUE(row(name)) << name.toStdString();
        QMetaObject::invokeMethod(row(name), "deletionAsked");
        settle();
        ASSERT_TRUE(windowWith("Delete Network"));
    }
};

TEST_F(Logs, AreASheetOfThePanel)
{
    store({"HomeNet"});
    QQuickWindow *sheet = open();
    ASSERT_TRUE(sheet);
    EXPECT_EQ(sheet->transientParent(), panel());
    EXPECT_EQ(sheet->modality(), Qt::WindowModal);
}

TEST_F(Logs, WithoutActivitySayThat)
{
    QQuickWindow *sheet = open();
    EXPECT_TRUE(shownItem(sheet, "No recent activity"));
    EXPECT_TRUE(shownItem(sheet, "Unknown"));
    settings.setValue("recentICloudActivity", "text");
    settle();
    EXPECT_TRUE(shownItem(sheet, "No recent activity"));
    store({"HomeNet"});
    settle();
    (void)list();
    EXPECT_FALSE(shownItem(sheet, "No recent activity"));
    EXPECT_TRUE(shownItem(sheet, "HomeNet"));
    EXPECT_TRUE(shownItem(sheet, "11!22!2026_01*42 +"));
}

TEST_F(Logs, CurrentNetworkIsHighlighted)
{
    store({"HomeNet", "Office"});
    settings.setValue("currentDisplayedWiFiName", "Office");
    open();
    const QColor highlight = QColor::fromRgbF(0.6F, 0.4F, 0.8F);
    const auto shows = [&](const QString &name) {
        for (QQuickItem *item : allBelow(row(name))) {
            if (item->isVisible() && item->opacity() == 1 && item->property("color").value<QColor>().rgba() == highlight.rgba())
                return true;
        }
        return false;
    };
    EXPECT_TRUE(shows("Office"));
    EXPECT_FALSE(shows("HomeNet"));
    settings.setValue("currentDisplayedWiFiName", "HomeNet");
    settle();
    EXPECT_TRUE(shows("HomeNet"));
}

TEST_F(Logs, DeletionIsConfirmed)
{
    store({"HomeNet", "Office"});
    open();
    askToDelete("Office");
    EXPECT_TRUE(shownItem(windowWith("Delete Network"), "Are you sure you want to delete 'Office' from the activity log?"));
    press(windowWith("Delete Network"), Qt::Key_Return); // Cancel
    EXPECT_EQ(stored(), QStringList({"HomeNet", "Office"}));
    askToDelete("Office");
    click(windowWith("Delete Network"), "Delete");
    EXPECT_EQ(stored(), QStringList{"HomeNet"});
    EXPECT_EQ(posted, QStringList{"MACAddressesByNetworkSegmentDictEdited"});
    EXPECT_FALSE(row("Office"));
    EXPECT_TRUE(windowWith("Recent Activity"));
}

TEST_F(Logs, DictionaryGoneWhileARowIsBeingDeletedChangesNothing)
{
    store({"HomeNet"});
    open();
    askToDelete("HomeNet");
    settings.remove("recentICloudActivity");
    settle();
    click(windowWith("Delete Network"), "Delete");
    EXPECT_FALSE(settings.contains("recentICloudActivity"));
    EXPECT_TRUE(posted.isEmpty());
    EXPECT_TRUE(shownItem(windowWith("Recent Activity"), "No recent activity"));
}

TEST_F(Logs, CloseByTheirButtonAndByEscape)
{
    store({"HomeNet"});
    click(open(), "Close");
    EXPECT_FALSE(windowWith("Recent Activity"));
    click(panel(), "Logs");
    askToDelete("HomeNet");
    press(windowWith("Delete Network"), Qt::Key_Escape);
    EXPECT_TRUE(windowWith("Recent Activity")) << "Escape closes the topmost alone";
    press(windowWith("Recent Activity"), Qt::Key_Escape);
    EXPECT_FALSE(windowWith("Recent Activity"));
    EXPECT_TRUE(panel());
}

TEST_F(Logs, KeyboardAloneDeletesARow)
{
    store({"A", "B", "C"});
    QQuickWindow *sheet = open();
    press(sheet, Qt::Key_Down);
    press(sheet, Qt::Key_Delete);
    QQuickWindow *alert = windowWith("Delete Network");
    ASSERT_TRUE(alert);
    press(alert, Qt::Key_Backtab);
    press(alert, Qt::Key_Space);
    EXPECT_EQ(stored(), QStringList({"A", "C"}));
}

TEST_F(Logs, KeyboardSelectionStaysOnItsNetwork)
{
    store({"A", "B", "C"});
    QQuickWindow *sheet = open();
    press(sheet, Qt::Key_Down);
    ASSERT_EQ(list()->property("currentIndex"), 1);
    settings.setValue("recentICloudActivity", QVariantMap{{"A", table}, {"B", QVariantMap{{"lastUpdate", "later"}}}, {"C", table}});
    settle();
    EXPECT_EQ(list()->property("currentIndex"), 1) << "B was published again";
    EXPECT_TRUE(shownItem(sheet, "later"));
    settings.setValue("currentDisplayedWiFiName", "B");
    settle();
    EXPECT_EQ(list()->property("currentIndex"), 1) << "B is the current network now";
    store({"A", "A2", "B", "C"});
    settle();
    EXPECT_EQ(list()->property("currentIndex"), 2) << "another came before B";
    press(sheet, Qt::Key_Delete);
    EXPECT_TRUE(windowWith("Are you sure you want to delete 'B' from the activity log?"));
}

TEST_F(Logs, DeletedCurrentNetworkReturnsWhenItIsPublishedAgain)
{
    store({"HomeNet", "Office"});
    settings.setValue("currentDisplayedWiFiName", "Office");
    open();
    askToDelete("Office");
    click(windowWith("Delete Network"), "Delete");
    EXPECT_EQ(stored(), QStringList{"HomeNet"});
    EXPECT_FALSE(row("Office"));
    EXPECT_EQ(settings.text("currentDisplayedWiFiName"), "Office") << "it is in use all the same";
    store({"HomeNet", "Office"});
    settle();
    ASSERT_TRUE(row("Office"));
    EXPECT_TRUE(row("Office")->property("current").toBool());
    EXPECT_FALSE(row("HomeNet")->property("current").toBool());
    EXPECT_EQ(posted, QStringList{"MACAddressesByNetworkSegmentDictEdited"});
}

TEST_F(Logs, ReturnIsTheSafeButtonWhicheverHasTheFocus)
{
    store({"A"});
    open();
    askToDelete("A");
    QQuickWindow *alert = windowWith("Delete Network");
    press(alert, Qt::Key_Backtab);
    ASSERT_TRUE(shownItem(alert, "Delete")->hasActiveFocus());
    press(alert, Qt::Key_Return);
    EXPECT_FALSE(windowWith("Delete Network"));
    EXPECT_EQ(stored(), QStringList{"A"});
}

TEST_F(Logs, HundredsOfNetworksScroll)
{
    QStringList names;
    for (int index = 0; index < 300; ++index)
        names.append(QStringLiteral("Net %1").arg(index, 3, 10, QLatin1Char('0')));
    store(names);
    QQuickWindow *sheet = open();
    EXPECT_LT(sheet->height(), 600);
    press(sheet, Qt::Key_End);
    ASSERT_TRUE(row("Net 299"));
    const qreal before = list()->property("contentY").toReal();
    EXPECT_GT(before, 10000);
    names.removeLast();
    store(names);
    settle();
    EXPECT_GT(list()->property("contentY").toReal(), before - 100) << "it stays where it was scrolled to";
}

TEST_F(Logs, DeleteHasAHitAreaLargerThanItsText)
{
    store({"HomeNet"});
    QQuickWindow *sheet = open();
    QQuickItem *button = shownItem(sheet, "Delete");
    EXPECT_GE(button->width(), 44);
    EXPECT_GE(button->height(), 30);
}

} // namespace
