#pragma once

#include "platform/Desktop.h"
#include "platform/linux/BusCall.h"

#include <optional>

namespace lanterna
{

/// Short messages through org.freedesktop.Notifications. Main thread only; nothing blocks, and without a notification service nothing happens.
///
/// Each notice replaces the one before of its kind: those with a button, those without, and brief ones. While the service has not answered, only the
/// latest of a kind waits.
class DesktopNotices : public UserNotices
{
public:
    explicit DesktopNotices(const QDBusConnection &bus);

    void show(const QString &title, const QString &body) override;
    void showWithAction(const QString &title, const QString &body, const QString &action, std::function<void()> chosen) override;
    void showBriefly(const QString &body, std::chrono::milliseconds duration) override;

private:
    struct Notice {
        QString title;
        QString body;
        QString action; // empty for none
        std::function<void()> chosen;
        std::optional<std::chrono::milliseconds> duration; // of a brief one; others stay for as long as the desktop likes
    };
    /// A place for one notice at a time.
    struct Place {
        bool underWay = false;
        std::optional<Notice> waiting;
        quint32 shownId = 0;
        QString service; // who has shown it
        std::function<void()> chosen; // of the notice that is shown
    };
    void offer(Place &place, const Notice &notice);
    void send(Place &place, const Notice &notice);
    void notify(Place &place, const Notice &notice, const QString &body);
    void actionInvoked(const QDBusMessage &signal);

    QDBusConnection m_bus;
    Place m_plain;
    Place m_withButton;
    Place m_brief;
    BusSignal m_actionInvoked;
    QObject m_context;
};

} // namespace lanterna
