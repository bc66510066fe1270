#pragma once

#include "platform/Dispatch.h"
#include "platform/linux/BusCall.h"

#include <functional>

namespace lanterna
{

/// "dark" or "light", as the desktop's settings portal says, and whether the desktop's windows move. Main thread only; nothing waits for the portal.
///
/// The first answer comes soon after construction: the portal's own if it answers at once, else "dark", corrected later. Without a portal it stays
/// "dark": panels of desktops without one mostly are.
class SettingsPortal
{
public:
    struct Events {
        std::function<void(const QString &appearanceName)> appearanceChanged; ///< once at first and then whenever it differs
        std::function<void()> windowWishesChanged; ///< after `answered` or `animated` changed; may be empty
    };
    SettingsPortal(const QDBusConnection &bus, Dispatch &dispatch, Events events);

    /// What the portal says now; empty while it has not answered, and without one.
    [[nodiscard]] const QString &answered() const { return m_answered; }
    /// False once the portal says that the person wants less movement: "enable-animations" of GNOME, "reduced-motion" of newer portals.
    [[nodiscard]] bool animated() const { return m_enabledAnimations && !m_reducedMotion; }

private:
    void read(const QString &nameSpace, const QString &key, const QString &method);
    void take(const QString &nameSpace, const QString &key, const QVariant &value);
    void deliver(const QString &appearanceName);

    QDBusConnection m_bus;
    Events m_events;
    QString m_delivered;
    QString m_answered;
    bool m_enabledAnimations = true;
    bool m_reducedMotion = false;
    QObject m_context;
    BusSignal m_settingChanged;
    TimerHandle m_patience;
};

/// The appearance for a value of org.freedesktop.appearance color-scheme: 1 (prefer dark) is "dark", 0 (no preference) and 2 (prefer light) are
/// "light". Variants inside variants, as the portal's older method answers, are unwrapped. Empty for anything but a number.
QString appearanceFromColourScheme(const QVariant &value);

} // namespace lanterna
