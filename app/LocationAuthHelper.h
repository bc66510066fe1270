#pragma once

#include "platform/Dispatch.h"
#include "platform/LocationManager.h"
#include "platform/NotificationCenter.h"
#include "platform/SystemLog.h"

#include <functional>
#include <mutex>

namespace lanterna
{

/// Asks for the location permission on which reading the Wi-Fi name hangs, and broadcasts its state. One instance per program; any thread.
///
/// Only "authorised always" counts as authorised. Each answer is posted as "LTNLocationAuthorizationChangedNotification" with the user info
/// "authorized".
class LocationAuthHelper
{
public:
    using Completion = std::function<void(bool authorized)>;

    LocationAuthHelper(LocationManager &locationManager, NotificationCenter &notifications, SystemLog &log);
    ~LocationAuthHelper();
    LocationAuthHelper(const LocationAuthHelper &) = delete;
    LocationAuthHelper &operator=(const LocationAuthHelper &) = delete;

    /// Answers at once when the status is decided; else asks the person, and the answer comes later on the main thread. A person who refused is not
    /// asked again. A new request takes the place of one that still waits.
    void requestAuthorizationWithCompletion(Completion completion);
    /// Posts the notification.
    void postAuthorizationChanged(bool authorized);
    /// The location manager's delegate call.
    void locationManagerDidChangeAuthorizationStatus(LocationAuthorizationStatus status);

private:
    void answer(bool authorized);

    LocationManager &m_locationManager;
    NotificationCenter &m_notifications;
    SystemLog &m_log;
    std::mutex m_mutex;
    Completion m_completion;
};

} // namespace lanterna
