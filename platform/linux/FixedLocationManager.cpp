#include "platform/linux/FixedLocationManager.h"

#include <mutex>
#include <optional>
#include <utility>

namespace lanterna
{

struct FixedLocationManager::Shared {
    std::mutex mutex;
    std::function<void(LocationAuthorizationStatus)> delegate;
    std::optional<LocationAuthorizationStatus> lastStatus;
};

FixedLocationManager::FixedLocationManager(Dispatch &dispatch, const WiFiClient &wiFiClient)
    : m_dispatch(dispatch), m_wiFiClient(wiFiClient), m_shared(std::make_shared<Shared>())
{
}

FixedLocationManager::~FixedLocationManager()
{
    // A call that waits on the main queue finds nobody.
    setDelegate(nullptr);
}

LocationAuthorizationStatus FixedLocationManager::authorizationStatus() const
{
    const Reading reading = read();
    if (reading.changed)
        tellDelegate(reading.status);
    return reading.status;
}

void FixedLocationManager::requestAlwaysAuthorization()
{
    tellDelegate(read().status);
}

FixedLocationManager::Reading FixedLocationManager::read() const
{
    // Asked before the lock is taken: it takes milliseconds.
    const bool refused = m_wiFiClient.state().permissionDenied;
    const auto status = refused ? LocationAuthorizationStatus::denied : LocationAuthorizationStatus::authorizedAlways;
    const std::lock_guard lock(m_shared->mutex);
    const auto before = std::exchange(m_shared->lastStatus, status);
    return {status, before && *before != status};
}

void FixedLocationManager::setDelegate(std::function<void(LocationAuthorizationStatus)> didChangeAuthorizationStatus)
{
    const std::lock_guard lock(m_shared->mutex);
    m_shared->delegate = std::move(didChangeAuthorizationStatus);
}

void FixedLocationManager::tellDelegate(LocationAuthorizationStatus status) const
{
    m_dispatch.mainAsync([shared = m_shared, status] {
        std::function<void(LocationAuthorizationStatus)> delegate;
        {
            const std::lock_guard lock(shared->mutex);
            delegate = shared->delegate;
        }
        // Outside the lock: the delegate may read the status or replace itself.
        if (delegate)
            delegate(status);
    });
}

} // namespace lanterna
