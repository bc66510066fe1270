#include "app/LaunchAtLoginManager.h"

namespace lanterna
{

namespace
{
const QString launchAtLogin = QStringLiteral("launchAtLogin");

/// Whether the value can be read as yes or no; the windows show any other as absent.
bool saysYesOrNo(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QString:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Bool:
        return true;
    default:
        return false;
    }
}
} // namespace

void LaunchAtLoginManager::applyFromPreference()
{
    if (!saysYesOrNo(m_settings.value(launchAtLogin)))
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
