#pragma once

#include "app/AddressText.h"
#include "app/LegacyPreferences.h"
#include "app/Ports.h"
#include "app/WANLookup.h"

#include <atomic>
#include <optional>

namespace lanterna
{

/// The application controller: start-up, refresh timers, addresses, title and menu of the status item, and the reaction to preferences, network and
/// wake events.
///
/// One lives for the whole run. Main thread only, unless a call says otherwise. A switchboard: what one concern needs stands in the pure functions of
/// AddressText.h, localhostAddresses.h and WANReply.h, and in the ports.
class NewMenuItem
{
public:
    NewMenuItem(const Ports &ports, Features features);
    ~NewMenuItem();
    NewMenuItem(const NewMenuItem &) = delete;
    NewMenuItem &operator=(const NewMenuItem &) = delete;

    // Life of the application

    /// Start-up; called once, before `applicationWillFinishLaunching`.
    void awakeFromNib();
    /// Offers to reset the preferences when Command and Option, but not Control, are held (bits of `Workspace`), then starts the media-remote
    /// browser.
    void applicationWillFinishLaunching(quint64 modifierFlags);
    /// Asks whether to reset the preferences; `answered` runs afterwards, whatever the answer.
    void offerReset(std::function<void()> answered);
    /// Removes the settings that do not outlive a run.
    void applicationWillTerminate();

    // Timers and events

    /// Starts a LAN pass: addresses, sweep, snapshot, upload.
    void timerLAN();
    /// Looks the WAN address up; its end starts a LAN pass.
    void timerWAN();
    /// Starts a LAN pass at once.
    void triggerImmediateScan();
    /// Wake and network changes: drops a snapshot of a network that is gone, and starts one LAN pass 3 s after the last event. Null stands for a
    /// network change.
    void rescanSoonForHelperEvent(const QString &notificationName);

    // Presence on the network

    /// Announces this host anew, with the user's name: what was announced before is withdrawn first. Nothing happens while `nics` holds no list. With
    /// fewer than two interfaces the live first one is announced, if there is one, and a second service keeps its old address; else the first two
    /// texts of `nics`. The user's name is asked for in the background unless `showCurrentUser` is false, and the announcing follows the answer.
    void setupService();
    /// `setupService`, by its timer.
    void refreshRendezvousTimer();
    /// `setupService`.
    void refreshRendezvous();
    /// Addresses, presence and WAN address, in this order.
    void refreshAll();
    /// Does nothing: who finds the presence has read its name, and has no reason to connect.
    void listenForIncomingConnections();
    /// A media remote was found: notes it in `AppleTVNetwork`, and its name in the log.
    void netServiceBrowserDidFindService(const ServiceInstance &service);
    /// What a shell command writes to its standard output, see `shellOutput`. Waits for its end, on whatever thread. Not for text from the network.
    [[nodiscard]] static QString executeCommand(const QString &command);
    /// The search for media remotes, from the end of the launch on.
    [[nodiscard]] std::shared_ptr<void> appletvbrowser() const { return m_appletvbrowser; }
    /// Never started.
    [[nodiscard]] std::shared_ptr<void> airplayBrowser() const { return m_airplayBrowser; }

    // Preferences

    /// Reads mode and periods again, redraws, and restarts the timers whose periods are stored; they are not fired at once.
    void handlePrefsChanged();
    /// A legacy pop-up was used; compared by identity with those of `legacyPreferences`.
    void prefsChanged(PopUpButton &sender);
    /// Opens the preferences; one log line while there is no window for them.
    void openPrefsWindow();
    /// Fills the legacy pop-ups and shows what is stored.
    void populateMenus();
    /// Removes every setting, says so and ends the application.
    void resetPrefs();
    /// Removes every setting, one log line each.
    void removeIndividualPrefs();
    /// Takes over the MAC table that the preferences edited (`recentICloudActivity`) and hands it to the cloud when syncing is on.
    void macAddressBySegmentChanged();
    /// The legacy pop-ups, to be changed in place before `prefsChanged`.
    LegacyPreferences &legacyPreferences() { return m_legacy; }

    // Addresses and display

    /// Lists the addresses on the global pool.
    void findMyHost();
    /// Takes an address dictionary, at most one per 0.2 s. Any thread.
    void displayInfoUpdateNotification(const Notification &notification);
    /// Ends the rest after an address update.
    void resetUpdatingDisplay();
    /// Redraws rows and title from a dictionary, or from the last one when none is given; without any it looks the addresses up. Any thread.
    void updateDisplayWithAddressesDict(const std::optional<QVariantMap> &addresses);
    /// Shows one of the three texts, by the display mode; the first argument is not consulted.
    void updateMenuBarDisplay(qlonglong mode, const QString &displayFirst, const QString &displaySecond, const QString &displayWAN);
    /// Shows a title, or the icon when the stored mode says so.
    void updateNICContent(const QString &title);
    /// Shows the stored title again, or the icon, after the panel's appearance changed.
    void changeMenuIcon();
    /// Shows the template icon; the argument is not consulted.
    void changeStatusItemImage(const QString &imageName);
    /// Redraws from the last addresses.
    void changeShowInterfaceName();
    /// Follows "effectiveAppearance"; other key paths are ignored.
    void observeValueForKeyPath(const QString &keyPath, const QString &newValue);
    /// Goes on to the next display mode: first, second and WAN address, or first and WAN with fewer than two interfaces.
    void toggleDisplay();
    /// Puts the item into the panel, with "starting..." and the menu; once.
    void createStatusItem();

