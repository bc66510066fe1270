#pragma once

#include "platform/linux/DBusObject.h"

#include <functional>

namespace lanterna
{

/// Keeps the desktop program single in its session: the first one owns a name on the session bus, a later one asks it to show itself.
///
/// Main thread only. Not before the application object.
class InstanceService : private DBusObject
{
public:
    enum class Claim {
        first, ///< the name is ours now
        another, ///< a running program has it
        noBus, ///< nobody can say
    };

    /// `instance` tells programs apart that shall not know of each other; empty for the ordinary one. Characters that a bus name cannot hold become
    /// "_".
    InstanceService(const QDBusConnection &bus, const QString &instance);

    /// Claims the name. Blocks for the bus's answer.
    Claim claim();
    /// What the running program is asked; both are called on the main thread, after the asking program has its answer.
    void serve(std::function<void()> activate, std::function<void()> resetPreferences);
    /// Asks the running program to show itself, or to offer the reset of its preferences. Blocks for at most five seconds; false without an answer.
    bool askOther(bool resetPreferences);

    /// The name on the bus: "org.lanterna.Lanterna", and the instance after a dot.
    static QString busName(const QString &instance);

private:
    [[nodiscard]] QVariantMap busProperties() const override { return {}; }
    bool handleCall(const QDBusMessage &message) override;

    QDBusConnection m_connection;
    QString m_name;
    std::function<void()> m_activate;
    std::function<void()> m_resetPreferences;
};

} // namespace lanterna
