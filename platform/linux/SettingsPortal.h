#pragma once

#include "platform/Dispatch.h"
#include "platform/linux/BusCall.h"

#include <functional>

namespace lanterna
{

/// "dark" or "light", as the desktop's settings portal says. Main thread only; nothing waits for the portal.
///
/// The first answer comes soon after construction: the portal's own if it answers at once, else "dark", corrected later. Without a portal it stays
/// "dark": panels of desktops without one mostly are.
class SettingsPortal
{
public:
    /// `changed` gets the name once at first and then whenever it differs.
    SettingsPortal(const QDBusConnection &bus, Dispatch &dispatch, std::function<void(const QString &appearanceName)> changed);

    /// What the portal says now; empty while it has not answered, and without one.
    [[nodiscard]] const QString &answered() const { return m_answered; }

private:
    void read(const QString &method);
    void take(const QVariant &value);
    void deliver(const QString &appearanceName);

    QDBusConnection m_bus;
    std::function<void(const QString &)> m_changed;
    QString m_delivered;
    QString m_answered;
    QObject m_context;
    BusSignal m_settingChanged;
    TimerHandle m_patience;
};

/// The appearance for a value of org.freedesktop.appearance color-scheme: 1 (prefer dark) is "dark", 0 (no preference) and 2 (prefer light) are
/// "light". Variants inside variants, as the portal's older method answers, are unwrapped. Empty for anything but a number.
QString appearanceFromColourScheme(const QVariant &value);

} // namespace lanterna
