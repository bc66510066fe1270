#pragma once

#include <QString>

namespace lanterna
{

/// The name under which the host is announced for one interface: "lighthouse, Ada Keeper: eth0: 192.168.1.20".
QString presenceName(const QString &machineName, const QString &user, const QString &interfaceText);

/// Whether an interface text stands for an address at which others reach this host: it is not empty, and 127.0.0.1 does not occur in it.
bool isAnnounced(const QString &interfaceText);

/// Whether a name fits into the label that carries it: 1 to 63 bytes of UTF-8 (RFC 6763, section 4.1.1).
bool fitsServiceName(const QString &name);

/// The whole standard output of a shell command, read as UTF-8 (replacement characters for what is none). It is read line by line, in pieces of at
/// most 1,023 bytes; of a piece that holds a zero byte only what stands before it counts. Empty for a command with other than ASCII characters, which
/// is not run, and for one that cannot be started. Waits for the command to end; its standard error is this process's.
QString shellOutput(const QString &command);

} // namespace lanterna
