#include "tests/ui/PanelFixture.h"

using namespace lanterna;

namespace
{

const QVariantMap table{{"192.168.1.2", "00:11:32:00:77:14"}, {"lastUpdate", "11!22!2026_01*42 +"}};
const QStringList thePair{QStringLiteral("PreferencesChanged"), QStringLiteral("updateMenubarData")};

class LANDataPanel : public PanelFixture
{
protected:
    LANDataPanel()
    {
        settings.setValue("MACAddressesByNetworkSegment", QVariantMap{{"HomeNet", table}, {"Office", table}});
        settings.setValue("recentICloudActivity", QVariantMap{{"HomeNet", table}, {"Office", table}});
    }
    QQuickItem *field()
    {
        for (QQuickItem *found : allBelow(windowWith("WiFi network name (SSID)")->contentItem())) {
            if (found->inherits("QQuickTextField"))
                return found;
        }
        return nullptr;
    }
    void type(const QString &text)
    {
        field()->setProperty("text", text);
        settle();
    }
    QString shownSelection() { return panelPicker()->property("displayText").toString(); }
    static qsizetype windows() { return QGuiApplication::allWindows().size(); }
};

TEST_F(LANDataPanel, HangsUnderItsButtonInsideTheMonitor)
{
    screens.found = {{QRectF(0, 0, 1280, 1400), QRectF(0, 30, 1280, 1370)}};
    QQuickWindow *window = openPanel();
    EXPECT_EQ(window->transientParent(), preferences());
    EXPECT_EQ(window->width(), 420);
    QQuickItem *button = shownItem(preferences(), "Configure LAN data sharing");
    const QPointF below = preferences()->position() + middleOf(button) + QPointF(0, button->height() / 2);
    EXPECT_NEAR(window->x() + window->width() / 2.0, below.x(), 1);
    EXPECT_NEAR(window->y(), below.y() + 4, 1);
    EXPECT_FALSE(window->modality()) << "the preferences stay usable: a press there closes it";
}

TEST_F(LANDataPanel, StaysOnItsSideWhenItShrinks)
{
    const QRectF below(0, 0, 1280, 700); // no room under the button for the panel with its warning
    screens.found = {{below, below}};
    QQuickWindow *window = openPanel();
    const int button = preferences()->y() + static_cast<int>(shownItem(preferences(), "Configure LAN data sharing")->mapToScene({}).y());
    ASSERT_LT(window->y() + window->height(), button);
    settings.setValue("realWiFiAvailable", true);
    settle();
    EXPECT_NEAR(window->y() + window->height(), button - 4, 1);
}

TEST_F(LANDataPanel, ShowsItsTextsInOrderAndNothingIsClipped)
{
    QQuickWindow *window = openPanel();
    qreal last = -1;
    for (const char *text : {"LAN Data Sharing", "No active WiFi network detected", "Current logged-in user name",
             "MAC addresses for all discovered devices", "Associate data with WiFi network:", "Logs"}) {
        QQuickItem *item = shownItem(window, text);
        ASSERT_TRUE(item) << text;
        const qreal y = item->mapToScene({}).y();
        EXPECT_GT(y, last) << text;
        EXPECT_LE(y + item->height(), window->height() - 15) << text;
        last = y;
    }
    EXPECT_TRUE(shownItem(window, "iCloud Data Privacy"));
    EXPECT_TRUE(posted.isEmpty());
}

TEST_F(LANDataPanel, CheckBoxesAreTheSettingsOfThePreferences)
{
    QQuickWindow *window = openPanel();
    QQuickItem *user = shownItem(window, "Current logged-in user name");
    EXPECT_TRUE(user->property("checked").toBool());
    QMetaObject::invokeMethod(user, "toggle");
    QMetaObject::invokeMethod(user, "toggled");
    EXPECT_EQ(settings.value("showCurrentUser"), QVariant(false));
    EXPECT_EQ(posted, thePair);
    settings.setValue("showMACAddresses", false);
    settle();
    EXPECT_FALSE(shownItem(window, "MAC addresses for all discovered devices")->property("checked").toBool());
    EXPECT_EQ(posted, thePair);
}

TEST_F(LANDataPanel, BannerAndWarningComeAndGoAndTheWindowFits)
{
    QQuickWindow *window = openPanel();
    const int withWarning = window->height();
    settings.setValue("realWiFiAvailable", true);
    settle();
    EXPECT_FALSE(shownItem(window, "No active WiFi network detected"));
    EXPECT_LT(window->height(), withWarning - 40);
    settings.setValue("realWiFiAvailable", false);
    settings.setValue("wiFiStubSSID", "HomeNet");
    settle();
    EXPECT_TRUE(shownItem(window, "Using WiFi stub: HomeNet"));
    EXPECT_FALSE(shownItem(window, "No active WiFi network detected"));
    QQuickItem *logs = shownItem(window, "Logs");
    EXPECT_NEAR(logs->mapToScene(QPointF(0, logs->height())).y(), window->height() - 16, 1);
    click(window, "Remove");
    EXPECT_EQ(settings.value("wiFiStubSSID"), QVariant(""));
    EXPECT_EQ(posted, QStringList{"WiFiStubChanged"});
    settle();
    EXPECT_EQ(window->height(), withWarning);
}

TEST_F(LANDataPanel, ChoosingTheStubItemOpensTheEditorAndKeepsTheSelection)
{
    openPanel();
    choose("HomeNet");
    posted.clear();
    choose("Create WiFi Stub…");
    EXPECT_TRUE(windowWith("Create WiFi Stub"));
    EXPECT_EQ(settings.text("associatedWiFiNetwork"), "HomeNet");
    EXPECT_EQ(shownSelection(), "HomeNet");
    EXPECT_TRUE(posted.isEmpty());
}

TEST_F(LANDataPanel, EditorSavesTheTrimmedName)
{
    openPanel();
    choose("Create WiFi Stub…");
    type("  HomeNet ");
    press(windowWith("Create WiFi Stub"), Qt::Key_Return);
    EXPECT_EQ(settings.text("wiFiStubSSID"), "HomeNet");
    EXPECT_EQ(settings.text("associatedWiFiNetwork"), "HomeNet");
    EXPECT_FALSE(windowWith("Create WiFi Stub"));
    EXPECT_EQ(shownSelection(), "HomeNet (stub)");
    EXPECT_TRUE(panel());
}

TEST_F(LANDataPanel, EditorRefuses33CharactersWithARedLineAndTakes32)
{
    openPanel();
    choose("Create WiFi Stub…");
    QQuickWindow *editor = windowWith("Create WiFi Stub");
    EXPECT_FALSE(shownItem(editor, "SSIDs are limited to 32 characters."));
    const int height = editor->height();
    type(QString(33, 'x'));
    QQuickItem *warning = shownItem(editor, "SSIDs are limited to 32 characters.");
    ASSERT_TRUE(warning);
    EXPECT_GT(editor->height(), height);
    const QColor colour = warning->property("color").value<QColor>();
    EXPECT_GT(colour.red(), 2 * colour.green());
    press(editor, Qt::Key_Return);
    EXPECT_TRUE(windowWith("Create WiFi Stub")) << "it stays open";
    EXPECT_FALSE(settings.contains("wiFiStubSSID"));
    type(QString::fromUtf8("👩‍👩‍👧‍👦").repeated(32));
    EXPECT_FALSE(shownItem(editor, "SSIDs are limited to 32 characters."));
    click(editor, "Create");
    EXPECT_EQ(settings.text("wiFiStubSSID"), QString::fromUtf8("👩‍👩‍👧‍👦").repeated(32));
}

TEST_F(LANDataPanel, EditorRefusesBlanks)
{
    openPanel();
    choose("Create WiFi Stub…");
    type("   ");
    QQuickWindow *editor = windowWith("Create WiFi Stub");
    EXPECT_FALSE(shownItem(editor, "Create")->isEnabled());
    press(editor, Qt::Key_Return);
    EXPECT_TRUE(windowWith("Create WiFi Stub"));
    press(editor, Qt::Key_Escape);
    EXPECT_FALSE(windowWith("Create WiFi Stub"));
    EXPECT_TRUE(panel()) << "Escape closes the topmost alone";
    EXPECT_FALSE(posted.contains("WiFiStubChanged"));
}

TEST_F(LANDataPanel, EditorOfAStubBeginsWithItsName)
{
    settings.setValue("wiFiStubSSID", "Office");
    openPanel();
    choose("Create WiFi Stub…");
    EXPECT_TRUE(windowWith("Edit WiFi Stub"));
    EXPECT_TRUE(shownItem(windowWith("Edit WiFi Stub"), "Save"));
    EXPECT_EQ(field()->property("text"), "Office");
    EXPECT_TRUE(field()->hasActiveFocus());
}

TEST_F(LANDataPanel, WarningExplainsAndLeadsToTheEditor)
{
    QQuickWindow *window = openPanel();
    click(window, "This Mac appears to be connected via Ethernet. Click to learn how to sync MAC addresses to iOS devices on a WiFi network.");
    QQuickWindow *alert = windowWith("No Active WiFi Network");
    ASSERT_TRUE(alert);
    EXPECT_EQ(alert->modality(), Qt::WindowModal);
    EXPECT_EQ(alert->transientParent(), window);
    click(alert, "Create WiFi Stub…");
    EXPECT_FALSE(windowWith("No Active WiFi Network"));
    EXPECT_TRUE(windowWith("WiFi network name (SSID)"));
    EXPECT_TRUE(posted.isEmpty());
}

TEST_F(LANDataPanel, RemovalIsAskedForAndCancelIsSafe)
{
    settings.setValue("associatedWiFiNetwork", "Office");
    QQuickWindow *window = openPanel();
    click(window, "Remove the selected network from the list");
    QQuickWindow *alert = windowWith("Remove Network");
    ASSERT_TRUE(alert);
    press(alert, Qt::Key_Return); // the default button is the safe one
    EXPECT_FALSE(windowWith("Remove Network"));
    EXPECT_TRUE(settings.dictionary("MACAddressesByNetworkSegment").contains("Office"));
    EXPECT_TRUE(posted.isEmpty());
    click(window, "Remove the selected network from the list");
    click(windowWith("Remove Network"), "Remove");
    EXPECT_EQ(settings.dictionary("MACAddressesByNetworkSegment").keys(), QStringList{"HomeNet"});
    EXPECT_EQ(shownSelection(), "<Current connected WiFi network>");
    EXPECT_FALSE(shownItem(panel(), "Remove the selected network from the list"));
}

TEST_F(LANDataPanel, PickerKeepsItsWidthWhenTheTrashGoes)
{
    settings.setValue("associatedWiFiNetwork", "Office");
    openPanel();
    const qreal width = panelPicker()->width();
    choose("<Current connected WiFi network>");
    EXPECT_EQ(panelPicker()->width(), width);
}

TEST_F(LANDataPanel, PrivacyAlertNamesAnotherStore)
{
    otherStore = "The records are kept on files.example.org.";
    click(openPanel(), "iCloud Data Privacy");
    QQuickWindow *alert = windowWith("OK");
    ASSERT_TRUE(alert);
    bool found = false;
    for (QQuickItem *item : allBelow(alert->contentItem()))
        found = found || item->property("text").toString().endsWith("protocols.\n\nThe records are kept on files.example.org.");
    EXPECT_TRUE(found);
    press(alert, Qt::Key_Escape);
    EXPECT_FALSE(windowWith("OK"));
    EXPECT_TRUE(panel());
}

TEST_F(LANDataPanel, IsBuiltAnewEachTimeItOpens)
{
    openPanel();
    settings.setValue("MACAddressesByNetworkSegment", QVariantMap{{"Third", table}});
    EXPECT_EQ(panelPicker()->property("count"), 4) << "the list is that of the opening";
    press(panel(), Qt::Key_Escape);
    EXPECT_FALSE(panel());
    openPanel();
    EXPECT_EQ(panelPicker()->property("count"), 3);
}

TEST_F(LANDataPanel, PressInThePreferencesClosesItAndDoesNothingElse)
{
    openPanel();
    QQuickItem *button = shownItem(preferences(), "Configure LAN data sharing");
    pressAt(preferences(), middleOf(button));
    EXPECT_FALSE(panel());
    pressAt(preferences(), middleOf(button));
    EXPECT_TRUE(panel()) << "the next press opens it again";
}

TEST_F(LANDataPanel, PressThatTookTheFocusFirstDoesNothingElse)
{
    openPanel();
    preferences()->requestActivate();
    settle();
    EXPECT_FALSE(panel());
    QQuickItem *button = shownItem(preferences(), "Configure LAN data sharing");
    pressAt(preferences(), middleOf(button));
    EXPECT_FALSE(panel()) << "the same press";
    pressAt(preferences(), middleOf(button));
    EXPECT_TRUE(panel());
}

TEST_F(LANDataPanel, PressLongAfterTheFocusIsAnother)
{
    openPanel();
    preferences()->requestActivate();
    settle();
    dispatch.advance(std::chrono::seconds(1));
    pressAt(preferences(), middleOf(shownItem(preferences(), "Configure LAN data sharing")));
    EXPECT_TRUE(panel());
}

TEST_F(LANDataPanel, GoesWithThePreferences)
{
    openPanel();
    preferences()->close();
    settle();
    EXPECT_FALSE(panel());
}

TEST_F(LANDataPanel, StaysWhileItHasAWindowOpen)
{
    click(openPanel(), "Logs");
    ASSERT_TRUE(windowWith("Recent Activity"));
    preferences()->requestActivate();
    settle();
    EXPECT_TRUE(panel());
    EXPECT_TRUE(windowWith("Recent Activity"));
}

TEST_F(LANDataPanel, TakesItsWindowsAlong)
{
    click(openPanel(), "Logs");
    preferences()->hide();
    settle();
    EXPECT_FALSE(panel());
    EXPECT_FALSE(windowWith("Recent Activity"));
}

TEST_F(LANDataPanel, LeavesNothingBehindAfter200Openings)
{
    openPanel();
    press(panel(), Qt::Key_Escape);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    const qsizetype before = windows();
    const qsizetype objects = program.findChildren<QObject *>().size() + preferences()->findChildren<QObject *>().size();
    for (int opening = 0; opening < 200; ++opening) {
        openPanel();
        press(panel(), Qt::Key_Escape);
        ASSERT_FALSE(panel());
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(windows(), before);
    EXPECT_EQ(program.findChildren<QObject *>().size() + preferences()->findChildren<QObject *>().size(), objects);
}

TEST_F(LANDataPanel, SurvivesSettingsOfAWrongType)
{
    settings.setValue("associatedWiFiNetwork", "Office");
    QQuickWindow *window = openPanel();
    settings.setValue("associatedWiFiNetwork", QVariantMap{{"a", 1}});
    settings.setValue("wiFiStubSSID", QVariantList{1});
    settings.setValue("realWiFiAvailable", QVariantMap{{"b", 2}});
    settings.setValue("showCurrentUser", QVariantList{});
    settings.setValue("MACAddressesByNetworkSegment", 12);
    settle();
    EXPECT_EQ(shownSelection(), "<Current connected WiFi network>");
    EXPECT_TRUE(shownItem(window, "Current logged-in user name")->property("checked").toBool());
    EXPECT_FALSE(shownItem(window, "Remove the selected network from the list"));
}

TEST_F(LANDataPanel, NamesAreNoMarkup)
{
    settings.setValue("wiFiStubSSID", "<b>Home</b><img src=x>");
    QQuickItem *text = shownItem(openPanel(), "Using WiFi stub: <b>Home</b><img src=x>");
    ASSERT_TRUE(text);
    EXPECT_EQ(text->property("textFormat").toInt(), Qt::PlainText);
}

TEST_F(LANDataPanel, ArrowKeysOpenThePickersListAndChooseNothing)
{
    openPanel();
    panelPicker()->forceActiveFocus();
    press(panel(), Qt::Key_Down);
    EXPECT_TRUE(panelPicker()->property("opened").toBool());
    EXPECT_TRUE(posted.isEmpty());
    press(qobject_cast<QQuickWindow *>(QGuiApplication::focusWindow()), Qt::Key_Escape); // of the panel or the list, as the system has it
    EXPECT_FALSE(panelPicker()->property("opened").toBool());
    EXPECT_TRUE(panel());
}

TEST_F(LANDataPanel, PickerOfHundredsOfNetworksStaysOnTheScreen)
{
    QVariantMap tables;
    for (int index = 0; index < 300; ++index)
        tables.insert(QStringLiteral("Net %1").arg(index, 3, 10, QLatin1Char('0')), table);
    settings.setValue("MACAddressesByNetworkSegment", tables);
    settings.setValue("associatedWiFiNetwork", "Net 150");
    openPanel();
    panelPicker()->forceActiveFocus();
    press(panel(), Qt::Key_Space);
    auto *list = qobject_cast<QQuickWindow *>(QGuiApplication::focusWindow());
    ASSERT_NE(list, panel()) << "the list of the offscreen platform takes the focus";
    EXPECT_LE(list->height(), 400);
    EXPECT_TRUE(shownItem(list, "Net 150")) << "it opens where the choice is";
    EXPECT_FALSE(shownItem(list, "Net 000"));
    press(list, Qt::Key_End);
    press(list, Qt::Key_Up);
    press(list, Qt::Key_Return);
    EXPECT_EQ(settings.text("associatedWiFiNetwork"), "Net 299");
}

} // namespace
