#include "app/LocationAuthHelper.h"

#include "platform/NotificationNames.h"

namespace lanterna
{

LocationAuthHelper::LocationAuthHelper(LocationManager &locationManager, NotificationCenter &notifications, SystemLog &log)
    : m_locationManager(locationManager), m_notifications(notifications), m_log(log)
{
    m_locationManager.setDelegate([this](LocationAuthorizationStatus status) { locationManagerDidChangeAuthorizationStatus(status); });
}

LocationAuthHelper::~LocationAuthHelper()
{
    m_locationManager.setDelegate({});
}

void LocationAuthHelper::requestAuthorizationWithCompletion(Completion completion)
{
    {
        const std::lock_guard lock(m_mutex);
        m_completion = std::move(completion);
    }
    const LocationAuthorizationStatus status = m_locationManager.authorizationStatus();
    m_log(QStringLiteral("Location authorization status: %ld"), static_cast<int>(status));
    switch (status) {
    case LocationAuthorizationStatus::authorizedAlways:
        answer(true);
        return;
    case LocationAuthorizationStatus::restricted:
    case LocationAuthorizationStatus::denied:
        m_log(QStringLiteral("Location permission previously denied/restricted; not requesting again"));
        answer(false);
        return;
    case LocationAuthorizationStatus::notDetermined:
    case LocationAuthorizationStatus::authorizedWhenInUse:
        m_log(QStringLiteral("Requesting location always authorization..."));
        m_locationManager.requestAlwaysAuthorization();
        return;
    }
}

void LocationAuthHelper::postAuthorizationChanged(bool authorized)
{
    m_notifications.post(locationAuthorizationChangedNotification, {}, {{QStringLiteral("authorized"), authorized}});
}

void LocationAuthHelper::locationManagerDidChangeAuthorizationStatus(LocationAuthorizationStatus status)
{
    const bool authorized = status == LocationAuthorizationStatus::authorizedAlways;
    m_log(QStringLiteral("Location auth changed: %ld (authorized: %d)"), static_cast<int>(status), authorized);
    answer(authorized);
}

void LocationAuthHelper::answer(bool authorized)
{
    postAuthorizationChanged(authorized);
    Completion completion;
    {
        const std::lock_guard lock(m_mutex);
        completion.swap(m_completion);
    }
    if (completion)
        completion(authorized);
}

} // namespace lanterna
