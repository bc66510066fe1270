#include "app/LaunchAtLoginManager.h"

#include "tests/fakes/FakeSystemLog.h"
#include "tests/fakes/VirtualDispatch.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

class FakeLoginItem : public LoginItem
{
public:
    explicit FakeLoginItem(Dispatch &dispatch) : m_dispatch(dispatch) { }
    [[nodiscard]] bool isEnabled() const override { return enabled; }
    [[nodiscard]] bool isKnown() const override { return known; }
    void registerItem(Asker asker, Completion completion) override
    {
        change(asker == Asker::person ? QStringLiteral("register for the person") : QStringLiteral("register"), true, completion);
    }
    void unregisterItem(Completion completion) override { change(QStringLiteral("unregister"), false, completion); }

    bool enabled = false;
    bool known = true;
    QString error; ///< of every call
    QStringList calls;

private:
    void change(const QString &call, bool wanted, const Completion &completion)
    {
        calls.append(call);
        if (error.isEmpty()) {
            enabled = wanted;
            known = true;
        }
        m_dispatch.mainAsync([completion, reason = error] { completion(reason); });
    }

    Dispatch &m_dispatch;
};

class LaunchAtLogin : public testing::Test
{
protected:
    QTemporaryDir folder;
    VirtualDispatch dispatch;
    FakeSystemLog log;
    SettingsStore settings{folder.path(), log};
    FakeLoginItem item{dispatch};
    LaunchAtLoginManager manager{settings, log, item};
};

} // namespace

TEST_F(LaunchAtLogin, WithoutASettingAStartStoresTrueAndRegisters)
{
    manager.applyFromPreference();
    EXPECT_EQ(settings.value("launchAtLogin"), QVariant(true));
    EXPECT_EQ(item.calls, QStringList{"register"});
    dispatch.runReady();
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(LaunchAtLogin, SettingThatSaysNeitherYesNorNoCountsAsAbsent)
{
    for (const QVariant &stored : {QVariant(QVariantList{1}), QVariant(QVariantMap{{"a", 1}}), QVariant(QDateTime::fromSecsSinceEpoch(0, Qt::UTC))}) {
        item.enabled = false;
        item.calls.clear();
        settings.setValue("launchAtLogin", stored);
        manager.applyFromPreference();
        EXPECT_EQ(settings.value("launchAtLogin"), QVariant(true)) << stored.typeName();
        EXPECT_EQ(item.calls, QStringList{"register"}) << stored.typeName();
    }
}

TEST_F(LaunchAtLogin, TextAndNumbersAreReadAsYesOrNo)
{
    for (const QVariant &stored : {QVariant("NO"), QVariant(0LL), QVariant(0.0)}) {
        item.enabled = true;
        settings.setValue("launchAtLogin", stored);
        manager.applyFromPreference();
        EXPECT_FALSE(item.enabled) << stored.typeName();
        EXPECT_EQ(settings.value("launchAtLogin"), stored);
    }
}

TEST_F(LaunchAtLogin, StartAppliesWhatIsStoredAndLeavesIt)
{
    item.enabled = true;
    settings.setValue("launchAtLogin", false);
    manager.applyFromPreference();
    EXPECT_EQ(item.calls, QStringList{"unregister"});
    EXPECT_EQ(settings.value("launchAtLogin"), QVariant(false));
}

TEST_F(LaunchAtLogin, EnablingTwiceRegistersOnce)
{
    manager.setEnabled(true);
    dispatch.runReady();
    manager.setEnabled(true);
    manager.applyFromPreference();
    EXPECT_EQ(item.calls, QStringList{"register for the person"});
}

TEST_F(LaunchAtLogin, DisablingWhatIsNotRegisteredCallsNothing)
{
    manager.setEnabled(false);
    EXPECT_TRUE(item.calls.isEmpty());
    EXPECT_EQ(settings.value("launchAtLogin"), QVariant(false));
}

TEST_F(LaunchAtLogin, WhatIsNotKnownIsAskedForOnce)
{
    item.known = false;
    settings.setValue("launchAtLogin", false);
    manager.applyFromPreference();
    EXPECT_EQ(item.calls, QStringList{"unregister"}) << "an earlier run may have registered it";
    manager.setEnabled(false);
    EXPECT_EQ(item.calls.size(), 1);
}

TEST_F(LaunchAtLogin, FailureIsOneLineLeavesTheSettingAndIsTriedAgainOnlyAtTheNextChoice)
{
    item.error = "the folder is read-only";
    manager.applyFromPreference();
    dispatch.runReady();
    EXPECT_EQ(log.lines(), QStringList{"LaunchAtLoginManager: register failed: the folder is read-only"});
    EXPECT_TRUE(settings.boolean("launchAtLogin"));
    dispatch.advance(std::chrono::hours(1));
    EXPECT_EQ(item.calls.size(), 1);
    manager.setEnabled(true);
    EXPECT_EQ(item.calls.size(), 2);
    item.enabled = true;
    manager.setEnabled(false);
    dispatch.runReady();
    EXPECT_EQ(log.lines().last(), "LaunchAtLoginManager: unregister failed: the folder is read-only");
    EXPECT_FALSE(settings.boolean("launchAtLogin"));
}

TEST_F(LaunchAtLogin, SettingOfAnotherTypeCountsByItsTruth)
{
    settings.setValue("launchAtLogin", "no");
    item.enabled = true;
    manager.applyFromPreference();
    EXPECT_EQ(item.calls, QStringList{"unregister"});
}
