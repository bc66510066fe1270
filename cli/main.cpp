#include "app/OwnersCloud.h"
#include "app/RunningCore.h"
#include "app/localhostAddresses.h"
#include "cli/CloudRun.h"
#include "cli/CloudSetup.h"
#include "cli/CloudSignInRun.h"
#include "cli/HistoryCommand.h"
#include "cli/PeersRun.h"
#include "cli/Reports.h"
#include "cli/ScanProgressLine.h"
#include "cli/ScanRun.h"
#include "cli/SettingsCommand.h"
#include "cli/SnapshotCommand.h"
#include "cli/TerminalDesktop.h"
#include "cli/TerminalQuestions.h"
#include "cli/TerminalScreen.h"
#include "cli/TerminalStatusItem.h"
#include "platform/DataFolder.h"
#include "platform/linux/CallbackSocket.h"
#include "platform/linux/DesktopCallbackAwaiter.h"
#include "platform/linux/LinuxMachine.h"
#include "platform/linux/MachineName.h"
#include "platform/linux/TerminationSignals.h"
#include "platform/linux/UserAccount.h"
#include "publish/HistoryFormat.h"

#include <QCoreApplication>
#include <QJsonDocument>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>

#include <unistd.h>

using namespace lanterna;

namespace
{

/// How long a command waits for the history to take what it has saved.
constexpr std::chrono::milliseconds historyPatience{2000};

constexpr const char *usage = R"(Usage: lanternactl COMMAND

Lanterna without a window. Results go to standard output, everything else to
standard error; the exit status is 0 (done), 1 (failed) or 2 (usage).

  addresses [--json]           the active IPv4 addresses
  wan                          look the WAN address up once
  status [--json|--waybar]     what the panel shows, or would show
  scan [--json|--format csv] [--save] [--no-sweep]
                               one pass over the local network; --save keeps
                               the snapshot, --no-sweep sends no probes
  peers [--timeout S] [--json] the snapshots that the network's sensors serve
  snapshot                     the latest stored snapshot, as JSON
  history [--days N] [--network NAME] [--json|--format csv] [--plot FILE.svg]
                               what changed on the local network over the last
                               days (90); --plot draws who was there when
  cloud status                 where the shared document is kept, and how the
                               last save of it went
  cloud setup                  choose where, and give user and password
  cloud sign-in                sign in to iCloud, in a browser
  cloud sign-out               forget password and session
  cloud pull                   read it, as a start does
  cloud push                   save tables and snapshot into it now
  cloud export FILE            write it into a new file
  cloud import FILE [--yes]    put a file in its place
  settings list                every stored setting
  settings get KEY
  settings set KEY VALUE       VALUE as the setting's kind asks
  settings unset KEY
  settings reset [--yes]       remove every setting
  run                          run in the foreground, until SIGTERM or Ctrl-C
  --version, --help
)";

int finish(const CommandResult &result)
{
    const bool person = isatty(STDOUT_FILENO) == 1; // whose terminal does not obey what stands in names and settings
    std::fputs((person ? escapedControls(result.output, QStringLiteral("\n")) : result.output).toUtf8().constData(), stdout);
    if (!result.error.isEmpty())
        std::fprintf(stderr, "lanternactl: %s\n", qPrintable(result.error));
    if (std::fflush(stdout) != 0) {
        std::fprintf(stderr, "lanternactl: cannot write the result: %s\n", std::strerror(errno));
        return 1;
    }
    return result.exitCode;
}

int usageError(const QString &line)
{
    std::fprintf(stderr, "lanternactl: %s\n%s", qPrintable(line), usage);
    return 2;
}

QString jsonLine(const QJsonDocument &document)
{
    return QString::fromUtf8(document.toJson(QJsonDocument::Compact)) + QLatin1Char('\n');
}

bool isShown(const InterfaceAddress &address, const SettingsStore &settings)
{
    return isShownInterface(address, hiddenInterfacePatterns(settings));
}

/// Ends the process at once: a name server that does not answer would hold up an orderly end for seconds.
[[noreturn]] void leave(int status)
{
    std::fflush(nullptr);
    std::_Exit(status);
}

/// What a command that answers at once needs: the settings and the kernel, no threads.
struct OneShot {
    SyslogSystemLog log{"lanternactl"};
    SettingsStore settings{SettingsStore::defaultFolder(), log};
    RtnetlinkKernelTables kernel;
};

