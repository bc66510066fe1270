#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

namespace lanterna
{

/// IPv4 address text to hardware address text, as `normalizeMACAddress` gives it.
using ARPTable = QMap<QString, QString>;

// Reading the kernel's tables as text. Pure functions, for any thread; they read the forms of this program's own kernel port and of BSD's commands.

/// The gateway of the first usable default route: of the lines that begin with "default", the second word of the first whose second word holds a "."
/// and does not begin with "link#". Lines whose interface one of the patterns matches are passed over. Empty when no line qualifies.
QString defaultGateway(const QString &routingTableText, const QStringList &ignoredInterfaces = {});

/// The resolved rows ("? (192.168.1.7) at 0:1b:63:a:b:c on en0"). A later row for an address replaces an earlier one; rows whose fourth word is no
/// hardware address of 11 to 17 characters are left out.
ARPTable parseARPTable(const QString &neighbourTableText);

/// Six parts separated by ":" become two upper-case digits each ("a:b:c:d:e:f" gives "0A:0B:0C:0D:0E:0F"); any other text is returned as it is.
QString normalizeMACAddress(const QString &macAddress);

/// The first three octets of an address ("192.168.1"): whatever stands before the last dot; empty when there is none.
QString subnetPrefix(const QString &address);

} // namespace lanterna
