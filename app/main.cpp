#include "app/LaunchAtLoginManager.h"
#include "app/OwnersCloud.h"
#include "app/ReviewRequests.h"
#include "app/RunningCore.h"
#include "app/SignInOffer.h"
#include "app/localhostAddresses.h"
#include "platform/DataFolder.h"
#include "platform/linux/BusCall.h"
#include "platform/linux/DesktopCallbackAwaiter.h"
#include "platform/linux/DesktopNotices.h"
#include "platform/linux/InstanceService.h"
#include "platform/linux/LinuxMachine.h"
#include "platform/linux/LoginItems.h"
#include "platform/linux/MachineName.h"
#include "platform/linux/SchemePrograms.h"
#include "platform/linux/TerminationSignals.h"
#include "platform/linux/UserAccount.h"
#include "platform/linux/desktop/DesktopScreenLayout.h"
#include "platform/linux/desktop/DesktopWindows.h"
#include "platform/linux/desktop/DesktopWorkspace.h"
#include "platform/linux/desktop/QtPasteboard.h"
#include "platform/linux/desktop/SniStatusItem.h"
#include "platform/linux/desktop/WindowAlerts.h"
#include "platform/linux/desktop/X11Clipboard.h"
#include "publish/HistoryFormat.h"

#include <QGuiApplication>

#include <csignal>
#include <cstdio>
#include <cstdlib>

using namespace lanterna;

namespace
{

constexpr const char *usage = R"(Usage: lanterna [--reset-prefs]

Shows this machine's network address in the desktop panel.

  --reset-prefs  ask whether to reset all preferences, also of a running Lanterna
  --version      print the version and exit
  --help         print this text and exit
)";

constexpr int lastWordsMilliseconds = 200; // a bus answers within a few; of the second that leaving may take, this is the part for one that hangs
const QString textSetting = QStringLiteral("statusItemText");
const QString loginSetting = QStringLiteral("launchAtLogin");

struct Arguments {
    bool resetPreferences = false;
    int exitCode = -1; ///< at least 0: nothing more to do
};

Arguments readArguments(int argc, char **argv)
{
    Arguments arguments;
    for (int index = 1; index < argc; ++index) {
        const QByteArray argument = argv[index];
        if (argument == "--reset-prefs") {
            arguments.resetPreferences = true;
        } else if (argument == "--version") {
            std::puts("lanterna " LANTERNA_VERSION);
            return {false, 0};
        } else if (argument == "--help") {
            std::fputs(usage, stdout);
            return {false, 0};
        } else {
            std::fprintf(stderr, "lanterna: unknown argument '%s'\n%s", argv[index], usage);
            return {false, 2};
        }
    }
    return arguments;
}

/// The program on the desktop, from the moment at which it is known to be the only one.
class DesktopProgram
{
public:
    DesktopProgram(const QDBusConnection &bus, LinuxMachine &machine)
        : m_machine(machine), m_notices(bus), m_reviewNotices(bus),
          m_statusItem({bus, machine.dispatch, machine.log, m_notices, [this] { return m_machine.settings.text(textSetting); }, sessionIconFolder(),
              ProgramFiles(), [this] { m_windows.lookChanged(); }}),
          m_windows(windowPorts(), ProgramFiles().windowLibrary(), [this] { return look(); }),
          m_alerts(machine.dispatch, [this] { return m_windows.library(); }), m_pasteboard(machine.dispatch), m_workspace(machine.dispatch),
          m_cloud(machine.dispatch, machine.settings, machine.log, dataFolder(), machine.secretStoreMaker()),
          m_signInOffer(
              {machine.dispatch, machine.settings, machine.log, m_notices, m_alerts, [this]() -> SecretStore & { return m_cloud.secrets(); },
                  [this] { return makeCallbacks(); }, [this](const QUrl &page) { return m_workspace.openURL(page.toString(QUrl::FullyEncoded)); }}),
          m_loginItem(desktopLoginItem(machine.dispatch, bus, ProgramFiles(), QCoreApplication::applicationFilePath())),
          m_launchAtLogin(machine.settings, machine.log, *m_loginItem),
          m_reviews(machine.dispatch, machine.settings, QStringLiteral(LANTERNA_VERSION), [this] { offerReview(); }),
          m_core({machine.dispatch, machine.settings, machine.notifications, machine.log, machine.kernel, machine.watchedKernel, machine.events,
              machine.locationManager, machine.wiFiClient, machine.probes, machine.processes, machine.names, machine.tester, machine.discovery,
              machine.discovery, m_statusItem, m_alerts, m_pasteboard, m_workspace, hostName, fullUserName, machineServiceName,
              LinuxMachine::makeListener, historyFolder(), installedConfigurationURL(), m_cloud.parts(),
              [this](const QString &key, bool external) { settingChanged(key, external); },
              [this](const CloudOutcome &outcome) { m_signInOffer.note(outcome); }, desktopFeatures()})
    {
    }

