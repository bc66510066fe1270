#include "ui/LANDataConfig.h"

#include "platform/NotificationNames.h"
#include "platform/StandardOutput.h"
#include "ui/NetworkNames.h"
#include "ui/Program.h"

#include <QScopedValueRollback>

#include <utility>

namespace lanterna
{

namespace
{

// The picker's tags that are no network's name.
const QString followsCurrent = QStringLiteral("current");
const QString createsStub = QStringLiteral("__custom__");

QString quotedList(const QStringList &names)
{
    QStringList quoted;
    for (QString name : names) {
        name.replace(u'\\', QStringLiteral("\\\\")).replace(u'"', QStringLiteral("\\\""));
        quoted.append(u'"' + name + u'"');
    }
    return u'[' + quoted.join(QStringLiteral(", ")) + u']';
}

void post(const QString &name)
{
    Program::current().ports().notifications.post(name);
}

QVariantMap item(const QString &text, const QString &tag)
{
    return {{QStringLiteral("text"), text}, {QStringLiteral("tag"), tag}};
}

} // namespace

void LANDataConfig::componentComplete()
{
    m_handledSelection = selection();
    connect(m_associatedWiFiNetwork, &StoredSetting::valueChanged, this, [this] {
        Q_EMIT selectionChanged();
        followSelection();
    });
    connect(m_wiFiStubSSID, &StoredSetting::valueChanged, this, &LANDataConfig::stubChanged);
    for (const StoredSetting *setting : {m_wiFiStubSSID, m_realWiFiAvailable})
        connect(setting, &StoredSetting::valueChanged, this, &LANDataConfig::bannersChanged);
    // The label of a network that is selected but not listed tells whether it is the stub.
    connect(m_wiFiStubSSID, &StoredSetting::valueChanged, this, &LANDataConfig::selectionChanged);
    readNetworks();
    Q_EMIT selectionChanged();
    Q_EMIT stubChanged();
    Q_EMIT bannersChanged();
}

void LANDataConfig::readNetworks()
{
    const QVariant tables = Program::current().ports().settings.value(macAddressesKey);
    if (tables.typeId() != QMetaType::QVariantMap) {
        printLine(QStringLiteral("No networks found in UserDefaults"));
        return;
    }
    m_wifiNetworks = tables.toMap().keys();
    printLine(QStringLiteral("UserDefaults networks: ") + quotedList(m_wifiNetworks));
    printLine(QStringLiteral("Current associated network: ") + selection());
}

QString LANDataConfig::selection() const
{
    return m_associatedWiFiNetwork ? m_associatedWiFiNetwork->value().toString() : QString();
}

QString LANDataConfig::stub() const
{
    return m_wiFiStubSSID ? m_wiFiStubSSID->value().toString() : QString();
}

QString LANDataConfig::labelOf(const QString &network) const
{
    const QString label = shownNetworkName(network);
    return !network.isEmpty() && network == stub() ? label + QStringLiteral(" (stub)") : label;
}

QVariantList LANDataConfig::items() const
{
    QVariantList items{item(QStringLiteral("<Current connected WiFi network>"), followsCurrent)};
    for (const QString &network : m_wifiNetworks)
        items.append(item(labelOf(network), network));
    items.append(item(QStringLiteral("Create WiFi Stub…"), createsStub));
    return items;
}

QString LANDataConfig::selectionText() const
{
    return networkSelected() ? labelOf(selection()) : QString();
}

bool LANDataConfig::networkSelected() const
{
    const QString selected = selection();
    return !selected.isEmpty() && selected != followsCurrent && selected != createsStub;
}

QString LANDataConfig::stubText() const
{
    return QStringLiteral("Using WiFi stub: ") + shownNetworkName(stub());
}

bool LANDataConfig::showingStubBanner() const
{
    return !stub().isEmpty() && m_realWiFiAvailable && !m_realWiFiAvailable->value().toBool();
}

bool LANDataConfig::showingEthernetWarning() const
{
    return stub().isEmpty() && m_realWiFiAvailable && !m_realWiFiAvailable->value().toBool();
}

QString LANDataConfig::removalMessage() const
{
    return QStringLiteral("Remove \"") + shownNetworkName(m_networkToRemove)
        + QStringLiteral(
            "\" from the network list? Its locally cached MAC-address data for that network will be cleared. The selection will revert to "
            "<Current connected WiFi network>.");
}

QString LANDataConfig::privacyMessage() const
{
    const QString message = QStringLiteral(
        "Data collected by Lanterna is only accessible to instances of Rangefinder associated with the owner's Apple ID and adheres to "
        "all of Apple's iCloud data security protocols.");
    const auto &otherStore = Program::current().ports().otherStore;
    const QString other = otherStore ? otherStore() : QString();
    return other.isEmpty() ? message : message + QStringLiteral("\n\n") + other;
}

QString LANDataConfig::stubInfoMessage()
{
    return QStringLiteral(
        "Lanterna syncs MAC addresses to iOS devices using the name of the WiFi network they share with this Mac. Since this Mac is "
        "connected via Ethernet (not WiFi), there is no shared network name to use as a key.\n\n"
        "You have two options:\n\n"
        "• Connect this Mac to the same WiFi network as your iOS devices.\n\n"
        "• Create a \"WiFi Stub\" — manually enter the SSID of the WiFi network your iOS devices are connected to. Lanterna will then "
        "associate its data with that name, so iOS instances of Rangefinder on that network can find it.");
}

void LANDataConfig::choose(const QVariant &tag)
{
    const QString chosen = tag.toString();
    if (chosen == createsStub) {
        printLine(QStringLiteral("Picker selection changed to: ") + chosen);
        createStub();
    } else {
        select(chosen);
        followSelection();
    }
}

void LANDataConfig::createStub()
{
    // Not at once: the picker is in the middle of its own change.
    Program::current().ports().dispatch.mainAsync([self = QPointer(this)] {
        if (!self)
            return; // the panel was closed meanwhile
        self->select(self->m_preCustomSelection.isEmpty() ? followsCurrent : self->m_preCustomSelection);
        self->m_handledSelection = self->selection(); // to go back is no choice
        self->m_showingStubCreator = true;
        Q_EMIT self->showingStubCreatorChanged();
    });
}

void LANDataConfig::select(const QString &network)
{
    const QScopedValueRollback editing(m_editing, true);
    m_associatedWiFiNetwork->edit(network);
}

void LANDataConfig::followSelection()
{
    const QString selected = selection();
    if (m_editing || selected == m_handledSelection)
        return;
    m_handledSelection = selected;
    if (selected == createsStub)
        return; // the panel never stores it
    printLine(QStringLiteral("Picker selection changed to: ") + selected);
    m_preCustomSelection = selected;
    post(triggerImmediateScanNotification);
}

void LANDataConfig::saveStub(const QString &ssid)
{
    m_wiFiStubSSID->edit(ssid);
    select(ssid);
    m_preCustomSelection = ssid;
    post(wiFiStubChangedNotification);
    followSelection(); // the picker may show another network now, as after a choice
}

void LANDataConfig::removeStub()
{
    if (stub().isEmpty())
        return;
    m_wiFiStubSSID->edit(QStringLiteral(""));
    post(wiFiStubChangedNotification);
}

bool LANDataConfig::askRemoval()
{
    m_networkToRemove = networkSelected() ? selection() : QString();
    if (m_networkToRemove.isEmpty())
        return false;
    Q_EMIT removalAsked();
    return true;
}

void LANDataConfig::removeNetwork()
{
    const QString name = std::exchange(m_networkToRemove, QString());
    if (name.isEmpty())
        return;
    removeTables(name);
    if (name == stub())
        removeStub();
    // Another process may have selected another meanwhile.
    if (name == selection()) {
        select(followsCurrent);
        m_preCustomSelection = followsCurrent;
    }
    post(macAddressesEditedNotification);
    followSelection();
}

void LANDataConfig::removeTables(const QString &name)
{
    SettingsStore &settings = Program::current().ports().settings;
    const std::optional<QVariantMap> tables = withoutNetwork(settings.value(macAddressesKey), name);
    std::optional<QVariantMap> activity = withoutNetwork(settings.value(recentActivityKey), name);
    // Who hears of the edit takes the activity for the new tables: without one the other networks would be lost.
    if (!activity)
        activity = tables;
    if (tables)
        settings.setValue(macAddressesKey, *tables);
    if (activity)
        settings.setValue(recentActivityKey, *activity);
}

} // namespace lanterna
