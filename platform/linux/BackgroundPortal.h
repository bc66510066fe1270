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
/// The portal tells nobody what is registered, so what it answered last in this run is what is known, and each start asks once. One request at a time;
/// a later one takes the place of one that waits, which then counts as done. Main thread only; nothing waits for the portal, and a completion may come
/// minutes later or, when nobody answers, never. The dispatch outlives it.
class BackgroundPortal : public LoginItem
{
public:
    /// The command is what the desktop shall start.
    BackgroundPortal(Dispatch &dispatch, const QDBusConnection &bus, QString command);
    ~BackgroundPortal() override;

    /// Whether this process runs in a sandbox whose programs have to ask the portal.
    static bool isNeeded();

    [[nodiscard]] bool isEnabled() const override { return m_enabled; }
    void registerItem(Asker asker, Completion completion) override;
    void unregisterItem(Completion completion) override;

private:
    struct Request {
        bool enable = false;
        Completion completion;
        bool isAnswered = false;
    };

    void ask(Request request);
    void send();
    void responded(const QDBusMessage &signal);
    void finish(const QString &error);

    Dispatch &m_dispatch;
    QDBusConnection m_bus;
    QString m_command;
    bool m_enabled = false;
    std::optional<Request> m_underWay;
    std::optional<Request> m_waiting;
    std::unique_ptr<BusSignal> m_response;
    int m_number = 0; // of requests, for their names
    QObject m_context; // answers are delivered while it lives
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

} // namespace lanterna
