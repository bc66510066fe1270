#include "ui/PreferencesWindowController.h"

#include "tests/ui/WindowFixture.h"

using namespace lanterna;

namespace
{

class Preferences : public WindowFixture
{
protected:
    void open()
    {
        ASSERT_TRUE(bridge.showPreferencesWindow()) << log.lines().join('\n').toStdString();
        settle();
    }
    QQuickItem *control(const char *accessibleName)
    {
        QQuickItem *found = item(bridge.controller()->window()->contentItem(), QString::fromLatin1(accessibleName));
        EXPECT_TRUE(found) << accessibleName;
        return found;
    }
    QString shown(const char *picker) { return control(picker)->property("displayText").toString(); }
    bool checked(const char *box) { return control(box)->property("checked").toBool(); }
    void choose(const char *picker, int index) { QMetaObject::invokeMethod(control(picker), "choose", Q_ARG(QVariant, index)); }
    void toggle(const char *box)
    {
        QMetaObject::invokeMethod(control(box), "toggle");
        QMetaObject::invokeMethod(control(box), "toggled");
    }

    PrefsWindowBridge bridge;

private:
    /// The control of this name: its text, or that of the label it belongs to. Labels themselves are no controls.
    static QQuickItem *item(QQuickItem *from, const QString &name)
    {
        for (QQuickItem *child : from->childItems()) {
            if (child->inherits("QQuickAbstractButton") && child->property("text") == name)
                return child;
            if (child->inherits("QQuickComboBox") && child->property("label") == name)
                return child;
            if (QQuickItem *found = item(child, name))
                return found;
        }
        return nullptr;
    }
};

const QStringList thePair{QStringLiteral("PreferencesChanged"), QStringLiteral("updateMenubarData")};

TEST_F(Preferences, EmptySettingsShowTheFallbacks)
{
    open();
    EXPECT_EQ(shown("Display in menubar:"), "Icon Only (no IP)");
    EXPECT_EQ(shown("LAN update frequency (secs)"), "60");
    EXPECT_EQ(shown("WAN update frequency (mins)"), "10");
    EXPECT_TRUE(checked("Launch at login"));
    EXPECT_FALSE(checked("Display interface name"));
    EXPECT_TRUE(posted.isEmpty());
    EXPECT_TRUE(settings.keys().isEmpty());
}

TEST_F(Preferences, StoredValuesAreShown)
{
    settings.setValue("whichIP", 3);
    settings.setValue("updateFrequencyLAN", 300);
    settings.setValue("launchAtLogin", "NO");
    settings.setValue("showInterfaceName", "TRUE");
    open();
    EXPECT_EQ(shown("Display in menubar:"), "Secondary LAN IP");
    EXPECT_EQ(shown("LAN update frequency (secs)"), "300");
    EXPECT_FALSE(checked("Launch at login"));
    EXPECT_TRUE(checked("Display interface name"));
}

TEST_F(Preferences, SecondRequestShowsTheSameWindow)
{
    open();
    QQuickWindow *first = bridge.controller()->window();
    first->close();
    EXPECT_FALSE(first->isVisible());
    open();
    EXPECT_EQ(bridge.controller()->window(), first);
    EXPECT_TRUE(first->isVisible());
}

TEST_F(Preferences, EachChangePostsThePairOnce)
{
    open();
    choose("Display in menubar:", 0);
    EXPECT_EQ(settings.value("whichIP"), QVariant(2LL));
    EXPECT_EQ(posted, thePair);
    choose("WAN update frequency (mins)", 1);
    EXPECT_EQ(settings.value("updateFrequencyWAN"), QVariant("30"));
    choose("LAN update frequency (secs)", 3);
    EXPECT_EQ(settings.value("updateFrequencyLAN"), QVariant("300"));
    toggle("Display interface name");
    EXPECT_EQ(settings.value("showInterfaceName"), QVariant(true));
    EXPECT_EQ(posted, thePair + thePair + thePair + thePair);
}

TEST_F(Preferences, NewValueIsStoredBeforeThePairIsPosted)
{
    open();
    QVariant atPosting;
    const auto observation = notifications.observe("PreferencesChanged", [&](const Notification &) { atPosting = settings.value("whichIP"); });
    choose("Display in menubar:", 1);
    EXPECT_EQ(atPosting, QVariant(1LL));
}

TEST_F(Preferences, ChoosingTheShownValueAgainPostsNothing)
{
    open();
    choose("LAN update frequency (secs)", 1);
    EXPECT_TRUE(posted.isEmpty());
}

TEST_F(Preferences, LaunchAtLoginIsWrittenAndAppliedAndPostsNothing)
{
    open();
    toggle("Launch at login");
    EXPECT_EQ(settings.value("launchAtLogin"), QVariant(false));
    EXPECT_EQ(applied, 1);
    EXPECT_TRUE(posted.isEmpty());
}

TEST_F(Preferences, OpenWindowFollowsTheSettings)
{
    open();
    toggle("Display interface name"); // a click must not end the binding
    settings.setValue("showInterfaceName", false);
    settings.setValue("whichIP", 1);
    settle();
    EXPECT_FALSE(checked("Display interface name"));
    EXPECT_EQ(shown("Display in menubar:"), "Primary LAN IP");
    EXPECT_EQ(posted, thePair); // of the click alone
}

TEST_F(Preferences, UnlistedFrequencyIsNotSelectedAndNotCorrected)
{
    settings.setValue("updateFrequencyLAN", "45");
    open();
    EXPECT_EQ(shown("LAN update frequency (secs)"), "");
    EXPECT_EQ(settings.value("updateFrequencyLAN"), QVariant("45"));
}

TEST_F(Preferences, ValueOfAWrongTypeCountsAsAbsent)
{
    open();
    settings.setValue("whichIP", QVariantMap{{"a", 1}});
    settings.setValue("launchAtLogin", QVariantList{1});
    settle();
    EXPECT_EQ(shown("Display in menubar:"), "Icon Only (no IP)");
    EXPECT_TRUE(checked("Launch at login"));
}

TEST_F(Preferences, WindowIsCentredAndHoldsAllItsContent)
{
    open();
    const QQuickWindow *window = bridge.controller()->window();
    EXPECT_EQ(window->title(), "Lanterna Prefs (6.36)");
    EXPECT_GE(window->width(), 380);
    const QPointF middle = QRectF(window->geometry()).center();
    EXPECT_NEAR(middle.x(), 640, 1);
    EXPECT_NEAR(middle.y(), 415, 1);
    const QQuickItem *last = control("Configure LAN data sharing");
    EXPECT_LE(last->mapToScene(QPointF(0, last->height())).y(), window->height());
}

} // namespace
