#include "platform/linux/LinuxHostNames.h"

#include "platform/linux/HostNameLookUp.h"

#include <QSet>
#include <QtEndian>

#include <utility>

#include <arpa/inet.h>

namespace lanterna
{

namespace
{

/// In host order, each once, in the order given.
QList<quint32> parsedAddresses(const QStringList &texts)
{
    QList<quint32> addresses;
    QSet<quint32> seen;
    for (const QString &text : texts) {
        in_addr address = {};
        if (inet_pton(AF_INET, text.toUtf8().constData(), &address) != 1)
            continue;
        const quint32 number = qFromBigEndian<quint32>(address.s_addr);
        if (seen.contains(number))
            continue;
        seen.insert(number);
        addresses.append(number);
    }
    return addresses;
}

} // namespace

LinuxHostNames::LinuxHostNames(const HostNameSources &sources) : m_sources(sources), m_system(std::make_shared<SystemNames>(sources.systemName)) { }

std::shared_ptr<void> LinuxHostNames::lookUp(const QStringList &addresses, Found found, Done done)
{
    return std::make_shared<HostNameLookUp>(m_sources, m_system, parsedAddresses(addresses), std::move(found), std::move(done));
}

} // namespace lanterna
