#pragma once

#include "platform/Dispatch.h"
#include "platform/NotificationCenter.h"
#include "platform/ServicePublishing.h"
#include "platform/StreamListener.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <vector>

namespace lanterna
{

class SettingsStore;
class SystemLog;

/// What the publisher needs of the machine. The objects outlive it.
struct SnapshotPublisherPorts {
    Dispatch &dispatch;
    SettingsStore &settings;
    NotificationCenter &notifications;
    SystemLog &log;
    ServicePublishing &services;
    std::function<std::unique_ptr<StreamListener>()> makeListener; ///< a new one for each attempt to start; any thread
    std::function<QStringList()> currentIPv4SubnetPrefixes; ///< this machine's /24 prefixes ("192.168.1"), asked for each client; any thread
    std::function<QString()> serviceName; ///< what people call this machine, 1 to 63 bytes of UTF-8; any thread, asked once
};

/// Hands the latest snapshot of the network to whoever connects, and announces where, as "_rgfscanmac._tcp" with the snapshot's revision as "rev".
///
/// A client gets one JSON object and the end of the stream; see docs/formats/snapshot.md. A snapshot of another network than this machine's present
/// ones is withheld: the object then names the source alone.
///
/// Main thread only. The work is done on a serial queue; dropping the publisher waits for a step that is under way there, ends the service and
/// disconnects the clients.
class MacSnapshotBonjourPublisher
{
public:
    explicit MacSnapshotBonjourPublisher(const SnapshotPublisherPorts &ports);
    ~MacSnapshotBonjourPublisher();
    MacSnapshotBonjourPublisher(const MacSnapshotBonjourPublisher &) = delete;
    MacSnapshotBonjourPublisher &operator=(const MacSnapshotBonjourPublisher &) = delete;

    /// Starts listening and announcing, and from now on follows "RGFCoreScanSnapshotSaved". Once, at start-up: a further call tries again to listen
    /// if the earlier ones could not, and follows the notification once more. A listener that has failed stays as it is.
    void start();
    /// Announces the revision of the snapshot that is stored now. What the notification carries does not count. Any thread.
    void snapshotSaved(const Notification &notification);

private:
    class Announcement;
    class Server;

    void enqueue(void (Server::*step)());

    NotificationCenter &m_notifications;
    std::shared_ptr<SerialQueue> m_queue;
    std::shared_ptr<Announcement> m_announcement; ///< the main thread's part; tasks hold it weakly
    std::shared_ptr<Server> m_server; ///< the queue's part; tasks hold it weakly
    std::vector<NotificationCenter::Observation> m_observations;
};

} // namespace lanterna
