#include "platform/linux/BackgroundPortal.h"

#include "app/LaunchAtLoginManager.h"
#include "platform/linux/BusCall.h"
#include "platform/linux/DBusObject.h"
#include "tests/fakes/FakeSystemLog.h"
#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/PrivateBus.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

using namespace lanterna;

namespace
{

using Asker = LoginItem::Asker;

/// The desktop's side of one request, which can be closed.
class FakeRequest : public DBusObject
{
public:
    FakeRequest(const QDBusConnection &bus, const QString &path, Task close)
        : DBusObject(bus, path, "org.freedesktop.portal.Request", QString()), m_close(std::move(close))
    {
    }
    /// Answers as a desktop does that was allowed to, or not, or could not.
    void answer(bool enabled, quint32 response) { sendSignal("Response", {response, QVariantMap{{"background", true}, {"autostart", enabled}}}); }

protected:
    [[nodiscard]] QVariantMap busProperties() const override { return {}; }
    bool handleCall(const QDBusMessage &message) override
    {
        m_close();
        reply(message);
        return message.member() == QLatin1String("Close");
    }

private:
    Task m_close;
};

/// A portal that keeps what it was asked, and answers when told to.
class FakeBackground : public DBusObject
{
public:
    /// What becomes of a call: its request is taken, refused, or taken without a word, so that the call fails as one does that took too long.
    enum class Manner { takes, refuses, isSilent };

    explicit FakeBackground(const QDBusConnection &bus)
        : DBusObject(bus, "/org/freedesktop/portal/desktop", "org.freedesktop.portal.Background", QString()), m_bus(bus)
    {
        m_bus.registerService("org.freedesktop.portal.Desktop");
    }
    /// Answers the latest request, or the one of this number.
    void answer(bool enabled, quint32 response = 0, int number = -1)
    {
        m_requests[number < 0 ? m_requests.size() - 1 : std::size_t(number)]->answer(enabled, response);
    }
    QList<QVariantMap> asked;
    QStringList events; ///< "ask for true", "close 0" and the like
    Manner manner = Manner::takes;

protected:
    [[nodiscard]] QVariantMap busProperties() const override { return {}; }
    bool handleCall(const QDBusMessage &message) override
    {
        const int number = int(asked.size());
        asked.append(qdbus_cast<QVariantMap>(message.arguments().value(1)));
        events.append(asked.last().value("autostart").toBool() ? "ask for true" : "ask for false");
        const QString place = "/org/freedesktop/portal/desktop/request/" + message.service().mid(1).replace('.', '_') + '/'
            + asked.last().value("handle_token").toString();
        m_requests.push_back(std::make_unique<FakeRequest>(m_bus, place, [this, number] { events.append(QString("close %1").arg(number)); }));
        if (manner == Manner::isSilent)
            replyError(message, QDBusError::NoReply, "the call took too long");
        else if (manner == Manner::takes)
            reply(message, {QVariant::fromValue(QDBusObjectPath(place))});
        return manner != Manner::refuses;
    }

private:
    QDBusConnection m_bus;
    std::vector<std::unique_ptr<FakeRequest>> m_requests;
};

class Background : public testing::Test
{
protected:
    LoginItem::Completion note()
    {
        return [this](const QString &error) { answers.append(error); };
    }
    bool turnUntil(const std::function<bool()> &condition)
    {
        return turnLoopUntil([&] {
            dispatch.runReady();
            return condition();
        });
    }
    /// Waits until the portal's connection has handled all that was sent to it before, and this side all that came back.
    bool settle()
    {
        bool isDone = false;
        callBus(client, QDBusMessage::createMethodCall("org.freedesktop.portal.Desktop", "/", "org.freedesktop.DBus.Peer", "Ping"), &context,
            [&](const QDBusMessage &) { isDone = true; });
        return turnUntil([&] { return isDone; });
    }
    bool waitForEvents(const QStringList &expected)
    {
        const bool came = turnUntil([&] { return service.events.size() >= expected.size(); });
        EXPECT_TRUE(settle());
        EXPECT_EQ(service.events.join(", ").toStdString(), expected.join(", ").toStdString());
        return came && service.events == expected;
    }
    PrivateBus bus;
    VirtualDispatch dispatch;
    FakeBackground service{bus.connect()};
    QDBusConnection client = bus.connect();
    QObject context;
    BackgroundPortal portal{dispatch, client, "lanterna"};
    QStringList answers;
};

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