int addressesCommand(const QStringList &options)
{
    const bool json = options == QStringList{QStringLiteral("--json")};
    if (!json && !options.isEmpty())
        return usageError(QStringLiteral("addresses: unknown argument '%1'").arg(options.first()));
    const OneShot machine;
    const QStringList hidden = hiddenInterfacePatterns(machine.settings);
    QList<InterfaceAddress> shown;
    for (const InterfaceAddress &address : machine.kernel.interfaceAddresses()) {
        if (isShownAddress(address, hidden))
            shown.append(address);
    }
    return finish({0, json ? jsonLine(QJsonDocument(addressesJson(shown))) : addressesText(shown)});
}

int statusCommand(const QStringList &options)
{
    const QString form = options.value(0);
    const bool json = form == QLatin1String("--json");
    const bool waybar = form == QLatin1String("--waybar");
    if (options.size() > 1 || (!form.isEmpty() && !json && !waybar))
        return usageError(QStringLiteral("status: unknown argument '%1'").arg(options.last()));
    const OneShot machine;
    const StatusReport report = statusReport(machine.kernel.interfaceAddresses(), machine.settings, CoreLock::holder(machine.settings.folder()));
    if (json)
        return finish({0, jsonLine(QJsonDocument(statusJson(report)))});
    return finish({0, waybar ? jsonLine(QJsonDocument(waybarJson(report))) : statusText(report)});
}

[[noreturn]] void wanCommand(QCoreApplication &application)
{
    LinuxMachine machine("lanternactl", isShown);
    HttpFetch fetch(machine.dispatch);
    QString result;
    const TerminationSignals signalsToQuit([](int) { QCoreApplication::exit(1); });
    WANLookup lookup(
        {machine.dispatch, machine.settings, machine.log,
            [&](const QString &url, HttpFetch::Completion completion) { fetch.get(url, std::move(completion)); }, installedConfigurationURL()},
        [&](const QString &found, bool) {
            result = found;
            application.quit();
        });
    machine.dispatch.globalAsync([&] {
        lookup.readConfiguration([&] {
            if (!lookup.getWANIP())
                application.quit();
        });
    });
    QCoreApplication::exec();
    const int exitCode = result.isEmpty() ? finish({1, {}, QStringLiteral("no WAN address was looked up")})
                                          : finish({result.contains(QLatin1Char('.')) ? 0 : 1, result + QLatin1Char('\n')});
    leave(exitCode);
}

/// Draws in place on a terminal, a line per change elsewhere.
TerminalStatusItem::Draw drawing(TerminalScreen &screen)
{
    if (isatty(STDOUT_FILENO) == 1)
        return [&screen](const QStringList &lines, const QStringList &) { screen.setBlock(lines); };
    return [](const QStringList &, const QStringList &changes) {
        for (const QString &change : changes)
            std::puts(change.toUtf8().constData());
        if (std::fflush(stdout) != 0)
            QCoreApplication::quit(); // nobody reads any more
    };
}

[[noreturn]] void scanCommand(const ScanOptions &options)
{
    // Log lines go to the system's log only: on the terminal stands the progress.
    LinuxMachine machine("lanternactl", isShown, [](const QByteArray &) {});
    LocationAuthHelper location(machine.locationManager, machine.notifications, machine.log);
    ScanProgressDisplay display(machine.dispatch, STDERR_FILENO);
    SnapshotHistoryWriter history(machine.dispatch, historyFolder());
    ScanRun run({machine.dispatch, machine.settings, machine.notifications, machine.log, machine.kernel, machine.wiFiClient, machine.probes,
                    machine.processes, machine.names, machine.tester, machine.discovery,
                    [&](LocationAuthHelper::Completion answered) { location.requestAuthorizationWithCompletion(std::move(answered)); },
                    [&](const QVariantMap &snapshot) { history.recordSnapshot(snapshot); },
                    [&](const ScanProgress &progress) { display.note(progress); }, true},
        options);
    auto signalsToQuit = std::make_unique<TerminationSignals>([&](int number) {
        display.finish();
        run.removeCopy();
        leave(128 + number); // as a shell tells of a command that a signal ended
    });
    run.start([] { QCoreApplication::quit(); });
    QCoreApplication::exec();
    display.finish();
    const CommandResult result = run.result(isatty(STDOUT_FILENO) == 1 ? terminalSize(STDOUT_FILENO).columns : 0);
    run.removeCopy();
    (void)history.finish(historyPatience); // it is silent about what it cannot write
    signalsToQuit.reset(); // whoever does not read the result can still be ended
    leave(finish(result));
}

[[noreturn]] void peersCommand(const PeersOptions &options)
{
    LinuxMachine machine("lanternactl", isShown, [](const QByteArray &) {});
    PeersRun run(machine.dispatch, machine.discovery, options);
    const TerminationSignals signalsToQuit([](int number) { leave(128 + number); });
    run.start([] { QCoreApplication::quit(); });
    QCoreApplication::exec();
    leave(finish(run.result(isatty(STDOUT_FILENO) == 1 ? terminalSize(STDOUT_FILENO).columns : 0)));
}

