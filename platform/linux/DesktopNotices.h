#pragma once

#include "platform/Desktop.h"
#include "platform/linux/BusCall.h"

#include <optional>

namespace lanterna
{

/// Short messages through org.freedesktop.Notifications. Main thread only; nothing blocks, and without a notification service nothing happens.
///
/// Each notice replaces the one before. While the service has not answered, only the latest waits.
class DesktopNotices : public UserNotices
{
public:
    explicit DesktopNotices(const QDBusConnection &bus);

    void show(const QString &title, const QString &body) override;
    void showWithAction(const QString &title, const QString &body, const QString &action, std::function<void()> chosen) override;

private:
    struct Notice {
        QString title;
        QString body;
        QString action; // empty for none
        std::function<void()> chosen;
    };
    void offer(const Notice &notice);
    void send(const Notice &notice);
    void actionInvoked(const QDBusMessage &signal);

    QDBusConnection m_bus;
    bool m_underWay = false;
    std::optional<Notice> m_waiting;
    quint32 m_shownId = 0;
    QString m_service; // who has shown it
    std::function<void()> m_chosen; // of the notice that is shown
    BusSignal m_actionInvoked;
    QObject m_context;
};

} // namespace lanterna
