#pragma once

#include <functional>

namespace lanterna
{

/// Permission to learn where the machine is, on which reading the Wi-Fi name hangs. The numbers are the platform's.
enum class LocationAuthorizationStatus { notDetermined = 0, restricted = 1, denied = 2, authorizedAlways = 3, authorizedWhenInUse = 4 };

/// Answers and asks for the permission.
class LocationManager
{
public:
    virtual ~LocationManager() = default;
    /// The present status. Any thread.
    [[nodiscard]] virtual LocationAuthorizationStatus authorizationStatus() const = 0;
    /// Asks the person; the answer arrives through the callback of `setDelegate`, on the main thread.
    virtual void requestAlwaysAuthorization() = 0;
    /// Called with each new status, on the main thread.
    virtual void setDelegate(std::function<void(LocationAuthorizationStatus)> didChangeAuthorizationStatus) = 0;
};

} // namespace lanterna
