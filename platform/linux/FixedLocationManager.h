#pragma once

#include "platform/Dispatch.h"
#include "platform/LocationManager.h"
#include "platform/WiFiClient.h"

#include <memory>

namespace lanterna
{

/// The permission on a system that has none for this: always granted, unless a sandbox refuses the question for the Wi-Fi name; that is denied.
///
/// Nobody can be asked, so a request is answered with the present status. Each reading of the status asks the Wi-Fi client; one that differs from the
/// reading before it is also told to the delegate. The dispatch and the Wi-Fi client must outlive it.
class FixedLocationManager : public LocationManager
{
public:
    FixedLocationManager(Dispatch &dispatch, const WiFiClient &wiFiClient);
    ~FixedLocationManager() override;

    [[nodiscard]] LocationAuthorizationStatus authorizationStatus() const override;
    void requestAlwaysAuthorization() override;
    void setDelegate(std::function<void(LocationAuthorizationStatus)> didChangeAuthorizationStatus) override;

private:
    struct Shared;
    /// Asks the Wi-Fi client and remembers the answer; `changed` when it is not that of the reading before.
    struct Reading {
        LocationAuthorizationStatus status;
        bool changed;
    };
    [[nodiscard]] Reading read() const;
    void tellDelegate(LocationAuthorizationStatus status) const;

    Dispatch &m_dispatch;
    const WiFiClient &m_wiFiClient;
    std::shared_ptr<Shared> m_shared; // outlives calls to the delegate that wait on the main queue
};

} // namespace lanterna
