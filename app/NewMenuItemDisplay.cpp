#include "app/DisplaySettings.h"
#include "app/NewMenuItem.h"

namespace lanterna
{

namespace
{

QString interfaceNamesKey()
{
    return QStringLiteral("showInterfaceName");
}

/// The WAN text as `toggleDisplay` shows it: with "wan: " in front when interface names are shown.
QString prefixedWAN(const QString &text, bool showInterfaceName)
{
    if (containsString(text, QStringLiteral("wan:")))
        return text;
    return (showInterfaceName ? QStringLiteral("wan: ") : QString()) + text;
}

} // namespace

void NewMenuItem::updateDisplayWithAddressesDict(const std::optional<QVariantMap> &addresses)
{
    const auto last = [this] { return m_ports.settings.dictionary(QStringLiteral("previousNetworkAddresses")); };
    if (!addresses && last().isEmpty()) {
        m_ports.log(QStringLiteral("No cached addresses, triggering fresh lookup"));
        findMyHost();
        return;
    }
    // The last ones are read when they are drawn: those of this moment may be older than a dictionary that is on its way from another thread.
    m_ports.dispatch.mainAsync(guarded([this, addresses, last] { redraw(addresses ? *addresses : last()); }));
}

void NewMenuItem::redraw(const QVariantMap &addresses)
{
    SettingsStore &settings = m_ports.settings;
    const bool showInterfaceName = settings.boolean(interfaceNamesKey());
    m_activeInterfaces = activeInterfaces(addresses);
    m_nics = m_activeInterfaces;
    m_firstLocalNicIP = m_nics.value(0);
    m_secondLocalNicIP = m_nics.value(1);
    m_numnics = m_nics.size();
    m_ports.log(QStringLiteral("Active interfaces: first=%@, second=%@, count=%d"), m_firstLocalNicIP, m_secondLocalNicIP, m_numnics);
    const QString storedWAN = settings.text(QStringLiteral("WANIP"));
    m_myWANIP = storedWAN.isEmpty() ? QStringLiteral("gathering...") : storedWAN;
    const QString first = formatIPForDisplay(m_firstLocalNicIP, showInterfaceName, false);
    const QString second = formatIPForDisplay(m_secondLocalNicIP, showInterfaceName, false);
    const QString wanText = formatIPForDisplay(m_myWANIP, showInterfaceName, true);
    replaceAddressRows(first, second, wanText);
    settings.setValue(QStringLiteral("WANIP"), m_myWANIP);
    settings.setValue(QStringLiteral("LANIP"), m_firstLocalNicIP.isNull() ? QVariant() : m_firstLocalNicIP);
    replaceNetworkRow();
    refreshSubmenus();
    updateMenuBarDisplay(m_whichIP, first, second, wanText);
}

void NewMenuItem::updateMenuBarDisplay(qlonglong, const QString &displayFirst, const QString &displaySecond, const QString &displayWAN)
{
    const ChosenTitle title = chooseTitle(m_whichIP, displayFirst, displaySecond, displayWAN);
    if (title.fellBackToFirst)
        m_ports.log(QStringLiteral("Secondary LAN selected but not available, showing primary instead"));
    updateNICContent(title.text);
}

void NewMenuItem::updateNICContent(const QString &title)
{
    const bool showsIcon = m_ports.settings.integer(QStringLiteral("whichIP")) == iconOnly;
    if (clippedTitle(m_shownTitle) != title) // a title that comes back clipped is still the whole one
        m_shownTitle = title;
    const QString clipped = clippedTitle(title);
    m_ports.settings.setValue(QStringLiteral("currentTitle"), clipped);
    m_ports.dispatch.mainAsync(guarded([this, clipped, showsIcon] {
        if (!m_locationAuthorized)
            showLocationWarningOnStatusItem();
        else if (showsIcon)
            changeStatusItemImage({});
        else
            showTitle(clipped);
    }));
}

void NewMenuItem::showTitle(const QString &title)
{
    m_statusItemContent.title = title;
    m_statusItemContent.image = StatusImage::none;
    m_statusItemContent.accessibilityDescription.clear();
    present();
}

void NewMenuItem::changeMenuIcon()
{
    const qlonglong mode = m_ports.settings.integer(QStringLiteral("whichIP"));
    m_ports.log(QStringLiteral("DEBUG changeMenuIcon: called"));
    m_ports.log(QStringLiteral("DEBUG changeMenuIcon: whichIP = %d"), mode);
    if (!m_locationAuthorized) {
        m_ports.dispatch.mainAsync(guarded([this] { showLocationWarningOnStatusItem(); }));
    } else if (mode != iconOnly) {
        const QString title = m_ports.settings.text(QStringLiteral("currentTitle"));
        m_ports.log(QStringLiteral("DEBUG changeMenuIcon: currentTitle from defaults = %@"), title);
        m_ports.dispatch.mainAsync(guarded([this, title] {
            m_ports.log(QStringLiteral("DEBUG changeMenuIcon: setting attributedTitle to: %@"), title);
            if (title.isNull())
                return; // nothing was ever shown: "starting..." stays
            if (clippedTitle(m_shownTitle) != title)
                m_shownTitle = title;
            showTitle(title);
        }));
    } else {
        m_ports.log(QStringLiteral("DEBUG changeMenuIcon: using image mode"));
        const QString image = m_darkMode ? QStringLiteral("lanterna_menuitem_light.png") : QStringLiteral("lanterna_menuitem_dark.png");
        m_ports.dispatch.mainAsync(guarded([this, image] { changeStatusItemImage(image); }));
    }
}

void NewMenuItem::changeStatusItemImage(const QString &)
{
    m_statusItemContent.title.clear();
    m_statusItemContent.image = StatusImage::templateIcon;
    m_statusItemContent.accessibilityDescription.clear();
    present();
}

void NewMenuItem::present()
{
    m_statusItemContent.tooltip = summary();
    m_ports.statusItem.setContent(m_statusItemContent);
}

QString NewMenuItem::summary() const
{
    QStringList lines{m_statusItemContent.title.isEmpty() || m_shownTitle.isEmpty() ? QStringLiteral("Lanterna") : m_shownTitle};
    lines += m_activeInterfaces;
    lines += formatIPForDisplay(m_myWANIP, true, true);
    return lines.join(QLatin1Char('\n'));
}

void NewMenuItem::changeShowInterfaceName()
{
    updateDisplayWithAddressesDict(std::nullopt);
}

void NewMenuItem::observeValueForKeyPath(const QString &keyPath, const QString &newValue)
{
    if (keyPath != QLatin1String("effectiveAppearance"))
        return;
    m_darkMode = containsString(newValue.toLower(), QStringLiteral("dark"));
    changeMenuIcon();
}

QStringList NewMenuItem::knownInterfaces() const
{
    const QStringList stored = storedInterfaces(m_ports.settings);
    return stored.isEmpty() ? m_activeInterfaces : stored;
}

void NewMenuItem::toggleDisplay()
{
    SettingsStore &settings = m_ports.settings;
    const bool showInterfaceName = settings.boolean(interfaceNamesKey());
    m_myWANIP = settings.text(QStringLiteral("WANIP"));
    m_myLANIP = settings.text(QStringLiteral("LANIP"));
    m_nics = knownInterfaces();
    if (m_myLANIP.isEmpty())
        m_myLANIP = QStringLiteral("offline");
    if (m_myWANIP.isEmpty()) {
        m_myWANIP = QStringLiteral("offline");
        m_ports.log(QStringLiteral("wan: offline"));
    }
    const QString wanText = prefixedWAN(m_myWANIP, showInterfaceName);
    QString shown;
    qlonglong next = 0;
    if (m_numnics >= 2) {
        m_firstLocalNicIP = m_nics.value(0);
        m_secondLocalNicIP = m_nics.value(1);
    }
    switch (m_whichIP) {
    case firstLAN:
        next = m_numnics >= 2 ? secondLAN : wan;
        shown = m_numnics >= 2 ? m_secondLocalNicIP : wanText;
        break;
    case secondLAN:
        if (m_numnics < 2)
            return;
        next = wan;
        shown = wanText;
        break;
    case wan:
        next = firstLAN;
        shown = m_numnics >= 2 ? m_firstLocalNicIP : m_myLANIP;
        break;
    default:
        return;
    }
    updateNICContent(shown);
    m_whichIP = next;
    settings.setValue(QStringLiteral("whichIP"), next);
    refreshSubmenus();
}

} // namespace lanterna
