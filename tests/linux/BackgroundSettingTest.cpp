#include "app/LaunchAtLoginManager.h"
#include "tests/fakes/FakeSystemLog.h"
#include "tests/linux/BackgroundFixture.h"

#include <QTemporaryDir>

using namespace lanterna;

namespace
{

/// The portal behind the setting, as in a sandbox.
class BackgroundSetting : public Background
{
protected:
    QTemporaryDir folder;
    FakeSystemLog log;
    SettingsStore settings{folder.path(), log};
    LaunchAtLoginManager manager{settings, log, portal};
};

} // namespace

TEST_F(BackgroundSetting, ChoiceMadeWhileARequestIsUnderWayIsNotLost)
{
    manager.applyFromPreference();
    ASSERT_TRUE(waitForEvents({"ask for true"}));
    manager.setEnabled(false);
    ASSERT_TRUE(waitForEvents({"ask for true", "close 0", "ask for false"}));
    manager.setEnabled(false);
    ASSERT_TRUE(waitForEvents({"ask for true", "close 0", "ask for false"})) << "it is being asked for";
    service.answer(false);
    ASSERT_TRUE(settle());
    EXPECT_FALSE(portal.isEnabled());
}

TEST_F(BackgroundSetting, ChoicesMadeBeforeTheCallIsTakenEndAtTheLast)
{
    manager.setEnabled(true);
    manager.setEnabled(false);
    manager.setEnabled(true);
    manager.setEnabled(false);
    ASSERT_TRUE(waitForEvents({"ask for true", "close 0", "ask for false"}));
}

TEST_F(BackgroundSetting, PortalThatNeverAnswersIsAskedAgainForTheNextChoiceWithOneLogLine)
{
    manager.setEnabled(true);
    ASSERT_TRUE(waitForEvents({"ask for true"}));
    EXPECT_TRUE(log.lines().isEmpty());
    manager.setEnabled(false);
    ASSERT_TRUE(waitForEvents({"ask for true", "close 0", "ask for false"}));
    EXPECT_EQ(log.lines(), QStringList{"LaunchAtLoginManager: register failed: there was no answer before the next choice"});
    manager.setEnabled(true);
    ASSERT_TRUE(waitForEvents({"ask for true", "close 0", "ask for false", "close 1", "ask for true"}));
    EXPECT_EQ(log.lines().last(), "LaunchAtLoginManager: unregister failed: there was no answer before the next choice");
}

TEST_F(BackgroundSetting, YesThatComesAfterTheCallTookTooLongCounts)
{
    service.manner = FakeBackground::Manner::isSilent;
    manager.setEnabled(true);
    ASSERT_TRUE(turnUntil([&] { return !log.lines().isEmpty(); }));
    EXPECT_EQ(log.lines(), QStringList{"LaunchAtLoginManager: register failed: the call took too long"});
    EXPECT_FALSE(portal.isEnabled());
    service.answer(true);
    ASSERT_TRUE(turnUntil([&] { return portal.isEnabled(); }));
    manager.setEnabled(true);
    service.manner = FakeBackground::Manner::takes;
    manager.setEnabled(false);
    ASSERT_TRUE(waitForEvents({"ask for true", "ask for false"}));
    EXPECT_EQ(log.lines().size(), 1);
}

TEST_F(BackgroundSetting, RequestWhoseCallTookTooLongIsClosedForTheNextChoice)
{
    service.manner = FakeBackground::Manner::isSilent;
    manager.setEnabled(true);
    ASSERT_TRUE(turnUntil([&] { return !log.lines().isEmpty(); }));
    service.manner = FakeBackground::Manner::takes;
    manager.setEnabled(false);
    ASSERT_TRUE(waitForEvents({"ask for true", "close 0", "ask for false"})) << "it may have been done without a word";
    service.answer(true, 0, 0);
    ASSERT_TRUE(settle());
    EXPECT_FALSE(portal.isEnabled()) << "the newer request counts";
    EXPECT_EQ(log.lines().size(), 1);
}

TEST_F(BackgroundSetting, ChoiceMadeBeforeACallFailsIsMadeThen)
{
    service.manner = FakeBackground::Manner::refuses;
    manager.setEnabled(true);
    manager.setEnabled(false);
    EXPECT_FALSE(portal.isEnabled());
    ASSERT_TRUE(waitForEvents({"ask for true", "ask for false"})) << "what was refused needs no closing";
    service.manner = FakeBackground::Manner::isSilent;
    manager.setEnabled(true);
    manager.setEnabled(false);
    ASSERT_TRUE(waitForEvents({"ask for true", "ask for false", "ask for true", "close 2", "ask for false"}));
    EXPECT_EQ(log.lines().size(), 4) << "one for each call that failed";
}

TEST_F(BackgroundSetting, StoredFalseIsPutIntoForceAtStart)
{
    settings.setValue("launchAtLogin", false);
    manager.applyFromPreference();
    ASSERT_TRUE(waitForEvents({"ask for false"})) << "an earlier run may have registered it";
    service.answer(false);
    ASSERT_TRUE(settle());
    manager.setEnabled(false);
    ASSERT_TRUE(waitForEvents({"ask for false"})) << "now it is known";
}
