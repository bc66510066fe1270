#pragma once

#include "platform/Desktop.h"
#include "platform/Dispatch.h"
#include "platform/StatusItem.h"
#include "platform/SystemLog.h"
#include "platform/linux/DBusMenuExporter.h"
#include "platform/linux/IconFiles.h"
#include "platform/linux/PanelHosts.h"
#include "platform/linux/ProgramFiles.h"
#include "platform/linux/SettingsPortal.h"
#include "platform/linux/SniObject.h"
#include "platform/linux/StatusPresentation.h"
#include "platform/linux/WatcherLink.h"
#include "platform/linux/desktop/DesktopScreenLayout.h"
#include "platform/linux/desktop/ItemPlace.h"

#include <functional>
#include <optional>

namespace lanterna
{

/// The status item in a panel of the desktop: a StatusNotifierItem with label, drawn icon and menu. Main thread only.
///
/// Nothing here waits for another program. The panel may come late, restart, or never come; then one desktop notification says so. When the bus
/// itself dies the program runs on without a panel.
class SniStatusItem : public StatusItem
{
public:
    static constexpr const char *itemPath = "/StatusNotifierItem";
    static constexpr const char *menuPath = "/MenuBar";
    /// How long after the start a panel may still come before its absence is worth a notification: desktops start their panels within a few seconds.
    static constexpr std::chrono::seconds panelPatience{5};

    struct Environment {
        QDBusConnection bus; ///< the session bus; the item is registered under this connection
        Dispatch &dispatch;
        SystemLog &log;
        UserNotices &notices;
        std::function<QString()> textSetting; ///< current value of the setting statusItemText
        QString iconFolder; ///< for `IconFiles`
        ProgramFiles files;
        std::function<void()> windowWishesChanged = {}; ///< after `portalAppearance` or `portalAnimated` changed; may be empty
        std::function<std::optional<QPointF>()> pointer = pointerPosition; ///< the mouse pointer, in points; nothing where it cannot be known
    };

    explicit SniStatusItem(Environment environment);
    ~SniStatusItem() override;

    void start(Events events) override;
    void setContent(const StatusItemContent &content) override;
    void setMenu(const Menu &menu) override;
    [[nodiscard]] std::optional<double> centreX() const override;

    /// To be called when the setting statusItemText has changed.
    void textSettingChanged() { refresh(); }
    /// Removes the picture files; to be called when the process ends without destroying this.
    void removeFiles() { m_iconFiles.remove(); }

    /// Whether a panel shows status items at present.
    [[nodiscard]] bool isHosted() const { return m_watcher && m_watcher->panel().hosted; }
    /// "dark" or "light" as the desktop's settings say; empty where nothing says so. For windows, which may follow other signs then.
    [[nodiscard]] QString portalAppearance() const { return m_portal ? m_portal->answered() : QString(); }
    /// False when the desktop's settings ask for windows without movement.
    [[nodiscard]] bool portalAnimated() const { return !m_portal || m_portal->animated(); }

private:
    void refresh();
    [[nodiscard]] SniIcon icon(const StatusPicture &picture);
    [[nodiscard]] SniIcon drawnIcon(const StatusPicture &picture);
    void panelChanged(const WatcherLink::Panel &panel);
    void appearanceChanged(const QString &appearanceName);
    void tellOfMissingPanel();

    Environment m_environment;
    Events m_events;
    StatusItemContent m_content;
    PanelTraits m_traits;
    QString m_appearanceName = QStringLiteral("dark");
    std::optional<StatusPresentation> m_shown;
    ItemPlace m_place;
    IconFiles m_iconFiles;
    SniObject m_item;
    DBusMenuExporter m_menu;
    PanelHosts m_hosts;
    BusSignal m_disconnected;
    std::unique_ptr<WatcherLink> m_watcher;
    std::unique_ptr<SettingsPortal> m_portal;
    TimerHandle m_patience;
};

} // namespace lanterna
