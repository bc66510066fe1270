#pragma once

#include "platform/ChildProcesses.h"
#include "platform/Dispatch.h"
#include "platform/HostNames.h"
#include "platform/HostTester.h"
#include "platform/KernelTables.h"
#include "platform/NotificationCenter.h"
#include "platform/ProbeSockets.h"
#include "platform/ServiceDiscovery.h"
#include "platform/SettingsStore.h"
#include "platform/SystemLog.h"
#include "platform/WiFiClient.h"

#include <QVariantMap>

#include <functional>

namespace lanterna
{

/// How far a scan has come; for people, nothing depends on it.
struct ScanProgress {
    enum class Stage {
        sweep, ///< probing the hosts of one /24
        settling, ///< waiting for the last answers
        names, ///< looking up names and testing hosts
        services, ///< browsing for services
    };
    Stage stage = Stage::sweep;
    QString subnet; ///< of a sweep: "192.168.1"
    int subnetNumber = 0; ///< of a sweep: which one, from 1
    int subnetCount = 0; ///< how many are swept
    int host = 0; ///< of a sweep: host number under way, 0 before the first
};

/// What a scan needs of the machine and of the rest of the program. The referenced objects outlive it.
struct ScanPorts {
    Dispatch &dispatch;
    SettingsStore &settings;
    NotificationCenter &notifications;
    SystemLog &log;
    const KernelTables &kernel;
    const WiFiClient &wiFiClient;
    ProbeSockets &probes;
    ChildProcesses &processes;
    HostNames &names;
    HostTester &tester;
    ServiceDiscovery &discovery;

    /// Asks for the location permission; answers on any thread. Without it the scan counts as allowed.
    std::function<void(std::function<void(bool authorized)>)> requestAuthorization;
    /// Takes each saved snapshot; main thread; may be empty.
    std::function<void(const QVariantMap &snapshot)> recordSnapshot;
    /// Told at each step; any thread; may be empty.
    std::function<void(const ScanProgress &)> progress;
    /// False reads what the ARP table holds and sends no probe.
    bool sweeps = true;
};

} // namespace lanterna
