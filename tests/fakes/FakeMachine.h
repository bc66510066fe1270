#pragma once

#include "platform/KernelTables.h"
#include "platform/LocationManager.h"
#include "platform/SystemEvents.h"

#include <utility>

namespace lanterna
{

/// A machine with the interfaces that a test gives it. One thread at a time.
class FakeKernelTables : public KernelTables
{
public:
    [[nodiscard]] QString routingTableText() const override { return routes; }
    [[nodiscard]] QString neighbourTableText() const override { return neighbours; }
    [[nodiscard]] std::shared_ptr<void> keepNeighbours() const override
    {
        ++keepers;
        return std::shared_ptr<void>(nullptr, [this](void *) { --keepers; });
    }
    [[nodiscard]] QList<InterfaceAddress> interfaceAddresses() const override
    {
        ++readings;
        return addresses;
    }

    /// Adds an address of an interface that is up and running.
    void add(const QString &name, const QString &address)
    {
        InterfaceAddress entry;
        entry.name = name;
        entry.address = address;
        entry.prefixLength = 24;
        entry.up = entry.running = true;
        entry.loopback = address.startsWith(QLatin1String("127."));
        addresses.append(entry);
    }

    QString routes = QStringLiteral("");
    QString neighbours = QStringLiteral("");
    QList<InterfaceAddress> addresses;
    mutable int readings = 0; ///< how often the list was asked for
    mutable int keepers = 0; ///< handles of `keepNeighbours` that are held
};

/// Events at the test's word.
class FakeSystemEvents : public SystemEvents
{
public:
    void start(std::function<void()> changed, std::function<void()> woke) override
    {
        networkChanged = std::move(changed);
        wokeFromSleep = std::move(woke);
    }

    std::function<void()> networkChanged;
    std::function<void()> wokeFromSleep;
};

/// A permission that the test grants and takes, and a person who is asked.
class FakeLocationManager : public LocationManager
{
public:
    [[nodiscard]] LocationAuthorizationStatus authorizationStatus() const override { return status; }
    void requestAlwaysAuthorization() override { ++requests; }
    void setDelegate(std::function<void(LocationAuthorizationStatus)> didChange) override { m_delegate = std::move(didChange); }

    /// The person, or the system's settings, decides.
    void decide(LocationAuthorizationStatus decision)
    {
        status = decision;
        m_delegate(decision);
    }

    LocationAuthorizationStatus status = LocationAuthorizationStatus::notDetermined;
    int requests = 0;

private:
    std::function<void(LocationAuthorizationStatus)> m_delegate;
};

} // namespace lanterna
