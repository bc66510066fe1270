#pragma once

#include "platform/Dispatch.h"
#include "platform/linux/BusCall.h"

#include <QDBusServiceWatcher>

#include <functional>

namespace lanterna
{

/// Keeps the item registered with the desktop's StatusNotifierWatcher. Main thread only.
///
/// The watcher may come after the program (login), restart, hang, vanish in the middle of a call, or run without a panel that draws anything. Each
/// time one appears the item is registered anew; nothing waits for an answer.
class WatcherLink
{
public:
    /// What is known of the panel.
    struct Panel {
        QString watcher; ///< unique bus name of the watcher; empty for none
        bool hosted = false; ///< a panel draws the watcher's items

        bool operator==(const Panel &) const = default;
    };

    /// Registers the object at `itemPath` on `bus`. `changed` is called when the panel changes, and again when another host joins or leaves, since it
    /// may be of another kind.
    WatcherLink(const QDBusConnection &bus, const QString &itemPath, Dispatch &dispatch, std::function<void(const Panel &panel)> changed);

    [[nodiscard]] const Panel &panel() const { return m_panel; }

private:
    void watcherChanged(const QString &owner);
    void registerItem();
    void readHosted();
    void setHosted(bool hosted);
    [[nodiscard]] bool isFromWatcher(const QDBusMessage &signal) const;

    QDBusConnection m_bus;
    QString m_itemPath;
    Dispatch &m_dispatch;
    std::function<void(const Panel &)> m_changed;
    Panel m_panel;
    int m_failures = 0; ///< registrations in a row that this watcher did not take
    TimerHandle m_retry;
    QObject m_context; ///< replies of calls under way end with this
    QDBusServiceWatcher m_ownerWatcher;
    BusSignal m_hostCame;
    BusSignal m_hostLeft;
};

} // namespace lanterna
