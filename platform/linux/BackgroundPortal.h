#pragma once

#include "platform/Dispatch.h"
#include "platform/LoginItem.h"

#include <QDBusConnection>
#include <QObject>

#include <memory>
#include <optional>

namespace lanterna
{

class BusSignal;

/// The login item of a program in a sandbox: asks the desktop's Background portal, which may ask the person.
///
/// The portal tells nobody what is registered, so what it answered last in this run is what is known, and each start asks once. One request at a time:
/// a later wish closes the request that is under way, which has then failed. Only until the portal has taken that request, which is a matter of one
/// call, does the later one wait; another takes its place, and the one that never went out counts as done. Main thread only; nothing waits for the
/// portal, and a completion may come minutes later or, when nobody answers, never. The dispatch outlives it.
class BackgroundPortal : public LoginItem
{
public:
    /// The command is what the desktop shall start.
    BackgroundPortal(Dispatch &dispatch, const QDBusConnection &bus, QString command);
    ~BackgroundPortal() override;

    /// Whether this process runs in a sandbox whose programs have to ask the portal.
    static bool isNeeded();

    [[nodiscard]] bool isEnabled() const override { return latest().value_or(false); }
    [[nodiscard]] bool isKnown() const override { return latest().has_value(); }
    void registerItem(Asker asker, Completion completion) override;
    void unregisterItem(Completion completion) override;

private:
    struct Request {
        bool enable = false;
        Completion completion;
    };

    [[nodiscard]] std::optional<bool> latest() const;
    void ask(Request request);
    void askWaiting();
    void close();
    void send();
    void replied(const QDBusMessage &reply);
    void responded(const QDBusMessage &signal);
    void finish(const QString &error);
    void tell(const Request &request, const QString &error);

    Dispatch &m_dispatch;
    QDBusConnection m_bus;
    QString m_command;
    std::optional<bool> m_enabled; // what the portal answered last; none when it may have done something since
    std::optional<Request> m_underWay;
    std::optional<Request> m_waiting;
    QString m_place; // of the latest request
    std::unique_ptr<BusSignal> m_response;
    bool m_isTaken = false; // the portal has answered the latest call
    bool m_isAwaited = false; // the latest request may be answered yet, even when its call took too long
    int m_number = 0; // of requests, for their names
    QObject m_context; // answers are delivered while it lives
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

} // namespace lanterna
