#pragma once

#include "platform/Dispatch.h"
#include "platform/linux/DBusMenuModel.h"
#include "platform/linux/DBusObject.h"

#include <functional>
#include <memory>
#include <utility>

namespace lanterna
{

/// Puts a menu on the bus as com.canonical.dbusmenu. Main thread only.
///
/// A click is answered first and acted on afterwards, on the main queue, so that a slow action never holds up the panel. Whatever a caller sends
/// (unknown ids, wrong types, endless lists) gets an answer or an error and changes nothing.
class DBusMenuExporter : public DBusObject
{
public:
    /// Calls answered in one EventGroup; a panel sends a handful.
    static constexpr qsizetype eventLimit = 1024;

    DBusMenuExporter(const QDBusConnection &bus, const QString &path, Dispatch &dispatch);
    ~DBusMenuExporter() override;

    /// Shows this menu, telling listeners what changed and nothing else.
    void setMenu(const Menu &menu);
    /// Asks the panels to open the menu at its top.
    void requestOpen();
    /// Calls this, from now on, when a panel is about to open the menu at its top, or says that it did; more than once for one opening.
    void observeOpening(std::function<void()> opening) { m_opening = std::move(opening); }

protected:
    [[nodiscard]] QVariantMap busProperties() const override;
    bool handleCall(const QDBusMessage &message) override;

private:
    void getLayout(const QDBusMessage &message);
    void getGroupProperties(const QDBusMessage &message);
    void getProperty(const QDBusMessage &message);
    void handleEvent(const QDBusMessage &message);
    void eventGroup(const QDBusMessage &message);
    void aboutToShow(const QDBusMessage &message);
    void aboutToShowGroup(const QDBusMessage &message);
    void click(int id);
    void noteOpening(int id);

    Dispatch &m_dispatch;
    DBusMenuModel m_model;
    std::function<void()> m_opening;
    std::shared_ptr<int> m_alive; ///< actions that still wait when this goes are dropped
};

} // namespace lanterna
