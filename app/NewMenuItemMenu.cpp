#include "app/NewMenuItem.h"
#include "platform/NotificationNames.h"

namespace lanterna
{

namespace
{

constexpr int networkRowIndex = 0;
constexpr int firstAddressRowIndex = 2;
constexpr int addressRowCount = 3;
const QString gathering = QStringLiteral("gathering...");
const QString noAddress = QStringLiteral("*");

MenuItem plainRow(const QString &identity, const QString &title)
{
    MenuItem row;
    row.identity = identity;
    row.title = title;
    return row;
}

MenuItem actionRow(const QString &identity, const QString &title, std::function<void()> action)
{
    MenuItem row = plainRow(identity, title);
    if (action)
        row.action = [action = std::move(action)](const MenuItem &) { action(); };
    return row;
}

} // namespace

void NewMenuItem::buildMenu()
{
    const auto separator = [this](const char *identity) { m_theMenu.addItem(MenuItem::separatorItem(QString::fromLatin1(identity))); };
    const auto row = [this](const char *identity, const QString &title, std::function<void()> action = {}) {
        m_theMenu.addItem(actionRow(QString::fromLatin1(identity), title, std::move(action)));
    };
    row("network", gathering);
    separator("afterNetwork");
    row("address1", gathering);
    row("address2", noAddress);
    row("address3", noAddress);
    separator("afterAddresses");
    m_theMenu.addItem(allAddressesRow());
    row("copy", QStringLiteral("Copy Displayed Address"), [this] { copyToClipboard(); });
    m_theMenu.addItem(showInPanelRow());
    row("toggle", QStringLiteral("Toggle Display"), [this] { toggleDisplay(); });
    row("refresh", QStringLiteral("Refresh Now"), [this] { refreshAll(); });
    separator("afterRefresh");
    row("preferences", QStringLiteral("Preferences…"), m_features.showPreferencesWindow ? [this] { openPrefsWindow(); } : std::function<void()>());
    separator("afterPreferences");
    row("quit", QStringLiteral("Quit"), [this] { m_ports.workspace.terminate(); });
}

MenuItem NewMenuItem::copyRow(const QString &role, const QString &title)
{
    MenuItem row = plainRow(role + QLatin1Char(':') + title, title); // what is copied belongs to the row's identity
    row.action = [this](const MenuItem &item) { copyToClipboardFromItem(item); };
    return row;
}

void NewMenuItem::replaceAddressRows(const QString &first, const QString &second, const QString &wanText)
{
    for (int row = 0; row < addressRowCount; ++row)
        m_theMenu.removeItemAtIndex(firstAddressRowIndex);
    QList<MenuItem> rows;
    if (m_numnics >= 1)
        rows.append(copyRow(QStringLiteral("first"), first));
    else
        rows.append(plainRow(QStringLiteral("first"), QStringLiteral("offline")));
    if (m_numnics >= 2)
        rows.append(copyRow(QStringLiteral("second"), second));
    rows.append(copyRow(QStringLiteral("wan"), wanText));
    if (m_numnics < 2)
        rows.append(plainRow(QStringLiteral("none"), noAddress));
    for (int row = 0; row < addressRowCount; ++row)
        m_theMenu.insertItem(rows.at(row), firstAddressRowIndex + row);
}

void NewMenuItem::replaceNetworkRow()
{
    SettingsStore &settings = m_ports.settings;
    const QString network = settings.text(QStringLiteral("currentWiFiName"));
    if (network.isNull())
        return;
    const QString associated = settings.text(QStringLiteral("associatedWiFiNetwork"));
    const bool differs = !associated.isEmpty() && associated != QLatin1String("current") && associated != network;
    m_theMenu.removeItemAtIndex(networkRowIndex);
    settings.setValue(QStringLiteral("currentDisplayedWiFiName"), network);
    MenuItem row = copyRow(QStringLiteral("network"), network);
    if (differs)
        row.subtitle = QStringLiteral("  → ") + associated;
    m_theMenu.insertItem(row, networkRowIndex);
}

MenuItem NewMenuItem::allAddressesRow()
{
    MenuItem row = plainRow(QStringLiteral("all"), QStringLiteral("All Addresses"));
    for (const QString &text : m_activeInterfaces)
        row.children.append(copyRow(QStringLiteral("all"), text));
    return row;
}

MenuItem NewMenuItem::showInPanelRow()
{
    MenuItem menu = plainRow(QStringLiteral("panel"), QStringLiteral("Show in Panel"));
    const auto add = [&](const QString &identity, const QString &title, MenuItem::Toggle toggle, bool checked, std::function<void()> action) {
        MenuItem row = actionRow(identity, title, std::move(action));
        row.toggle = toggle;
        row.checked = checked;
        menu.children.append(row);
    };
    const auto addMode = [&](DisplayMode mode, const QString &title) {
        const bool other = m_whichIP != wan && m_whichIP != secondLAN && m_whichIP != iconOnly; // any other mode behaves as the first
        add(QStringLiteral("mode%1").arg(static_cast<int>(mode)), title, MenuItem::Toggle::radio, mode == firstLAN ? other : m_whichIP == mode,
            [this, mode] { choosePanelMode(mode); });
    };
    addMode(firstLAN, QStringLiteral("Primary LAN IP"));
    addMode(secondLAN, QStringLiteral("Secondary LAN IP"));
    addMode(wan, QStringLiteral("WAN IP"));
    addMode(iconOnly, QStringLiteral("Icon Only (no IP)"));
    menu.children.append(MenuItem::separatorItem(QStringLiteral("afterModes")));
    const QString namesKey = QStringLiteral("showInterfaceName");
    const bool names = m_ports.settings.boolean(namesKey);
    add(QStringLiteral("interfaceNames"), QStringLiteral("Interface Names"), MenuItem::Toggle::check, names, [this, namesKey] {
        m_ports.settings.setValue(namesKey, !m_ports.settings.boolean(namesKey));
        announcePreferences();
    });
    return menu;
}

void NewMenuItem::choosePanelMode(DisplayMode mode)
{
    m_ports.settings.setValue(QStringLiteral("whichIP"), static_cast<qlonglong>(mode));
    announcePreferences();
}

void NewMenuItem::announcePreferences()
{
    m_ports.notifications.post(preferencesChangedNotification);
    m_ports.notifications.post(updateMenubarDataNotification);
}

void NewMenuItem::refreshSubmenus()
{
    if (MenuItem *row = m_theMenu.itemWithIdentity(QStringLiteral("all")))
        *row = allAddressesRow();
    if (MenuItem *row = m_theMenu.itemWithIdentity(QStringLiteral("panel")))
        *row = showInPanelRow();
    presentMenu();
}

void NewMenuItem::presentMenu()
{
    if (m_menuUpdatePending)
        return;
    m_menuUpdatePending = true;
    m_ports.dispatch.mainAsync(guarded([this] {
        m_menuUpdatePending = false;
        m_ports.statusItem.setMenu(m_theMenu);
    }));
}

} // namespace lanterna
