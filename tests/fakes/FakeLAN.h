#pragma once

#include "platform/ChildProcesses.h"
#include "platform/HostNames.h"
#include "platform/HostTester.h"
#include "platform/ProbeSockets.h"
#include "platform/ServiceDiscovery.h"
#include "tests/fakes/FakeMachine.h"
#include "tests/fakes/VirtualDispatch.h"

#include <optional>

namespace lanterna
{

/// A device of the LAN, with the time that each of its answers takes; without a time it never gives that answer.
struct FakeHost {
    using Delay = std::optional<std::chrono::milliseconds>;

    QString address;
    QString mac;
    QString name; ///< in the name server; empty for none
    QString localName; ///< over multicast DNS, "printer.local."
    QStringList services; ///< "_ipp._tcp."
    Delay arp = std::chrono::milliseconds(2);
    Delay nameDelay = std::chrono::milliseconds(20);
    Delay tcp = std::chrono::milliseconds(5);
    Delay found = std::chrono::milliseconds(100); ///< when browsing hears of its services
    Delay resolved = std::chrono::milliseconds(50); ///< how long each of them takes then
    std::optional<QStringList> serviceAddresses; ///< where its services say that they are; else its own address
};

/// One packet or command, as the LAN saw it.
struct SeenProbe {
    std::chrono::nanoseconds at{};
    QString what; ///< "icmp", "udp", "broadcast", "multicast", "tcp" or "ping"
    QString host; ///< of a ping: all of its arguments
    quint16 port = 0;
    QByteArray payload;
};

/// A whole LAN in virtual time: whoever is probed answers the kernel after its delay, and names, tests and services come when they come.
class FakeLAN : public FakeKernelTables, public ProbeSockets, public ChildProcesses, public HostNames, public HostTester, public ServiceDiscovery
{
public:
    explicit FakeLAN(VirtualDispatch &dispatch) : m_dispatch(dispatch) { }

    // Kernel
    [[nodiscard]] QString neighbourTableText() const override;
    // Sweep
    [[nodiscard]] Opened openICMP() override;
    [[nodiscard]] Opened openUDP(ProbeAudience audience) override;
    [[nodiscard]] std::shared_ptr<void> startConnect(const QString &address, quint16 port) override;
    void run(const QStringList &command) override;
    void start(const QStringList &command) override;
    // Names and tests
    [[nodiscard]] std::shared_ptr<void> lookUp(const QStringList &ofHosts, HostNames::Found found, HostNames::Done done) override;
    [[nodiscard]] std::shared_ptr<void> test(const QStringList &ofHosts, const HostTest &test, Answered answered, HostTester::Done done) override;
    // Services
    [[nodiscard]] std::shared_ptr<void> searchForServices(
        const QString &ofType, const QString &inDomain, DidFindService found, DidNotSearch didNotSearch) override;
    [[nodiscard]] std::shared_ptr<void> watchForServices(const QString &ofType, const QString &inDomain, DidFindService found) override;
    [[nodiscard]] std::shared_ptr<void> resolve(const ServiceInstance &service, std::chrono::milliseconds withTimeout, DidResolve resolved) override;

    QList<FakeHost> hosts;
    bool refusesICMP = false;
    bool refusesUDP = false;
    bool refusesBroadcast = false;

    QList<SeenProbe> seen;
    QStringList searches; ///< types that were searched for, in order
    QStringList searchDomains; ///< in which they were searched for, each once
    /// A search in the background; the test calls `found`.
    struct Watch {
        QString type;
        QString domain;
        DidFindService found;
    };
    QList<std::shared_ptr<Watch>> watches; ///< those that are open
    int openSearches = 0;
    int openSockets = 0; ///< of any kind
    HostTest lastTest; ///< what the last test asked for
    std::chrono::milliseconds lastTimeout{}; ///< of the last resolution

private:
    class Socket;

    void probed(SeenProbe probe);
    [[nodiscard]] const FakeHost *hostAt(const QString &address) const;
    /// Runs the task after the delay, unless the handle goes first.
    void later(const std::shared_ptr<char> &handle, std::chrono::milliseconds delay, Task task);

    VirtualDispatch &m_dispatch;
    QMap<QString, std::chrono::nanoseconds> m_probedAt; // first probe of each address
};

} // namespace lanterna
