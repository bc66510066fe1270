#include "app/RunningCore.h"

#include "app/NotificationNames.h"
#include "platform/SettingsKeys.h"

namespace lanterna
{

namespace
{

Ports portsOf(const CoreParts &parts, HttpFetch &fetch)
{
    return {parts.dispatch, parts.settings, parts.notifications, parts.log, parts.kernel, parts.events, parts.statusItem, parts.alerts,
        parts.pasteboard, parts.workspace, parts.hostName, parts.fullUserName,
        [&fetch](const QString &url, HttpFetch::Completion completion) { fetch.get(url, std::move(completion)); }, parts.defaultConfigurationURL};
}

} // namespace

RunningCore::RunningCore(const CoreParts &parts)
    : m_parts(parts), m_fetch(parts.dispatch), m_locationHelper(parts.locationManager, parts.notifications, parts.log),
      m_controller(portsOf(parts, m_fetch), Features{})
{
    m_parts.settings.setChangeObserver([this](const QString &key, bool external) { settingChanged(key, external); });
}

RunningCore::~RunningCore()
{
    m_parts.settings.setChangeObserver({});
}

void RunningCore::start(quint64 modifierFlags, bool askReset)
{
    constexpr quint64 resetKeys = Workspace::commandKey | Workspace::optionKey;
    m_controller.awakeFromNib();
    m_controller.applicationWillFinishLaunching(askReset ? resetKeys : modifierFlags);
}

void RunningCore::terminate()
{
    m_controller.applicationWillTerminate();
}

void RunningCore::settingChanged(const QString &key, bool external)
{
    if (m_parts.settingChanged)
        m_parts.dispatch.mainAsync([changed = m_parts.settingChanged, key, alive = std::weak_ptr(m_alive)] {
            if (!alive.expired())
                changed(key);
        });
    const SettingKey *declared = settingKey(key);
    if (!external || !declared || !declared->edited || m_announcing.exchange(true))
        return;
    m_parts.dispatch.mainAsync([this, alive = std::weak_ptr(m_alive)] {
        if (!alive.expired())
            announceSettings();
    });
}

void RunningCore::announceSettings()
{
    m_announcing = false;
    m_parts.notifications.post(preferencesChangedNotification);
    m_parts.notifications.post(updateMenubarDataNotification);
}

} // namespace lanterna
