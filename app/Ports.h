#pragma once

#include "platform/Desktop.h"
#include "platform/Dispatch.h"
#include "platform/KernelTables.h"
#include "platform/LocationManager.h"
#include "platform/NotificationCenter.h"
#include "platform/ServiceDiscovery.h"
#include "platform/ServicePublishing.h"
#include "platform/SettingsStore.h"
#include "platform/StatusItem.h"
#include "platform/SystemEvents.h"
#include "platform/SystemLog.h"

#include "app/HttpFetch.h"

#include <QVariantMap>

#include <functional>
#include <optional>

namespace lanterna
{

/// What the controller needs of the machine. The referenced objects outlive it.
struct Ports {
    Dispatch &dispatch;
    SettingsStore &settings;
    NotificationCenter &notifications;
    SystemLog &log;
    const KernelTables &kernel;
    SystemEvents &events;
    StatusItem &statusItem;
    Alerts &alerts;
    Pasteboard &pasteboard;
    Workspace &workspace;
    ServicePublishing &publishing;
    ServiceDiscovery &discovery;
    /// The MAC tables of all networks, as far as this run has any; shared with the cloud's document. Main thread only.
    std::optional<QVariantMap> &macAddressesByNetworkSegmentDict;

    std::function<QString()> hostName; ///< gethostname(2)
    std::function<QString()> fullUserName; ///< of the logged-in user
    std::function<void(const QString &url, HttpFetch::Completion)> download; ///< http and https; main thread
    QString defaultConfigurationURL; ///< used while `configurationURL` is not set
};

/// Entry points of the features that hang on the controller. An empty one is skipped, and a menu row that needs it is disabled.
struct Features {
    using ScanCompletion = std::function<void(const QVariantMap &addressesByIP)>;
    using SnapshotCompletion = std::function<void(bool success, const QString &error)>;

    std::function<void(ScanCompletion)> scanNetworkWithCompletion; ///< sweeps, answers on the main thread with IP text to MAC text
    std::function<void(SnapshotCompletion)> scanAndSaveSnapshotWithCompletion; ///< answers on the main thread
    std::function<QStringList()> currentIPv4SubnetPrefixes; ///< "192.168.1" for each local /24
    std::function<void()> saveMACAddressesToiCloud;
    std::function<void()> getCustomDictFromCloudKitDelayed;
    std::function<void()> saveCustomizationsToCloudKitDelayed;
    std::function<void()> applyLaunchAtLogin;
    std::function<void()> startSnapshotPublisher;
    std::function<void()> showWelcomePopoverIfNeeded;
    std::function<void()> showPreferencesWindow;
    std::function<void(const QString &text, double x)> showToolTip; ///< for a moment, with its middle at this x in points
    std::function<void()> noteUsefulActionAndMaybeRequestReview;
    std::function<bool()> accumulateRuntimeAndMaybeRequestReview; ///< every 60 s; false ends the count for this run
};

} // namespace lanterna
