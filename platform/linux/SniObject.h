#pragma once

#include "platform/Dispatch.h"
#include "platform/linux/DBusObject.h"
#include "platform/linux/SniTypes.h"

#include <functional>

namespace lanterna
{

/// The item on the bus: org.kde.StatusNotifierItem with the label extension. Main thread only.
///
/// Clicks are answered first and handed on afterwards, on the main queue.
class SniObject : public DBusObject
{
public:
    struct Clicks {
        std::function<void()> primary; ///< from panels that do not open the menu themselves
        std::function<void()> secondary; ///< middle button
        std::function<void(int x, int y)> place; ///< where the panel says that it was clicked, before the click itself; its pixels
    };

    /// `menuPath` is where the menu lives; `iconThemePath` a folder that panels search for the icon names, empty for none.
    SniObject(
        const QDBusConnection &bus, const QString &path, const QString &menuPath, const QString &iconThemePath, Dispatch &dispatch, Clicks clicks);
    ~SniObject() override;

    /// Shows this state. One signal goes out for each aspect (icon, label, tool tip, status) that differs, none when nothing does.
    void setState(const SniState &state);
    [[nodiscard]] const SniState &state() const { return m_state; }

protected:
    [[nodiscard]] QVariantMap busProperties() const override;
    bool handleCall(const QDBusMessage &message) override;

private:
    void handOn(Task click);

    QString m_menuPath;
    QString m_iconThemePath;
    Dispatch &m_dispatch;
    Clicks m_clicks;
    SniState m_state;
    std::shared_ptr<int> m_alive;
};

} // namespace lanterna
