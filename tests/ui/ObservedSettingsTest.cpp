#include "tests/ui/PanelFixture.h"

using namespace lanterna;

namespace
{

/// One of the settings whose change the program is told of.
struct Observed {
    const char *key;
    const char *control; ///< its label in the preferences or the panel over them
    int item = -1; ///< which one is chosen, for a list
    QVariant stored; ///< by that
    QStringList after; ///< what is posted after the pair
};

class ObservedSetting : public PanelFixture, public testing::WithParamInterface<Observed>
{
protected:
    /// The control itself, not its label.
    QQuickItem *control(const char *name)
    {
        for (QQuickWindow *window : {preferences(), panel()}) {
            for (QQuickItem *found : allBelow(window->contentItem())) {
                const bool box = found->inherits("QQuickAbstractButton") && found->property("text") == QLatin1String(name);
                if (box || (found->inherits("QQuickComboBox") && found->property("label") == QLatin1String(name)))
                    return found;
            }
        }
        return nullptr;
    }
};

TEST_P(ObservedSetting, PostsThePairOnceAfterItIsStored)
{
    settings.setValue("MACAddressesByNetworkSegment", QVariantMap{{"HomeNet", QVariantMap{}}});
    openPanel();
    posted.clear();
    const Observed &observed = GetParam();
    QVariant atPosting;
    const auto observation =
        notifications.observe("PreferencesChanged", [&](const Notification &) { atPosting = settings.value(QString::fromLatin1(observed.key)); });
    QQuickItem *used = control(observed.control);
    ASSERT_TRUE(used);
    if (observed.item >= 0) {
        QMetaObject::invokeMethod(used, "choose", Q_ARG(QVariant, observed.item));
    } else {
        QMetaObject::invokeMethod(used, "toggle");
        QMetaObject::invokeMethod(used, "toggled");
    }
    settle(); // the settings' own report of the change comes later, and posts nothing
    EXPECT_EQ(settings.value(QString::fromLatin1(observed.key)), observed.stored);
    EXPECT_EQ(atPosting, observed.stored);
    EXPECT_EQ(posted, QStringList({"PreferencesChanged", "updateMenubarData"}) + observed.after);
}

INSTANTIATE_TEST_SUITE_P(AllSeven, ObservedSetting,
    testing::Values(Observed{"whichIP", "Display in menubar:", 0, 2LL, {}}, Observed{"showInterfaceName", "Display interface name", -1, true, {}},
        Observed{"updateFrequencyWAN", "WAN update frequency (mins)", 3, "360", {}},
        Observed{"updateFrequencyLAN", "LAN update frequency (secs)", 0, "30", {}},
        Observed{"showCurrentUser", "Current logged-in user name", -1, false, {}},
        Observed{"showMACAddresses", "MAC addresses for all discovered devices", -1, false, {}},
        Observed{"associatedWiFiNetwork", "Associate data with WiFi network:", 1, "HomeNet", {"TriggerImmediateScan"}}),
    [](const auto &each) { return std::string(each.param.key); });

} // namespace
