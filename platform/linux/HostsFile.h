#pragma once

#include <QByteArrayView>
#include <QHash>
#include <QString>

namespace lanterna
{

/// The names in the text of a hosts file (hosts(5)) by IPv4 address in host order. Of several names the first counts, of several lines for an address
/// the first with a usable name. Lines that make no sense are passed over. Pure; any thread.
[[nodiscard]] QHash<quint32, QString> hostsFileNames(QByteArrayView text);

/// Whether the text of nsswitch.conf(5) names more sources of host names than the hosts file and DNS. Without a line for hosts it does not. Pure; any
/// thread.
[[nodiscard]] bool namesMoreHostSources(QByteArrayView nameServiceSwitch);

} // namespace lanterna