/// Starts a browser where there is a desktop to show it.
bool startBrowser(LinuxMachine &machine, const QUrl &page)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return false;
    machine.processes.start({QStringLiteral("xdg-open"), page.toString(QUrl::FullyEncoded)});
    return true;
}

URLSchemeHandler schemeHandler(LinuxMachine &machine)
{
    return {machine.processes, URLSchemeHandler::usualPlaces(QCoreApplication::applicationFilePath())};
}

[[noreturn]] void signInCommand(LinuxMachine &machine, OwnersCloud &cloud)
{
    DesktopCallbackAwaiter callbacks(
        machine.dispatch, schemeHandler(machine), CallbackSocket::usualFolder(), machine.settings.text(QStringLiteral("cloudKitCallback")));
    const auto leaveNothing = [&callbacks](int number) {
        callbacks.end();
        leave(128 + number);
    };
    auto signalsToQuit = std::make_unique<TerminationSignals>(leaveNothing);
    const auto confirm = [&](const QString &question) {
        signalsToQuit.reset(); // nothing listens any more, and the terminal holds the main thread
        const bool yes = askYesNo(question);
        signalsToQuit = std::make_unique<TerminationSignals>(leaveNothing);
        return yes;
    };
    CloudSignInRun run(
        {machine.dispatch, machine.settings, keptCloudKitSession(cloud.secrets(), machine.settings, cloudKitConfiguration(machine.settings)),
            callbacks, [&](const QUrl &page) { return startBrowser(machine, page); }, confirm,
            [](const QString &lines) {
                std::fputs(lines.toUtf8().constData(), stderr);
                std::fflush(stderr);
            }});
    run.start([] { QCoreApplication::quit(); });
    QCoreApplication::exec();
    callbacks.end();
    leave(finish(run.result()));
}

[[noreturn]] void cloudSetupCommand(LinuxMachine &machine, OwnersCloud &cloud, CloudOptions::Action action)
{
    CloudSetup setup({machine.dispatch, machine.settings, [&]() -> SecretStore & { return cloud.secrets(); }, askLine, askHidden,
        [&] { return schemeHandler(machine).remove(); }});
    const auto quit = [] { QCoreApplication::quit(); };
    if (action == CloudOptions::Action::setUp)
        setup.setUp(quit);
    else
        setup.signOut(quit);
    auto signalsToQuit = std::make_unique<TerminationSignals>([](int number) { leave(128 + number); });
    QCoreApplication::exec();
    const int exitCode = finish(setup.result());
    signalsToQuit.reset();
    if (setup.choseCloudKit() && askYesNo(QStringLiteral("Sign in there now?")))
        signInCommand(machine, cloud);
    leave(exitCode);
}

/// What the desktop starts when a browser comes back from a sign-in, and what a person calls, who is asked for the address.
int callbackCommand(const QString &given)
{
    const auto asked = given.isEmpty() ? askHidden(QStringLiteral("Address that the browser came to (not shown):")) : std::nullopt;
    const QString problem = CallbackSocket::handOver(CallbackSocket::usualFolder(), asked.value_or(given).trimmed().toUtf8());
    // The journal keeps a program's arguments with each of its lines, and these hold the session.
    if (!given.isEmpty() && isatty(STDERR_FILENO) == 0)
        return problem.isEmpty() ? 0 : 1;
    return finish(problem.isEmpty() ? CommandResult{0, QStringLiteral("Handed to the sign-in that waits.\n"), {}} : CommandResult{1, {}, problem});
}

[[noreturn]] void cloudCommand(const CloudOptions &options)
{
    LinuxMachine machine("lanternactl", isShown, [](const QByteArray &) {});
    OwnersCloud cloud(machine.dispatch, machine.settings, machine.log, dataFolder(), machine.secretStoreMaker());
    if (options.action == CloudOptions::Action::setUp || options.action == CloudOptions::Action::signOut)
        cloudSetupCommand(machine, cloud, options.action);
    if (options.action == CloudOptions::Action::signIn)
        signInCommand(machine, cloud);
    CloudRun run({machine.dispatch, machine.settings, machine.log, cloud.parts(), [&]() -> SecretStore & { return cloud.secrets(); },
                     cloud.databaseParts().embeddedFile, askYesNo},
        options);
    const TerminationSignals signalsToQuit([](int number) { leave(128 + number); });
    run.start([] { QCoreApplication::quit(); });
    QCoreApplication::exec();
    leave(finish(run.result()));
}

