#include "app/DisplaySettings.h"
#include "app/HostPresence.h"
#include "app/NewMenuItem.h"

namespace lanterna
{

namespace
{

const QString presenceType = QStringLiteral("_Lanterna._tcp.");
constexpr quint16 presencePort = 12341; // nobody listens there; the name says it all
const QString mediaRemoteType = QStringLiteral("_mediaremotetv._tcp.");

bool hasStoredInterfaces(const SettingsStore &settings)
{
    return settings.value(QStringLiteral("nics")).typeId() == QMetaType::QVariantList;
}

bool showsCurrentUser(const SettingsStore &settings)
{
    return settings.boolean(QStringLiteral("showCurrentUser"));
}

} // namespace

void NewMenuItem::setupService()
{
    if (!hasStoredInterfaces(m_ports.settings))
        return;
    if (!showsCurrentUser(m_ports.settings)) {
        publishPresence();
        return;
    }
    // One question at a time, as its answer may take minutes; who comes meanwhile gets an answer of its own afterwards.
    if (m_presenceRun == PresenceRun::none)
        readPresenceUser();
    else
        m_presenceRun = PresenceRun::asksAgain;
}

void NewMenuItem::readPresenceUser()
{
    m_presenceRun = PresenceRun::asksUser;
    withFullUserName([this](const QString &user) {
        m_localUser = user;
        publishPresence();
        if (std::exchange(m_presenceRun, PresenceRun::none) == PresenceRun::asksAgain)
            readPresenceUser();
    });
}

void NewMenuItem::publishPresence()
{
    if (!hasStoredInterfaces(m_ports.settings)) // any more
        return;
    if (!showsCurrentUser(m_ports.settings))
        m_localUser = QStringLiteral("Unknown");
    if (m_numnics < 2) { // the second service, if there was one, stays with its old address
        m_service.published.reset();
        publishService(m_service, m_firstLocalNicIP);
        return;
    }
    m_service.published.reset();
    m_service2.published.reset();
    const QStringList nics = storedInterfaces(m_ports.settings);
    m_firstLocalNicIP = nics.value(0);
    m_secondLocalNicIP = nics.value(1);
    publishService(m_service, m_firstLocalNicIP);
    publishService(m_service2, m_secondLocalNicIP);
}

void NewMenuItem::publishService(PresenceService &service, const QString &interfaceText)
{
    if (!isAnnounced(interfaceText))
        return;
    const QString name = presenceName(m_machineName, m_localUser, interfaceText);
    if (fitsServiceName(name)) {
        service.published = m_ports.publishing.publish({name, presenceType, {}, presencePort, {}});
        service.refusedName.clear();
    } else if (std::exchange(service.refusedName, name) != name) {
        m_ports.log(QStringLiteral("setupService: not announced, the name is longer than 63 bytes: %@"), name);
    }
}

void NewMenuItem::refreshRendezvousTimer()
{
    setupService();
}

void NewMenuItem::refreshRendezvous()
{
    setupService();
}

void NewMenuItem::refreshAll()
{
    findMyHost();
    setupService();
    getWANIP();
}

void NewMenuItem::listenForIncomingConnections() { }

QString NewMenuItem::executeCommand(const QString &command)
{
    return shellOutput(command);
}

void NewMenuItem::startMediaRemoteBrowser()
{
    m_appletvbrowser =
        m_ports.discovery.watchForServices(mediaRemoteType, {}, [this](const ServiceInstance &service) { netServiceBrowserDidFindService(service); });
}

void NewMenuItem::netServiceBrowserDidFindService(const ServiceInstance &service)
{
    m_ports.settings.setValue(QStringLiteral("AppleTVNetwork"), true);
    m_ports.log(QStringLiteral("Found: %@"), service.name);
}

} // namespace lanterna