    void start(bool resetPreferences) { m_core.start(m_workspace.modifierFlags(), resetPreferences); }
    void endServing() { m_core.endServing(); }
    void terminate()
    {
        m_signInOffer.end();
        m_core.terminate();
        m_statusItem.removeFiles();
    }
    /// A second start: the preferences, and the addresses where no panel shows them.
    void activate()
    {
        m_windows.showPreferencesWindow();
        if (m_statusItem.isHosted())
            return;
        const QString summary = m_core.controller().summary();
        m_notices.show(summary.section(QLatin1Char('\n'), 0, 0), summary.section(QLatin1Char('\n'), 1));
    }
    void offerReset()
    {
        m_core.controller().offerReset([] {});
    }

private:
    Features desktopFeatures()
    {
        Features made;
        made.showWelcomePopoverIfNeeded = [this] { m_windows.showWelcomePopoverIfNeeded(); };
        made.showPreferencesWindow = [this] { m_windows.showPreferencesWindow(); };
        made.applyLaunchAtLogin = [this] { m_launchAtLogin.applyFromPreference(); };
        made.showToolTip = [this](const QString &text, double x) {
            if (!m_windows.showMessage(text, x))
                m_notices.showBriefly(text, DesktopWindows::messageDuration);
        };
        made.noteUsefulActionAndMaybeRequestReview = [this] { m_reviews.noteUsefulActionAndMaybeRequestReview(); };
        made.accumulateRuntimeAndMaybeRequestReview = [this] { return m_reviews.accumulateRuntimeAndMaybeRequestReview(); };
        return made;
    }
    void settingChanged(const QString &key, bool external)
    {
        if (key == textSetting)
            m_statusItem.textSettingChanged();
        if (external && key == loginSetting && m_machine.settings.contains(key))
            applyChosenLaunchAtLogin();
        m_signInOffer.noteSetting(key);
        m_windows.settingChanged(key);
    }
    /// The person has chosen, which counts more than what the desktop's own settings say.
    void applyChosenLaunchAtLogin() { m_launchAtLogin.setEnabled(m_machine.settings.boolean(loginSetting)); }
    WindowPorts windowPorts()
    {
        return {m_machine.dispatch, m_machine.settings, m_machine.notifications, m_machine.log, m_screens, [this] { applyChosenLaunchAtLogin(); },
            [this] { return m_cloud.otherStore(); }};
    }
    [[nodiscard]] WindowLook look() const
    {
        using Palette = WindowLook::Palette;
        const QString appearance = m_statusItem.portalAppearance();
        const Palette palette = appearance.isEmpty() ? Palette::desktop : appearance == QLatin1String("dark") ? Palette::dark : Palette::light;
        return {palette, m_statusItem.portalAnimated()};
    }
    /// Nobody is asked who has no software centre, or a Lanterna that is in none.
    void offerReview()
    {
        if (!ProgramFiles().isInstalled())
            return;
        m_machine.dispatch.globalAsync([this] {
            if (!hasProgramForScheme(QStringLiteral("appstream")))
                return;
            m_machine.dispatch.mainAsync([this] {
                m_reviewNotices.showWithAction(QStringLiteral("Is Lanterna useful to you?"),
                    QStringLiteral("A review helps others to find it. The button opens its page in the software centre."), QStringLiteral("Review"),
                    [this] { m_workspace.openURL(QStringLiteral("appstream://lanterna.desktop")); });
            });
        });
    }
    /// What hears a browser come back: lanternactl lies beside this program.
    std::unique_ptr<CallbackAwaiter> makeCallbacks()
    {
        const QString command = QCoreApplication::applicationDirPath() + QStringLiteral("/lanternactl");
        return std::make_unique<DesktopCallbackAwaiter>(m_machine.dispatch,
            URLSchemeHandler(m_machine.processes, URLSchemeHandler::usualPlaces(command)), CallbackSocket::usualFolder(),
            m_machine.settings.text(QStringLiteral("cloudKitCallback")));
    }

    LinuxMachine &m_machine;
    DesktopNotices m_notices;
    DesktopNotices m_reviewNotices; // by itself: a question for a review must not take the place of one that matters
    SniStatusItem m_statusItem;
    DesktopScreenLayout m_screens;
    DesktopWindows m_windows;
    WindowAlerts m_alerts;
    QtPasteboard m_pasteboard;
    DesktopWorkspace m_workspace;
    OwnersCloud m_cloud;
    SignInOffer m_signInOffer;
    std::unique_ptr<LoginItem> m_loginItem;
    LaunchAtLoginManager m_launchAtLogin;
    ReviewRequests m_reviews;
    RunningCore m_core;
};

