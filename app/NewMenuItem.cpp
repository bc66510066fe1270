#include "app/NewMenuItem.h"

#include "app/DisplaySettings.h"
#include "platform/NotificationNames.h"

namespace lanterna
{

namespace
{
const QString gathering = QStringLiteral("gathering...");
const QString trueText = QStringLiteral("TRUE");
constexpr int builtInRendezvousInterval = 30; // seconds
constexpr std::chrono::seconds firstLANPassDelay{5};
constexpr std::chrono::seconds reviewTimerPeriod{60};
} // namespace

NewMenuItem::NewMenuItem(const Ports &ports, Features features)
    : m_ports(ports), m_features(std::move(features)),
      m_wanLookup({m_ports.dispatch, m_ports.settings, m_ports.log, m_ports.download, m_ports.defaultConfigurationURL},
          [this](const QString &result, bool answered) { wanLookupFinished(result, answered); })
{
    buildMenu();
}

NewMenuItem::~NewMenuItem()
{
    m_observations.clear(); // first: posts from other threads use what is declared after them
    m_timerLAN.cancel();
    m_timerWAN.cancel();
    m_rendezvousTimer.cancel();
}

Task NewMenuItem::guarded(Task task)
{
    return [alive = std::weak_ptr(m_alive), task = std::move(task)] {
        if (!alive.expired())
            task();
    };
}

void NewMenuItem::awakeFromNib()
{
    SettingsStore &settings = m_ports.settings;
    m_nics.clear();
    settings.setValue(QStringLiteral("iCloud_MAC_Sync"), true); // on at every start, whatever was chosen before
    settings.remove(QStringLiteral("currentWiFiName"));
    settings.remove(QStringLiteral("currentDisplayedWiFiName"));
    setInitialValues();
    m_observations.push_back(m_ports.notifications.observe(
        locationAuthorizationChangedNotification, [this](const Notification &notification) { locationAuthorizationChanged(notification); }));
    if (m_features.getCustomDictFromCloudKitDelayed)
        m_features.getCustomDictFromCloudKitDelayed();
    m_ports.dispatch.mainAsync(guarded([this] { createStatusItem(); }));
    startConfigurationTask();
    m_machineName = m_ports.hostName();
    m_ports.log(QStringLiteral("hostname: %@"), m_machineName);
    seedSettings();
    chooseDisplayMode();
    scheduleTimers();
    registerForEvents();
    if (m_features.applyLaunchAtLogin)
        m_features.applyLaunchAtLogin();
    if (m_features.startSnapshotPublisher)
        m_features.startSnapshotPublisher();
    m_reviewTimer = m_ports.dispatch.performEvery(reviewTimerPeriod, [this] {
        if (m_features.accumulateRuntimeAndMaybeRequestReview && !m_features.accumulateRuntimeAndMaybeRequestReview())
            m_reviewTimer.cancel();
    });
    observeNotifications();
    findMyHost();
    setupService();
    populateMenus();
    m_ports.log(QStringLiteral("Lanterna...go!"));
}

void NewMenuItem::setInitialValues()
{
    m_myLANIP = gathering;
    m_myWANIP = gathering;
    m_updateIntervalLAN = builtInUpdateInterval;
    m_updateIntervalWAN = builtInUpdateInterval;
    m_rendezvousUpdateInterval = builtInRendezvousInterval;
    m_darkMode = true;
    m_totalCloudkitUpdates = 0;
    m_locationAuthorized = true;
}

void NewMenuItem::startConfigurationTask()
{
    m_ports.dispatch.globalAsync(guarded([this] { m_wanLookup.readConfiguration([this] { readFullUserName(); }); }));
}

void NewMenuItem::readFullUserName()
{
    withFullUserName([this](const QString &user) {
        m_localUser = user;
        getWANIP();
    });
}

void NewMenuItem::withFullUserName(std::function<void(const QString &user)> goOn)
{
    // The account's entry may come over the network and take its time; nothing of this object is touched until it is there.
    m_ports.dispatch.globalAsync(
        [alive = std::weak_ptr(m_alive), &dispatch = m_ports.dispatch, fullUserName = m_ports.fullUserName, goOn = std::move(goOn)] {
            dispatch.mainAsync([alive, goOn, user = fullUserName()] {
                if (!alive.expired())
                    goOn(user);
            });
        });
}

void NewMenuItem::seedSettings()
{
    SettingsStore &settings = m_ports.settings;
    const auto seed = [&settings](const char *key, const QVariant &value) { settings.setValue(QString::fromLatin1(key), value); };
    const QString defaultLAN = QStringLiteral("60");
    const QString defaultWAN = QStringLiteral("10");
    if (settings.contains(QStringLiteral("first_run"))) {
        if (!settings.contains(QStringLiteral("updateFrequencyLAN")))
            seed("updateFrequencyLAN", defaultLAN);
        if (!settings.contains(QStringLiteral("updateFrequencyWAN")))
            seed("updateFrequencyWAN", defaultWAN);
        return;
    }
    m_ports.log(QStringLiteral("Lanterna: maiden voyage"));
    seed("first_run", trueText);
    seed("lan_or_wan", QStringLiteral("WAN"));
    seed("updateFrequencyLAN", defaultLAN);
    seed("updateFrequencyWAN", defaultWAN);
    seed("rendezvous_frequency", QStringLiteral("30"));
    seed("showMACAddresses", trueText);
    seed("showCurrentUser", trueText);
    seed("whichIP", static_cast<qlonglong>(iconOnly));
    if (m_features.showWelcomePopoverIfNeeded)
        m_features.showWelcomePopoverIfNeeded();
}

void NewMenuItem::chooseDisplayMode()
{
    m_whichIP = startDisplayMode(m_ports.settings);
    m_ports.log(QStringLiteral("which IP? %ld"), m_whichIP);
}

void NewMenuItem::scheduleTimers()
{
    const SettingsStore &settings = m_ports.settings;
    m_updateIntervalLAN = interval(QStringLiteral("updateFrequencyLAN"), m_updateIntervalLAN, builtInUpdateInterval);
    m_updateIntervalWAN = interval(QStringLiteral("updateFrequencyWAN"), m_updateIntervalWAN, builtInUpdateInterval);
    scheduleLANTimer();
    scheduleWANTimer();
    if (m_wanLookup.hasEndpoint())
        m_ports.dispatch.mainAsync(guarded([this] { getWANIP(); }));
    if (settings.contains(QStringLiteral("rendezvous_frequency"))) // its presence counts, the period is the LAN's
        m_rendezvousUpdateInterval = m_updateIntervalLAN;
    m_rendezvousTimer = m_ports.dispatch.performEvery(std::chrono::seconds(m_rendezvousUpdateInterval), [this] { refreshRendezvousTimer(); });
    performLANPassAfter(firstLANPassDelay);
    timerWAN();
    refreshRendezvousTimer();
}

void NewMenuItem::registerForEvents()
{
    m_ports.events.start(
        [this] { rescanSoonForHelperEvent({}); }, [this] { rescanSoonForHelperEvent(QStringLiteral("NSWorkspaceDidWakeNotification")); });
}

void NewMenuItem::observeNotifications()
{
    const auto observe = [this](const QString &name, NotificationCenter::Handler handler) {
        m_observations.push_back(m_ports.notifications.observe(name, std::move(handler)));
    };
    observe(localhostAddressesResolvedNotification, [this](const Notification &notification) { displayInfoUpdateNotification(notification); });
    observe(macAddressesEditedNotification, [this](const Notification &) { macAddressBySegmentChanged(); });
    observe(preferencesChangedNotification, [this](const Notification &) { handlePrefsChanged(); });
    observe(updateMenubarDataNotification, [this](const Notification &) { changeShowInterfaceName(); });
    observe(triggerImmediateScanNotification, [this](const Notification &) { triggerImmediateScan(); });
}

void NewMenuItem::createStatusItem()
{
    if (!m_statusItemCreated) {
        m_statusItemCreated = true;
        m_statusItemContent.title = QStringLiteral("starting...");
        present();
        refreshSubmenus(); // the mode is known by now
        m_ports.statusItem.setMenu(m_theMenu);
        m_ports.statusItem.start({[this] { copyShownAddress(); },
            [this](const QString &appearanceName) { observeValueForKeyPath(QStringLiteral("effectiveAppearance"), appearanceName); }});
    }
    populateMenus();
}

void NewMenuItem::applicationWillFinishLaunching(quint64 modifierFlags)
{
    const auto startBrowser = [this] { startMediaRemoteBrowser(); };
    constexpr quint64 asked = Workspace::commandKey | Workspace::optionKey;
    if ((modifierFlags & (asked | Workspace::controlKey)) == asked)
        offerReset(startBrowser);
    else
        startBrowser();
}

void NewMenuItem::applicationWillTerminate()
{
    m_ports.log(QStringLiteral("will terminate"));
    for (const char *key : {"MACAddressesByNetworkSegment", "currentWiFiName", "currentDisplayedWiFiName", "AppleTVNetwork"})
        m_ports.settings.remove(QString::fromLatin1(key));
}

} // namespace lanterna
