#include "publish/MacSnapshotBonjourPublisher.h"

#include "platform/NotificationNames.h"
#include "platform/SettingsStore.h"
#include "platform/SystemLog.h"
#include "publish/SnapshotPayload.h"

#include <mutex>
#include <utility>

namespace lanterna
{

namespace
{

/// What the announcement says of a revision.
ServiceText revisionText(const QString &revision)
{
    return {{QByteArrayLiteral("rev"), revision.toUtf8()}};
}

} // namespace

/// The announced service. Main thread only.
class MacSnapshotBonjourPublisher::Announcement
{
public:
    explicit Announcement(ServicePublishing &services) : m_services(services) { }

    void publish(const ServiceRegistration &registration) { m_service = m_services.publish(registration); }
    void setText(const ServiceText &text)
    {
        if (m_service)
            m_service->setText(text);
    }

private:
    ServicePublishing &m_services;
    std::unique_ptr<PublishedService> m_service;
};

/// What is done on the serial queue, each call one step of it.
class MacSnapshotBonjourPublisher::Server : public std::enable_shared_from_this<Server>
{
public:
    Server(const SnapshotPublisherPorts &ports, std::shared_ptr<SerialQueue> queue, std::weak_ptr<Announcement> announcement)
        : m_ports(ports), m_queue(std::move(queue)), m_announcement(std::move(announcement))
    {
    }

    void createListener();
    void readvertise();
    void serve(StreamConnection &connection);
    void listenerFailed(const QString &error);
    /// Waits for a step that is under way; later ones do nothing.
    void close();

private:
    [[nodiscard]] QVariantMap storedSnapshot() const;
    void announce(std::function<void(Announcement &announcement)> change);
    QByteArray payload(const QVariantMap &stored);
    QByteArray payloadOfLocal(const QVariantMap &stored);

    const SnapshotPublisherPorts m_ports;
    const std::shared_ptr<SerialQueue> m_queue;
    const std::weak_ptr<Announcement> m_announcement;

    std::mutex m_mutex; // held by each step from its beginning to its end
    bool m_closed = false;
    std::unique_ptr<StreamListener> m_listener; ///< stays, even when it has failed
    QVariantMap m_servedSnapshot; ///< the one that was served last; holding it keeps its content from being changed in place
    QByteArray m_servedBytes;
};

void MacSnapshotBonjourPublisher::Server::createListener()
{
    const std::lock_guard lock(m_mutex);
    if (m_closed || m_listener)
        return;
    std::unique_ptr<StreamListener> listener = m_ports.makeListener();
    // The listener's thread holds nobody alive: who goes last there would wait for that thread.
    const auto started = listener->start(
        [queue = m_queue, weak = weak_from_this()](std::shared_ptr<StreamConnection> connection) {
            queue->async([weak, connection = std::move(connection)] {
                if (const auto server = weak.lock())
                    server->serve(*connection);
            });
        },
        [queue = m_queue, weak = weak_from_this()](const QString &error) {
            queue->async([weak, error] {
                if (const auto server = weak.lock())
                    server->listenerFailed(error);
            });
        });
    if (started.port == 0) {
        m_ports.log(QStringLiteral("MacSnapshotBonjourPublisher: start error: %@"), started.error);
        return;
    }
    const ServiceText text = revisionText(revisionString(storedSnapshot()));
    announce([registration = ServiceRegistration{m_ports.serviceName(), QStringLiteral("_rgfscanmac._tcp"), {}, started.port, text}](
                 Announcement &announcement) { announcement.publish(registration); });
    m_listener = std::move(listener);
    m_ports.log(QStringLiteral("MacSnapshotBonjourPublisher: advertising _rgfscanmac._tcp rev=%@"), revisionString(storedSnapshot()));
}

void MacSnapshotBonjourPublisher::Server::readvertise()
{
    const std::lock_guard lock(m_mutex);
    if (m_closed || !m_listener)
        return;
    m_servedSnapshot.clear(); // its memory is no longer needed
    m_servedBytes.clear();
    announce([text = revisionText(revisionString(storedSnapshot()))](Announcement &announcement) { announcement.setText(text); });
    m_ports.log(QStringLiteral("MacSnapshotBonjourPublisher: updated advertised rev=%@"), revisionString(storedSnapshot()));
}

void MacSnapshotBonjourPublisher::Server::serve(StreamConnection &connection)
{
    const std::lock_guard lock(m_mutex);
    if (!m_closed)
        connection.sendFinalMessage(payload(storedSnapshot()));
}

void MacSnapshotBonjourPublisher::Server::listenerFailed(const QString &error)
{
    const std::lock_guard lock(m_mutex);
    if (!m_closed)
        m_ports.log(QStringLiteral("MacSnapshotBonjourPublisher: listener failed: %@"), error);
}

void MacSnapshotBonjourPublisher::Server::close()
{
    std::unique_ptr<StreamListener> listener; // goes without the lock
    const std::lock_guard lock(m_mutex);
    m_closed = true;
    listener = std::move(m_listener);
}

QVariantMap MacSnapshotBonjourPublisher::Server::storedSnapshot() const
{
    return m_ports.settings.dictionary(QStringLiteral("latestLocalSnapshot"));
}

void MacSnapshotBonjourPublisher::Server::announce(std::function<void(Announcement &)> change)
{
    m_ports.dispatch.mainAsync([weak = m_announcement, change = std::move(change)] {
        if (const auto announcement = weak.lock())
            change(*announcement);
    });
}

QByteArray MacSnapshotBonjourPublisher::Server::payload(const QVariantMap &stored)
{
    static const QByteArray nothing = snapshotPayload({});
    if (stored.isEmpty())
        return nothing;
    const QString subnet = subnetOf(stored);
    if (!subnet.isEmpty() && m_ports.currentIPv4SubnetPrefixes().contains(subnet))
        return payloadOfLocal(stored);
    m_ports.log(QStringLiteral("MacSnapshotBonjourPublisher: withholding snapshot — subnet '%@' is not local"), subnet);
    return nothing;
}

/// Writing a snapshot with hundreds of devices takes as long as serving several clients. The store hands out the same dictionary until it is given
/// another one, so one look tells whether what was written last still holds.
QByteArray MacSnapshotBonjourPublisher::Server::payloadOfLocal(const QVariantMap &stored)
{
    if (!m_servedSnapshot.isSharedWith(stored)) {
        m_servedSnapshot = stored;
        m_servedBytes = snapshotPayload(stored);
    }
    return m_servedBytes;
}

MacSnapshotBonjourPublisher::MacSnapshotBonjourPublisher(const SnapshotPublisherPorts &ports)
    : m_notifications(ports.notifications), m_queue(ports.dispatch.makeSerialQueue()), m_announcement(std::make_shared<Announcement>(ports.services)),
      m_server(std::make_shared<Server>(ports, m_queue, m_announcement))
{
}

MacSnapshotBonjourPublisher::~MacSnapshotBonjourPublisher()
{
    m_observations.clear();
    m_server->close();
}

void MacSnapshotBonjourPublisher::start()
{
    enqueue(&Server::createListener);
    m_observations.push_back(
        m_notifications.observe(snapshotSavedNotification, [this](const Notification &notification) { snapshotSaved(notification); }));
}

void MacSnapshotBonjourPublisher::snapshotSaved(const Notification &)
{
    enqueue(&Server::readvertise);
}

void MacSnapshotBonjourPublisher::enqueue(void (Server::*step)())
{
    m_queue->async([weak = std::weak_ptr(m_server), step] {
        if (const auto server = weak.lock())
            ((*server).*step)();
    });
}

} // namespace lanterna
