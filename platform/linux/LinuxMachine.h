#pragma once

#include "platform/CoreLock.h"
#include "platform/NotificationCenter.h"
#include "platform/SecretStore.h"
#include "platform/SettingsStore.h"
#include "platform/StreamListener.h"
#include "platform/linux/AvahiServiceDiscovery.h"
#include "platform/linux/EpollHostTester.h"
#include "platform/linux/FixedLocationManager.h"
#include "platform/linux/FolderWatch.h"
#include "platform/linux/LinuxChildProcesses.h"
#include "platform/linux/LinuxHostNames.h"
#include "platform/linux/LinuxProbeSockets.h"
#include "platform/linux/LinuxSystemEvents.h"
#include "platform/linux/Nl80211WiFiClient.h"
#include "platform/linux/QtDispatch.h"
#include "platform/linux/RtnetlinkKernelTables.h"
#include "platform/linux/SyslogSystemLog.h"
#include "platform/linux/WatchedKernelTables.h"

namespace lanterna
{

/// The machine as both programs need it: log, settings, threads, kernel tables, events, Wi-Fi, location and what a scan needs, on Linux and without a display.
///
/// Main thread only; needs the application object. `identifier` names the program in the log, `terminalSink` is where log lines for a person go.
struct LinuxMachine {
    /// Says whether the address list would show an address, with the settings in force.
    using Shown = std::function<bool(const InterfaceAddress &address, const SettingsStore &settings)>;

    /// A TCP server that has not started yet.
    static std::unique_ptr<StreamListener> makeListener();

    /// Makes the person's secret store, on the session bus.
    [[nodiscard]] std::function<std::unique_ptr<SecretStore>()> secretStoreMaker();

    LinuxMachine(const QByteArray &identifier, const Shown &shown, SyslogSystemLog::TerminalSink terminalSink = {});

    SyslogSystemLog log;
    QtDispatch dispatch;
    NotificationCenter notifications;
    SettingsStore settings;
    FolderWatch settingsWatch;
    RtnetlinkKernelTables kernel;
    WatchedKernelTables watchedKernel;
    LinuxSystemEvents events;
    Nl80211WiFiClient wiFiClient;
    FixedLocationManager locationManager;
    LinuxProbeSockets probes;
    LinuxChildProcesses processes;
    LinuxHostNames names;
    EpollHostTester tester;
    AvahiServiceDiscovery discovery; ///< announces services, too; to `leave` before the program ends without taking anything down
};

/// The URL of the installed WAN configuration file; in the build tree that of the source tree.
QString installedConfigurationURL();

} // namespace lanterna
