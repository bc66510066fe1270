#include "app/LaunchAtLoginManager.h"

namespace lanterna
{

namespace
{
const QString launchAtLogin = QStringLiteral("launchAtLogin");
}

void LaunchAtLoginManager::applyFromPreference()
{
    if (!m_settings.contains(launchAtLogin))
        m_settings.setValue(launchAtLogin, true);
    apply(m_settings.boolean(launchAtLogin), LoginItem::Asker::program);
}

void LaunchAtLoginManager::setEnabled(bool enabled)
{
    m_settings.setValue(launchAtLogin, enabled);
    apply(enabled, LoginItem::Asker::person);
}

void LaunchAtLoginManager::apply(bool enabled, LoginItem::Asker asker)
{
    if (m_item.isKnown() && m_item.isEnabled() == enabled)
        return;
    const auto logFailure = [&log = m_log](const QString &verb) {
        return [&log, verb](const QString &error) {
            if (!error.isEmpty())
                log(QStringLiteral("LaunchAtLoginManager: %@ failed: %@"), verb, error);
        };
    };
    if (enabled)
        m_item.registerItem(asker, logFailure(QStringLiteral("register")));
    else
        m_item.unregisterItem(logFailure(QStringLiteral("unregister")));
}

} // namespace lanterna
