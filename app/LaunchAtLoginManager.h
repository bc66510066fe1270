#pragma once

#include "platform/LoginItem.h"
#include "platform/SettingsStore.h"
#include "platform/SystemLog.h"

namespace lanterna
{

/// Keeps the program's login item in step with the setting `launchAtLogin`. Main thread only; the referenced objects outlive it and what it begins.
///
/// A failure is one log line; the setting stays as it was written, and nothing is tried again before the next start or choice.
class LaunchAtLoginManager
{
public:
    LaunchAtLoginManager(SettingsStore &settings, SystemLog &log, LoginItem &item) : m_settings(settings), m_log(log), m_item(item) { }

    /// At start: without a setting it becomes true; then it is applied.
    void applyFromPreference();
    /// The person's choice: stored, and applied.
    void setEnabled(bool enabled);

private:
    void apply(bool enabled, LoginItem::Asker asker);

    SettingsStore &m_settings;
    SystemLog &m_log;
    LoginItem &m_item;
};

} // namespace lanterna
