#pragma once

#include "platform/Dispatch.h"

#include <QDBusConnection>
#include <QObject>
#include <QString>

#include <functional>

namespace lanterna
{

/// Tells when the machine wakes from sleep: logind's signal PrepareForSleep(false) on the system bus.
///
/// Keeps a bus connection of its own, because a shared one that the bus has closed cannot be opened again. While there is no bus it tries again after
/// 1 s, 2 s and so on up to a minute apart; while there is one it only listens. Main thread only. The dispatch must outlive it.
class WakeWatcher : public QObject
{
    Q_OBJECT

public:
    /// `busAddress` is the D-Bus address to use; empty for the system bus.
    WakeWatcher(Dispatch &dispatch, std::function<void()> wokeFromSleep, QString busAddress = {});
    ~WakeWatcher() override;

    /// Connects, or begins to try.
    void start();
    /// Whether there is a bus now.
    [[nodiscard]] bool connected() const;

private Q_SLOTS:
    void prepareForSleep(bool aboutToSleep);
    void busClosed();

private:
    void connectToBus();
    void retryLater();

    Dispatch &m_dispatch;
    std::function<void()> m_wokeFromSleep;
    QString m_busAddress;
    QString m_connectionName; // QtDBus knows connections by name, one per process
    std::chrono::seconds m_retryDelay; // until the next try; doubles with each failure
    TimerHandle m_retryTimer;
};

} // namespace lanterna