/// Says goodbye to the settings exactly once, also when Qt leaves through exit(3), as it does when the display server goes.
class Goodbye
{
public:
    explicit Goodbye(Task terminate)
    {
        task() = std::move(terminate);
        on_exit([](int status, void *) { leave(status); }, nullptr);
    }
    Goodbye(const Goodbye &) = delete;
    Goodbye &operator=(const Goodbye &) = delete;

    /// Says goodbye and ends the process. The rest is not taken down in order: a name server that does not answer would hold that up for seconds.
    [[noreturn]] static void leave(int status)
    {
        if (const Task waiting = std::exchange(task(), nullptr))
            waiting();
        std::fflush(nullptr);
        std::_Exit(status);
    }

private:
    /// exit(3) takes a plain function, so what it runs stands here.
    static Task &task()
    {
        static Task waiting;
        return waiting;
    }
};

/// Runs until something ends the program.
[[noreturn]] void runProgram(InstanceService &instance, const QDBusConnection &bus, LinuxMachine &machine, bool resetPreferences)
{
    const TerminationSignals signalsToQuit([](int) { QCoreApplication::exit(0); }); // quit() would ask open windows first, and an alert says no
    const auto program = std::make_unique<DesktopProgram>(bus, machine);
    instance.serve(
        [&] { machine.dispatch.mainAsync([&] { program->activate(); }); }, [&] { machine.dispatch.mainAsync([&] { program->offerReset(); }); });
    const Goodbye goodbye([&] {
        program->terminate();
        program->endServing();
        machine.discovery.leave(AvahiServiceDiscovery::leavingTime);
    });
    QObject::connect(qGuiApp, &QGuiApplication::commitDataRequest, qGuiApp, [&] { program->terminate(); });
    program->start(resetPreferences);
    const int status = QCoreApplication::exec();
    // What Qt has queued goes out before this: a panel waits for the answer to the click on "Quit".
    bus.call(busDaemonCall(QStringLiteral("GetId")), QDBus::Block, lastWordsMilliseconds);
    // The toolkit does this in a destructor, and leaving runs none.
    handOverX11Clipboard(machine.dispatch, std::chrono::milliseconds(lastWordsMilliseconds));
    Goodbye::leave(status);
}

/// Tells a person who started a second program what runs instead. Returns the exit code.
int leaveToOther(InstanceService &instance, bool resetPreferences)
{
    if (instance.askOther(resetPreferences))
        return 0;
    std::fputs("lanterna: another Lanterna runs in this session and does not answer\n", stderr);
    return 1;
}

/// Tells a person that a core without a window holds the settings. Returns the exit code.
int leaveToHolder(const CoreLock::Result &lock, const QString &folder)
{
    std::fprintf(stderr, "lanterna: process %lld already runs with the settings in %s\n", static_cast<long long>(lock.holderPid), qPrintable(folder));
    return 1;
}

} // namespace

int main(int argc, char **argv)
{
    const Arguments arguments = readArguments(argc, argv);
    if (arguments.exitCode >= 0)
        return arguments.exitCode;
    const bool display =
        qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY") || qEnvironmentVariableIsSet("QT_QPA_PLATFORM");
    if (!display) {
        std::fputs("lanterna: there is no display; `lanternactl run` works without one\n", stderr);
        return 1;
    }
    std::signal(SIGPIPE, SIG_IGN); // what the windows print may go to nobody
    const QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QGuiApplication::setApplicationName(QStringLiteral("lanterna"));
    QGuiApplication::setDesktopFileName(QStringLiteral("lanterna"));

    const QDBusConnection bus = QDBusConnection::sessionBus();
    InstanceService instance(bus, qEnvironmentVariable("LANTERNA_INSTANCE"));
    if (instance.claim() == InstanceService::Claim::another)
        return leaveToOther(instance, arguments.resetPreferences);
    CoreLock lock(SettingsStore::defaultFolder());
    const CoreLock::Result locked = lock.tryLock();
    if (locked.status == CoreLock::Result::Status::heldElsewhere)
        return leaveToHolder(locked, SettingsStore::defaultFolder());
    LinuxMachine machine("lanterna",
        [](const InterfaceAddress &address, const SettingsStore &settings) { return isShownInterface(address, hiddenInterfacePatterns(settings)); });
    if (locked.status == CoreLock::Result::Status::failed)
        machine.log(QStringLiteral("cannot lock the settings: %@"), locked.error);
    runProgram(instance, bus, machine, arguments.resetPreferences);
}
