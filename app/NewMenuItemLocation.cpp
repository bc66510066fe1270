#include "app/NewMenuItem.h"

namespace lanterna
{

namespace
{
const QString warningIdentity = QStringLiteral("locationWarning");
const QString privacySettingsURL = QStringLiteral("x-apple.systempreferences:com.apple.preference.security?Privacy_LocationServices");
} // namespace

void NewMenuItem::locationAuthorizationChanged(const Notification &notification)
{
    const bool authorized = notification.userInfo.value(QStringLiteral("authorized")).toBool();
    m_ports.dispatch.mainAsync(guarded([this, authorized] {
        if (authorized == m_locationAuthorized)
            return;
        m_locationAuthorized = authorized;
        m_ports.log(QStringLiteral("NewMenuItem: location authorization -> %@"),
            authorized ? QStringLiteral("authorized") : QStringLiteral("NOT authorized"));
        updateLocationWarningMenuItem();
        if (authorized)
            updateNICContent(m_ports.settings.text(QStringLiteral("currentTitle")));
        else
            showLocationWarningOnStatusItem();
    }));
}

void NewMenuItem::showLocationWarningOnStatusItem()
{
    m_statusItemContent.title.clear();
    m_statusItemContent.image = StatusImage::locationWarning;
    m_statusItemContent.accessibilityDescription = QStringLiteral("Lanterna needs Location permission");
    present();
}

void NewMenuItem::updateLocationWarningMenuItem()
{
    const int present = m_theMenu.indexOfItemWithIdentity(warningIdentity);
    if (m_locationAuthorized) {
        m_theMenu.removeItemAtIndex(present);
    } else if (present < 0) {
        MenuItem row;
        row.identity = warningIdentity;
        row.title = QStringLiteral("⚠️ Grant Location Access to Resume Scanning…");
        row.action = [this](const MenuItem &) { resolveLocationAuthorization(); };
        const int quit = m_theMenu.indexOfItemWithIdentity(QStringLiteral("quit"));
        m_theMenu.insertItem(row, quit < 0 ? m_theMenu.count() : quit);
    }
    presentMenu();
}

void NewMenuItem::resolveLocationAuthorization()
{
    Alert alert;
    alert.message = QStringLiteral("Location Permission Needed");
    alert.informativeText =
        QStringLiteral("Lanterna reads your Wi-Fi network name via Location Services before it can scan the network and publish data to Rangefinder. "
                       "Enable Location Services for Lanterna in System Settings, and scanning will resume automatically.");
    alert.buttons = {QStringLiteral("Open System Settings"), QStringLiteral("Cancel")};
    alert.cancelButton = 1;
    m_ports.alerts.runModal(alert, [workspace = &m_ports.workspace, log = &m_ports.log](int button) {
        if (button == 0 && !workspace->openURL(privacySettingsURL))
            (*log)(QStringLiteral("nothing here opens the privacy settings"));
    });
}

} // namespace lanterna
