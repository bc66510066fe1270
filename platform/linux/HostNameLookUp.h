#pragma once

#include "platform/linux/DeviceNames.h"
#include "platform/linux/DomainNames.h"
#include "platform/linux/LinuxHostNames.h"

#include <QHash>
#include <QList>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

namespace lanterna
{

/// One look-up on its own thread. The constructor starts it, the destructor ends it; both on any thread but its own. Where the system
/// gives no thread, nothing is looked up and nothing is called.
class HostNameLookUp
{
public:
    /// Addresses are in host order, each once.
    HostNameLookUp(
        const HostNameSources &sources, std::shared_ptr<SystemNames> system, QList<quint32> addresses, HostNames::Found found, HostNames::Done done);
    ~HostNameLookUp();
    HostNameLookUp(const HostNameLookUp &) = delete;
    HostNameLookUp &operator=(const HostNameLookUp &) = delete;

private:
    using Clock = DeviceNames::Clock;

    void run();
    void readFiles();
    void race(Readiness &readiness);
    void askMore(Clock::time_point now);
    void takeSystemAnswers();
    void considerAllAtTurningPoints();
    /// Adds to what is known of a host, unless the matter is closed already.
    void learn(quint32 address, const std::function<void(NameEvidence &known)> &edit);
    /// Takes the next step for an open host.
    void consider(quint32 address);
    /// Closes the matter, with a name or without one.
    void settle(quint32 address, const QString &name);
    [[nodiscard]] std::chrono::milliseconds sinceStart() const;

    const HostNameSources m_sources;
    const std::shared_ptr<SystemNames> m_system;
    const std::shared_ptr<SystemInquiry> m_inquiry = std::make_shared<SystemInquiry>(); // its bell also rings for the end
    const QList<quint32> m_addresses;
    const HostNames::Found m_found;
    const HostNames::Done m_done;
    const Clock::time_point m_start = Clock::now();
    std::atomic<bool> m_stopped = false;

    // The thread's own.
    QHash<quint32, NameEvidence> m_open; // the hosts without a verdict
    qsizetype m_asked = 0; // so many of the addresses, from the first one
    std::chrono::milliseconds m_considered{0}; // when all were looked at
    std::optional<DomainNames> m_domain;
    std::optional<DeviceNames> m_devices;

    std::thread m_thread; // last: it uses all the others
};

} // namespace lanterna
