#pragma once

#include "platform/HostNames.h"
#include "platform/linux/NameChoice.h"
#include "platform/linux/SystemNames.h"

#include <QByteArray>

#include <memory>

namespace lanterna
{

/// Where names come from; the defaults are the system's own.
struct HostNameSources {
    QByteArray hostsFile = "/etc/hosts";
    QByteArray resolverConfiguration = "/etc/resolv.conf";
    QByteArray nameServiceSwitch = "/etc/nsswitch.conf";
    quint16 devicePort = 5353;
    SystemNames::Resolver systemName = &SystemNames::systemName;
    NamePatience patience;
};

/// Names of hosts from the hosts file, from DNS and the devices themselves at the same time, and of what is left from the system's resolver, where that has more sources than the first two.
///
/// Each look-up has a thread of its own, which waits for all of its hosts at once; where the system gives none, nothing is looked up and `done` never
/// comes. Dropping the handle ends and joins it; that takes as long as a callback that is under way. The system's resolver blocks on up to 16 further
/// threads for all look-ups together, which nobody waits for: a program that must not hang at its end leaves by _Exit. DNS names win over those of
/// devices, see NameChoice.h; every name that has an answer within four seconds is told within that time, and a look-up ends after five. The files are
/// read anew at each look-up. Text that is no dotted IPv4 address is passed over.
class LinuxHostNames : public HostNames
{
public:
    explicit LinuxHostNames(const HostNameSources &sources = {});

    [[nodiscard]] std::shared_ptr<void> lookUp(const QStringList &addresses, Found found, Done done) override;

private:
    HostNameSources m_sources;
    std::shared_ptr<SystemNames> m_system;
};

} // namespace lanterna
