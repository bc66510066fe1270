#include "platform/linux/WakeWatcher.h"

#include <algorithm>
#include <utility>

namespace lanterna
{

namespace
{

constexpr std::chrono::seconds firstRetryDelay{1}; // a bus that restarts is back by then, as a rule
constexpr std::chrono::seconds longestRetryDelay{60}; // a container without a bus costs one connect() a minute

} // namespace

WakeWatcher::WakeWatcher(Dispatch &dispatch, std::function<void()> wokeFromSleep, QString busAddress)
    : m_dispatch(dispatch), m_wokeFromSleep(std::move(wokeFromSleep)), m_busAddress(std::move(busAddress)),
      m_connectionName(QStringLiteral("lanterna-wake-%1").arg(quintptr(this))), m_retryDelay(firstRetryDelay)
{
}

WakeWatcher::~WakeWatcher()
{
    QDBusConnection::disconnectFromBus(m_connectionName);
}

void WakeWatcher::start()
{
    connectToBus();
}

bool WakeWatcher::connected() const
{
    return QDBusConnection(m_connectionName).isConnected();
}

void WakeWatcher::connectToBus()
{
    QDBusConnection bus = m_busAddress.isEmpty() ? QDBusConnection::connectToBus(QDBusConnection::SystemBus, m_connectionName)
                                                 : QDBusConnection::connectToBus(m_busAddress, m_connectionName);
    if (!bus.isConnected()) {
        retryLater();
        return;
    }
    m_retryDelay = firstRetryDelay;
    bus.connect(QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"), QStringLiteral("org.freedesktop.login1.Manager"),
        QStringLiteral("PrepareForSleep"), this, SLOT(prepareForSleep(bool)));
    // The client library itself raises this signal when the connection is gone.
    bus.connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"), QStringLiteral("org.freedesktop.DBus.Local"),
        QStringLiteral("Disconnected"), this, SLOT(busClosed()));
}

void WakeWatcher::prepareForSleep(bool aboutToSleep)
{
    // Sent twice: with true before the machine sleeps, with false after it woke.
    if (!aboutToSleep && m_wokeFromSleep)
        m_wokeFromSleep();
}

void WakeWatcher::busClosed()
{
    retryLater();
}

void WakeWatcher::retryLater()
{
    // A closed connection keeps its name, and a new one under it would be the closed one again.
    QDBusConnection::disconnectFromBus(m_connectionName);
    m_retryTimer = m_dispatch.performAfter(m_retryDelay, [this] { connectToBus(); });
    m_retryDelay = std::min(m_retryDelay * 2, longestRetryDelay);
}

} // namespace lanterna
