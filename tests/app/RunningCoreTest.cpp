#include "app/RunningCore.h"
#include "tests/app/ControllerFixture.h"

using namespace lanterna;

namespace
{

class Core : public ControllerFixture
{
protected:
    Core()
    {
        for (const QString &name : {preferencesChangedNotification, updateMenubarDataNotification})
            observations.push_back(notifications.observe(name, [this, name](const Notification &) { posted.append(name); }));
    }
    CoreParts parts()
    {
        return {dispatch, settings, notifications, log, kernel, events, manager, statusItem, alerts, pasteboard, workspace, [] { return QString(); },
            [] { return QString(); }, {}, [this](const QString &key) { changedKeys.append(key); }};
    }
    /// Another process changes settings; this one notices.
    void changedElsewhere(const QList<std::pair<QString, QVariant>> &changes)
    {
        SettingsStore other(folder.path(), log);
        for (const auto &[key, value] : changes)
            other.setValue(key, value);
        settings.noticeChanges();
        dispatch.runReady();
    }

    FakeLocationManager manager;
    std::vector<NotificationCenter::Observation> observations;
    QStringList posted;
    QStringList changedKeys;
};

TEST_F(Core, APreferenceChangedByAnotherProcessPostsTheTwoNotificationsOnce)
{
    const RunningCore core(parts());
    changedElsewhere({{"whichIP", 2}, {"showInterfaceName", true}});
    EXPECT_EQ(posted, QStringList({preferencesChangedNotification, updateMenubarDataNotification}));
    settings.noticeChanges();
    dispatch.runReady();
    EXPECT_EQ(posted.size(), 2);
}

TEST_F(Core, OtherKeysChangedElsewherePostNothing)
{
    const RunningCore core(parts());
    changedElsewhere({{"WANIP", "203.0.113.7"}, {"nobodyDeclaredThis", 1}});
    EXPECT_EQ(posted, QStringList());
}

TEST_F(Core, ItsOwnWritesPostNothing)
{
    const RunningCore core(parts());
    set("whichIP", 3);
    settings.noticeChanges();
    dispatch.runReady();
    EXPECT_EQ(posted, QStringList());
}

TEST_F(Core, EveryChangedKeyIsToldOnTheMainQueue)
{
    const RunningCore core(parts());
    set("showInterfaceName", true);
    EXPECT_EQ(changedKeys, QStringList());
    dispatch.runReady();
    changedElsewhere({{"statusItemText", "icon"}});
    EXPECT_EQ(changedKeys, QStringList({"showInterfaceName", "statusItemText"}));
}

TEST_F(Core, AskingForTheResetAtTheStartOffersIt)
{
    RunningCore core(parts());
    core.start(0, true);
    ASSERT_EQ(alerts.shown.size(), 1);
    EXPECT_EQ(alerts.shown[0].message, "Reset Prefs");
}

} // namespace
