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
    explicit DesktopNotices(const QDBusConnection &bus) : m_bus(bus) { }

    void show(const QString &title, const QString &body) override;

private:
    struct Notice {
        QString title;
        QString body;
    };
    void send(const Notice &notice);

    QDBusConnection m_bus;
    bool m_underWay = false;
    std::optional<Notice> m_waiting;
    quint32 m_shownId = 0;
    QObject m_context;
};

} // namespace lanterna