int runCommand()
{
    CoreLock lock(SettingsStore::defaultFolder());
    const CoreLock::Result result = lock.tryLock();
    if (result.status == CoreLock::Result::Status::heldElsewhere)
        return finish({1, {}, QStringLiteral("process %1 already runs with these settings").arg(result.holderPid)});
    std::signal(SIGPIPE, SIG_IGN); // a reader that went away is noticed at the next write
    TerminalScreen screen(STDOUT_FILENO);
    SyslogSystemLog::TerminalSink sink;
    if (isatty(STDOUT_FILENO) == 1 && isatty(STDERR_FILENO) == 1)
        sink = [&screen](const QByteArray &line) { screen.printAbove(line); };
    LinuxMachine machine("lanternactl", isShown, sink);
    if (result.status == CoreLock::Result::Status::failed)
        machine.log(QStringLiteral("cannot lock the settings: %@"), result.error);
    TerminalStatusItem statusItem(drawing(screen));
    TerminalAlerts alerts(machine.dispatch);
    TerminalPasteboard pasteboard(machine.dispatch);
    TerminalWorkspace workspace;
    const TerminationSignals signalsToQuit([](int) { QCoreApplication::quit(); });
    OwnersCloud cloud(machine.dispatch, machine.settings, machine.log, dataFolder(), machine.secretStoreMaker());
    RunningCore core({machine.dispatch, machine.settings, machine.notifications, machine.log, machine.kernel, machine.watchedKernel, machine.events,
        machine.locationManager, machine.wiFiClient, machine.probes, machine.processes, machine.names, machine.tester, machine.discovery,
        machine.discovery, statusItem, alerts, pasteboard, workspace, hostName, fullUserName, machineServiceName, LinuxMachine::makeListener,
        historyFolder(), installedConfigurationURL(), cloud.parts(), {}});
    core.start(workspace.modifierFlags(), false);
    QCoreApplication::exec();
    core.terminate();
    core.endServing();
    machine.discovery.leave(AvahiServiceDiscovery::leavingTime);
    leave(0);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("lanternactl"));
    QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.isEmpty())
        return usageError(QStringLiteral("a command is missing"));
    const QString command = arguments.takeFirst();
    if (command == QLatin1String("--version"))
        return finish({0, QStringLiteral("lanternactl " LANTERNA_VERSION "\n")});
    if (command == QLatin1String("--help"))
        return finish({0, QString::fromLatin1(usage)});
    if (command == QLatin1String("addresses"))
        return addressesCommand(arguments);
    if (command == QLatin1String("status"))
        return statusCommand(arguments);
    if (command == QLatin1String("settings")) {
        OneShot machine;
        return finish(settingsCommand(arguments, machine.settings, askYesNo));
    }
    if (command == QLatin1String("scan")) {
        const ParsedScanOptions scan = parseScanOptions(arguments);
        if (!scan.error.isEmpty())
            return usageError(scan.error);
        scanCommand(scan.options);
    }
    if (command == QLatin1String("history")) {
        const ParsedHistoryOptions history = parseHistoryOptions(arguments);
        if (!history.error.isEmpty())
            return usageError(history.error);
        const int columns = isatty(STDOUT_FILENO) == 1 ? terminalSize(STDOUT_FILENO).columns : 0;
        const QDateTime now = QtDispatch().now();
        return finish(historyCommand(history.options, {historyFolder(), now, columns, std::thread::hardware_concurrency()}));
    }
    if (command == QLatin1String("cloud")) {
        const ParsedCloudOptions cloud = parseCloudOptions(arguments);
        if (!cloud.error.isEmpty())
            return usageError(cloud.error);
        if (cloud.options.action == CloudOptions::Action::callback)
            return callbackCommand(cloud.options.file);
        cloudCommand(cloud.options);
    }
    if (command == QLatin1String("peers")) {
        const ParsedPeersOptions peers = parsePeersOptions(arguments);
        if (!peers.error.isEmpty())
            return usageError(peers.error);
        peersCommand(peers.options);
    }
    if (command != QLatin1String("wan") && command != QLatin1String("run") && command != QLatin1String("snapshot"))
        return usageError(QStringLiteral("unknown command '%1'").arg(command));
    if (!arguments.isEmpty())
        return usageError(QStringLiteral("%1: unknown argument '%2'").arg(command, arguments.first()));
    if (command == QLatin1String("snapshot"))
        return finish(snapshotCommand(OneShot().settings));
    if (command == QLatin1String("wan"))
        wanCommand(application);
    return runCommand();
}
