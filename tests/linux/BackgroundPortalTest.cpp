#include "platform/linux/BackgroundPortal.h"

#include "platform/linux/DBusObject.h"
#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/PrivateBus.h"

#include <QDBusArgument>
#include <QDBusObjectPath>

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

using Asker = LoginItem::Asker;

/// A portal that keeps what it was asked, and answers when told to.
class FakeBackground : public DBusObject
{
public:
    explicit FakeBackground(const QDBusConnection &bus)
        : DBusObject(bus, "/org/freedesktop/portal/desktop", "org.freedesktop.portal.Background", QString()), m_bus(bus)
    {
        m_bus.registerService("org.freedesktop.portal.Desktop");
    }
    /// Answers the latest request as a desktop does that was allowed to, or not, or could not.
    void answer(bool enabled, quint32 response = 0)
    {
        QDBusMessage signal = QDBusMessage::createSignal(place(), "org.freedesktop.portal.Request", "Response");
        signal.setArguments({response, QVariantMap{{"background", true}, {"autostart", enabled}}});
        m_bus.send(signal);
    }
    QList<QVariantMap> asked;
    bool refuses = false;

protected:
    [[nodiscard]] QVariantMap busProperties() const override { return {}; }
    bool handleCall(const QDBusMessage &message) override
    {
        asked.append(qdbus_cast<QVariantMap>(message.arguments().value(1)));
        m_sender = message.service();
        if (refuses)
            return false;
        reply(message, {QVariant::fromValue(QDBusObjectPath(place()))});
        return true;
    }

private:
    [[nodiscard]] QString place() const
    {
        return "/org/freedesktop/portal/desktop/request/" + m_sender.mid(1).replace('.', '_') + '/' + asked.last().value("handle_token").toString();
    }
    QDBusConnection m_bus;
    QString m_sender;
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
    PrivateBus bus;
    VirtualDispatch dispatch;
    FakeBackground service{bus.connect()};
    BackgroundPortal portal{dispatch, bus.connect(), "lanterna"};
    QStringList answers;
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
    service.refuses = true;
    portal.registerItem(Asker::program, note());
    ASSERT_TRUE(turnUntil([&] { return answers.size() == 3; }));
    EXPECT_EQ(answers[0], "the desktop was not allowed to");
    EXPECT_EQ(answers[1], "the desktop did not do it");
    EXPECT_FALSE(answers[2].isEmpty());
    EXPECT_FALSE(portal.isEnabled());
}

TEST_F(Background, LaterWishWaitsAndTheOneBetweenCountsAsDone)
{
    portal.registerItem(Asker::person, note());
    ASSERT_TRUE(turnUntil([&] { return service.asked.size() == 1; }));
    portal.unregisterItem([&](const QString &) { answers.append("between"); });
    portal.registerItem(Asker::person, [&](const QString &) { answers.append("last"); });
    ASSERT_TRUE(turnUntil([&] { return answers.size() == 1; }));
    service.answer(true);
    ASSERT_TRUE(turnUntil([&] { return service.asked.size() == 2; }));
    EXPECT_EQ(service.asked[1].value("autostart"), QVariant(true));
    service.answer(true);
    ASSERT_TRUE(turnUntil([&] { return answers.size() == 3; }));
    EXPECT_EQ(answers, (QStringList{"between", "", "last"}));
}

TEST_F(Background, PortalThatHangsHoldsUpNothing)
{
    auto other = std::make_unique<BackgroundPortal>(dispatch, bus.connect(), "lanterna");
    other->registerItem(Asker::program, note());
    ASSERT_TRUE(turnUntil([&] { return service.asked.size() == 1; }));
    EXPECT_FALSE(other->isEnabled());
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
