#include "tests/linux/BackgroundFixture.h"

using namespace lanterna;

namespace
{
using Asker = LoginItem::Asker;
}

TEST_F(Background, DesktopIsAskedAndItsAnswerIsWhatIsKnown)
{
    EXPECT_FALSE(portal.isEnabled());
    portal.registerItem(Asker::program, note());
    ASSERT_TRUE(turnUntil([&] { return service.asked.size() == 1; }));
    EXPECT_EQ(service.asked[0].value("autostart"), QVariant(true));
    EXPECT_EQ(service.asked[0].value("commandline").toStringList(), QStringList{"lanterna"});
    EXPECT_TRUE(answers.isEmpty()) << "the person may still be thinking";
    service.answer(true);
    ASSERT_TRUE(turnUntil([&] { return !answers.isEmpty(); }));
    EXPECT_EQ(answers, QStringList{""});
    EXPECT_TRUE(portal.isEnabled());
    portal.unregisterItem(note());
    ASSERT_TRUE(turnUntil([&] { return service.asked.size() == 2; }));
    EXPECT_EQ(service.asked[1].value("autostart"), QVariant(false));
    service.answer(false);
    ASSERT_TRUE(turnUntil([&] { return answers.size() == 2; }));
    EXPECT_FALSE(portal.isEnabled());
}

TEST_F(Background, RefusalsAreToldInWords)
{
    portal.registerItem(Asker::program, note());
    ASSERT_TRUE(turnUntil([&] { return service.asked.size() == 1; }));
    service.answer(false, 1);
    ASSERT_TRUE(turnUntil([&] { return answers.size() == 1; }));
    portal.registerItem(Asker::program, note());
    ASSERT_TRUE(turnUntil([&] { return service.asked.size() == 2; }));
    service.answer(false);
    ASSERT_TRUE(turnUntil([&] { return answers.size() == 2; }));
    service.manner = FakeBackground::Manner::refuses;
    portal.registerItem(Asker::program, note());
    ASSERT_TRUE(turnUntil([&] { return answers.size() == 3; }));
    EXPECT_EQ(answers[0], "the desktop was not allowed to");
    EXPECT_EQ(answers[1], "the desktop did not do it");
    EXPECT_FALSE(answers[2].isEmpty());
    EXPECT_FALSE(portal.isEnabled());
}

TEST_F(Background, LaterWishWaitsForTheCallToBeTakenAndTheOneBetweenCountsAsDone)
{
    portal.registerItem(Asker::person, note());
    portal.unregisterItem([&](const QString &) { answers.append("between"); });
    portal.registerItem(Asker::person, [&](const QString &error) { answers.append("last" + error); });
    EXPECT_TRUE(portal.isEnabled());
    ASSERT_TRUE(waitForEvents({"ask for true", "close 0", "ask for true"})) << "what is not yet there cannot be closed";
    EXPECT_EQ(answers, (QStringList{"between", "there was no answer before the next choice"}));
    service.answer(true);
    ASSERT_TRUE(turnUntil([&] { return answers.size() == 3; }));
    EXPECT_EQ(answers[2], "last");
}

TEST_F(Background, LaterWishIsSentAtOnceAfterAnAnswer)
{
    portal.registerItem(Asker::person, note());
    ASSERT_TRUE(waitForEvents({"ask for true"}));
    service.answer(true);
    ASSERT_TRUE(turnUntil([&] { return !answers.isEmpty(); }));
    portal.unregisterItem(note());
    ASSERT_TRUE(waitForEvents({"ask for true", "ask for false"})) << "an answered request needs no closing";
}

TEST_F(Background, AnswerToAClosedRequestIsNotTakenForTheNextOne)
{
    portal.registerItem(Asker::person, note());
    ASSERT_TRUE(waitForEvents({"ask for true"}));
    portal.unregisterItem(note());
    ASSERT_TRUE(waitForEvents({"ask for true", "close 0", "ask for false"}));
    service.answer(true, 0, 0);
    ASSERT_TRUE(settle());
    EXPECT_EQ(answers.size(), 1) << "the closed one alone";
    EXPECT_FALSE(portal.isEnabled());
    service.answer(false);
    ASSERT_TRUE(turnUntil([&] { return answers.size() == 2; }));
    EXPECT_EQ(answers[1], "");
}

TEST_F(Background, PortalThatHangsHoldsUpNothing)
{
    auto other = std::make_unique<BackgroundPortal>(dispatch, bus.connect(), "lanterna");
    other->registerItem(Asker::program, note());
    ASSERT_TRUE(turnUntil([&] { return service.asked.size() == 1; }));
    EXPECT_TRUE(other->isEnabled()) << "a wish under way counts";
    other.reset();
    service.answer(true);
    portal.registerItem(Asker::program, note()); // its request comes after that signal
    ASSERT_TRUE(turnUntil([&] { return service.asked.size() == 2; }));
    EXPECT_TRUE(answers.isEmpty());
}

TEST(BackgroundWithoutPortal, IsAnErrorInWords)
{
    PrivateBus bus;
    VirtualDispatch dispatch;
    BackgroundPortal portal(dispatch, bus.connect(), "lanterna");
    QString answer;
    portal.registerItem(Asker::program, [&](const QString &error) { answer = error; });
    EXPECT_TRUE(turnLoopUntil([&] {
        dispatch.runReady();
        return !answer.isEmpty();
    }));
}
