#include "app/NewMenuItem.h"

namespace lanterna
{

void NewMenuItem::handlePrefsChanged()
{
    m_whichIP = m_ports.settings.integer(QStringLiteral("whichIP"));
    updateDisplayWithAddressesDict(std::nullopt);
    const QString lanKey = QStringLiteral("updateFrequencyLAN");
    if (m_ports.settings.contains(lanKey)) {
        m_updateIntervalLAN = interval(lanKey, m_updateIntervalLAN, builtInUpdateInterval);
        scheduleLANTimer();
    }
    const QString wanKey = QStringLiteral("updateFrequencyWAN");
    if (m_ports.settings.contains(wanKey)) {
        m_updateIntervalWAN = interval(wanKey, m_updateIntervalWAN, builtInUpdateInterval);
        scheduleWANTimer();
    }
}

void NewMenuItem::prefsChanged(PopUpButton &sender)
{
    const auto store = [this, &sender](const char *key) {
        m_ports.log(QStringLiteral("%@"), sender.title);
        m_ports.settings.setValue(QString::fromLatin1(key), sender.title);
    };
    if (&sender == &m_legacy.lan_or_wan) {
        store("lan_or_wan");
    } else if (&sender == &m_legacy.updateFrequencyLAN) {
        store("updateFrequencyLAN");
        scheduleLANTimer(); // with the period in force: the new one counts from the next preference change or start
        timerLAN();
    } else if (&sender == &m_legacy.updateFrequencyWAN) {
        store("updateFrequencyWAN");
        scheduleWANTimer();
        timerWAN();
    }
}

void NewMenuItem::populateMenus()
{
    const auto stored = [this](const char *key) { return m_ports.settings.text(QString::fromLatin1(key)); };
    const auto choices = [](std::initializer_list<const char *> texts) {
        QStringList list;
        for (const char *text : texts)
            list.append(QString::fromLatin1(text));
        return list;
    };
    m_legacy.lan_or_wan = {choices({"", "WAN", "LAN"}), stored("lan_or_wan")};
    m_legacy.updateFrequencyLAN = {choices({"(seconds)", "30", "60", "120", "300"}), stored("updateFrequencyLAN")};
    m_legacy.updateFrequencyWAN = {choices({"(minutes)", "10", "30", "60", "360"}), stored("updateFrequencyWAN")};
    m_legacy.rendezvous_frequency = {};
}

void NewMenuItem::openPrefsWindow()
{
    if (m_features.showPreferencesWindow)
        m_features.showPreferencesWindow();
    else
        m_ports.log(QStringLiteral("ERROR: Could not find PreferencesWindowController class"));
}

void NewMenuItem::offerReset(std::function<void()> answered)
{
    if (std::exchange(m_askingReset, true))
        return; // one question at a time
    m_ports.log(QStringLiteral("Reset Prefs"));
    Alert alert;
    alert.message = QStringLiteral("Reset Prefs");
    alert.informativeText = QStringLiteral("Are you sure you want to reset the prefs before launching?");
    alert.buttons = {QStringLiteral("Cancel"), QStringLiteral("Reset")};
    alert.defaultButton = 0;
    alert.cancelButton = 0;
    alert.destructiveButton = 1;
    m_ports.alerts.runModal(alert, [this, alive = std::weak_ptr(m_alive), answered = std::move(answered)](int button) {
        if (alive.expired())
            return;
        m_askingReset = false;
        if (button == 1)
            resetPrefs();
        answered();
    });
}

void NewMenuItem::resetPrefs()
{
    m_ports.log(QStringLiteral("attempting to reset prefs"));
    removeIndividualPrefs();
    const bool written = m_ports.settings.synchronize();
    m_ports.log(written ? QStringLiteral("reset successful") : QStringLiteral("unable to reset Prefs"));
    Alert alert;
    alert.message = QStringLiteral("Prefs deleted");
    alert.informativeText = QStringLiteral("Please relaunch app after termination...");
    alert.buttons = {QStringLiteral("OK")};
    alert.cancelButton = 0;
    m_ports.alerts.runModal(alert, [workspace = &m_ports.workspace](int) { workspace->terminate(); });
}

void NewMenuItem::removeIndividualPrefs()
{
    for (const QString &key : m_ports.settings.keys()) {
        m_ports.log(QStringLiteral("removing prefKey: %@"), key);
        m_ports.settings.remove(key);
    }
}

void NewMenuItem::macAddressBySegmentChanged()
{
    SettingsStore &settings = m_ports.settings;
    const QString tableKey = QStringLiteral("MACAddressesByNetworkSegment");
    m_ports.log(QStringLiteral("macAddressBySegmentChanged: the table was changed in the preferences"));
    const QVariant edited = settings.value(QStringLiteral("recentICloudActivity"));
    const QVariantMap editedTable = edited.toMap();
    const auto keysOf = [](const QVariant &table) { return table.isValid() ? QVariant(QStringList(table.toMap().keys())) : QVariant(); };
    m_ports.log(QStringLiteral("macAddressBySegmentChanged oldDict: %@"), keysOf(settings.value(tableKey)));
    m_ports.log(QStringLiteral("macAddressBySegmentChanged editedDict: %@"), keysOf(edited));
    const bool isTable = edited.typeId() == QMetaType::QVariantMap;
    settings.setValue(tableKey, isTable ? QVariant(editedTable) : QVariant());
    std::optional<QVariantMap> &tables = m_ports.macAddressesByNetworkSegmentDict;
    if (isTable)
        tables = editedTable;
    else if (!tables)
        tables.emplace();
    if (settings.boolean(QStringLiteral("iCloud_MAC_Sync"))) {
        settings.setValue(QStringLiteral("lastICloudActivityUpdateDate"), m_ports.dispatch.now());
        if (m_features.saveCustomizationsToCloudKitDelayed)
            m_features.saveCustomizationsToCloudKitDelayed();
    }
}

} // namespace lanterna
