#include "platform/linux/WatcherLink.h"

#include <QDBusError>
#include <QDBusVariant>

#include <algorithm>
#include <utility>

namespace lanterna
{

namespace
{

const QString watcherName = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString watcherPath = QStringLiteral("/StatusNotifierWatcher");

/// A watcher that does not answer at login mostly does a moment later; one that never does is asked about once a minute.
std::chrono::seconds retryDelay(int failures)
{
    return std::min(std::chrono::seconds(2) * failures, std::chrono::seconds(60));
}

} // namespace

WatcherLink::WatcherLink(const QDBusConnection &bus, const QString &itemPath, Dispatch &dispatch, std::function<void(const Panel &panel)> changed)
    : m_bus(bus), m_itemPath(itemPath), m_dispatch(dispatch), m_changed(std::move(changed)),
      m_ownerWatcher(watcherName, bus, QDBusServiceWatcher::WatchForOwnerChange),
      m_hostCame(bus, watcherPath, watcherName, QStringLiteral("StatusNotifierHostRegistered"),
          [this](const QDBusMessage &signal) {
              if (isFromWatcher(signal))
                  setHosted(true);
          }),
      m_hostLeft(bus, watcherPath, watcherName, QStringLiteral("StatusNotifierHostUnregistered"), [this](const QDBusMessage &signal) {
          // The last one or one of several: only the watcher knows.
          if (isFromWatcher(signal))
              readHosted();
      })
{
    QObject::connect(&m_ownerWatcher, &QDBusServiceWatcher::serviceOwnerChanged, &m_context,
        [this](const QString &, const QString &, const QString &owner) { watcherChanged(owner); });
    callBus(m_bus, busDaemonCall(QStringLiteral("GetNameOwner"), {watcherName}), &m_context, [this](const QDBusMessage &reply) {
        if (reply.type() == QDBusMessage::ReplyMessage && m_panel.watcher.isEmpty())
            watcherChanged(reply.arguments().value(0).toString());
    });
}

bool WatcherLink::isFromWatcher(const QDBusMessage &signal) const
{
    return !m_panel.watcher.isEmpty() && signal.service() == m_panel.watcher;
}

void WatcherLink::watcherChanged(const QString &owner)
{
    if (owner == m_panel.watcher)
        return;
    m_panel = {owner, false};
    m_failures = 0;
    m_retry.cancel();
    // Told before the registration goes out, so that what depends on the kind of panel is mostly known when the panel asks for it.
    m_changed(m_panel);
    if (!owner.isEmpty()) {
        registerItem();
        readHosted();
    }
}

void WatcherLink::registerItem()
{
    // By unique name: the call reaches the watcher that was seen, and never starts another.
    QDBusMessage call = QDBusMessage::createMethodCall(m_panel.watcher, watcherPath, watcherName, QStringLiteral("RegisterStatusNotifierItem"));
    call.setArguments({m_itemPath});
    callBus(m_bus, call, &m_context, [this, watcher = m_panel.watcher](const QDBusMessage &reply) {
        if (reply.type() == QDBusMessage::ReplyMessage || watcher != m_panel.watcher)
            return;
        m_retry = m_dispatch.performAfter(retryDelay(++m_failures), [this] {
            registerItem();
            readHosted();
        });
    });
}

void WatcherLink::readHosted()
{
    const QDBusMessage call = propertyGetCall(m_panel.watcher, watcherPath, watcherName, QStringLiteral("IsStatusNotifierHostRegistered"));
    callBus(m_bus, call, &m_context, [this, watcher = m_panel.watcher](const QDBusMessage &reply) {
        if (watcher != m_panel.watcher)
            return;
        if (reply.type() == QDBusMessage::ReplyMessage)
            setHosted(reply.arguments().value(0).value<QDBusVariant>().variant().toBool());
        else if (QDBusError(reply).type() == QDBusError::UnknownProperty || QDBusError(reply).type() == QDBusError::InvalidArgs)
            setHosted(true); // a watcher that does not count its hosts is part of the panel
    });
}

void WatcherLink::setHosted(bool hosted)
{
    const bool sameAbsence = !hosted && !m_panel.hosted;
    m_panel.hosted = hosted;
    if (!sameAbsence)
        m_changed(m_panel);
}

} // namespace lanterna
