#pragma once

#include "platform/linux/BackgroundPortal.h"
#include "platform/linux/BusCall.h"
#include "platform/linux/DBusObject.h"
#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/PrivateBus.h"

#include <QDBusArgument>
#include <QDBusObjectPath>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace lanterna
{

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

/// The portal's two sides on a bus of their own.
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

} // namespace lanterna