    // WAN

    /// Starts one WAN lookup.
    void getWANIP();

    // Clipboard

    /// Copies a row's address and says so in a tooltip; where it could not be copied the tooltip says that instead.
    void copyToClipboardFromItem(const MenuItem &item);
    /// Copies the address of the display mode, without a tooltip.
    void copyToClipboard();
    /// Copies the address that stands in the title; words are not copied.
    void copyShownAddress();
    /// Shows a text under the status item for a moment; one of 1001 characters or more is shortened to 1000 and "...".
    void showToolTip(const QString &text);

    // Location permission

    /// Takes the flag "authorized"; a changed one shows or removes the warning. Any thread.
    void locationAuthorizationChanged(const Notification &notification);
    /// Puts the warning in the place of title and icon.
    void showLocationWarningOnStatusItem();
    /// Adds the warning row just before "Quit", or removes it.
    void updateLocationWarningMenuItem();
    /// Asks whether to open the system's privacy settings, and opens them.
    void resolveLocationAuthorization();

    /// The status item's menu as it stands.
    [[nodiscard]] const Menu &theMenu() const { return m_theMenu; }
    /// One or more lines on what is shown now: title, then each active interface.
    [[nodiscard]] QString summary() const;
    /// The active interfaces: the stored `nics` when there are any, else the live list.
    [[nodiscard]] QStringList knownInterfaces() const;

private:
    // Start-up
    void setInitialValues();
    void observeNotifications();
    void startConfigurationTask();
    void readFullUserName();
    /// Goes on with the user's name, on the main thread, unless this object is gone by then.
    void withFullUserName(std::function<void(const QString &user)> goOn);
    void seedSettings();
    void chooseDisplayMode();
    void scheduleTimers();
    void registerForEvents();

    // LAN and WAN passes
    [[nodiscard]] int interval(const QString &key, int current, int builtIn);
    void scheduleLANTimer();
    void scheduleWANTimer();
    void performLANPassAfter(std::chrono::seconds delay);
    void lanPassFinished();
    void stampNetworkEntry();
    void scanAndSaveSnapshot();
    void dropStaleSnapshot();
    void wanLookupFinished(const QString &result, bool answered);

    // Presence
    struct PresenceService {
        std::unique_ptr<PublishedService> published; // null while nothing is announced
        QString refusedName; // the last one that was too long, so that the log has it once
    };
    enum class PresenceRun { none, asksUser, asksAgain }; // asksAgain: once more when the answer is there
    void readPresenceUser();
    void publishPresence();
    void publishService(PresenceService &service, const QString &interfaceText);
    void startMediaRemoteBrowser();

    // Display
    void redraw(const QVariantMap &addresses);
    void replaceAddressRows(const QString &first, const QString &second, const QString &wanText);
    void replaceNetworkRow();
    void showTitle(const QString &title);
    void present();

    // Menu
    void buildMenu();
    void refreshSubmenus();
    void presentMenu();
    MenuItem copyRow(const QString &role, const QString &title);
    MenuItem allAddressesRow();
    MenuItem showInPanelRow();
    void choosePanelMode(DisplayMode mode);
    void announcePreferences();
    void copyText(const QString &text, std::function<void()> done = {}); // what could not be copied is said
    void noteUsefulAction();

    /// Wraps a task that touches this object, so that it does nothing once the object is gone.
    Task guarded(Task task);

    static constexpr int builtInUpdateInterval = 60; // seconds for the LAN, minutes for the WAN

    Ports m_ports;
    Features m_features;
    WANLookup m_wanLookup;
    std::vector<NotificationCenter::Observation> m_observations;

    StatusItemContent m_statusItemContent;
    bool m_statusItemCreated = false;
    Menu m_theMenu;
    bool m_menuUpdatePending = false; // whether the menu's hand-over to the panel is on its way
    LegacyPreferences m_legacy;
    bool m_darkMode = false;
    QString m_myLANIP;
    QString m_myWANIP;
    QString m_firstLocalNicIP;
    QString m_secondLocalNicIP;
    QString m_shownTitle; // what the title says before it is clipped
    QStringList m_nics; // the interfaces in use for copying and toggling: the stored list or the live one
    QStringList m_activeInterfaces; // the live list
    qlonglong m_numnics = 0;
    int m_updateIntervalLAN = 0; // seconds
    int m_updateIntervalWAN = 0; // minutes
    int m_rendezvousUpdateInterval = 0; // seconds
    QString m_localUser;
    QString m_machineName;
    PresenceService m_service; // of the first interface
    PresenceService m_service2; // of the second
    PresenceRun m_presenceRun = PresenceRun::none;
    std::shared_ptr<void> m_appletvbrowser;
    std::shared_ptr<void> m_airplayBrowser;
    std::atomic<bool> m_updatingDisplay{false};
    TimerHandle m_timerLAN;
    TimerHandle m_timerWAN;
    TimerHandle m_rendezvousTimer;
    TimerHandle m_reviewTimer;
    TimerHandle m_pendingLANPass;
    qlonglong m_whichIP = 0;
    int m_totalCloudkitUpdates = 0;
    bool m_locationAuthorized = true;
    bool m_askingReset = false;
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

} // namespace lanterna
