#pragma once

#include <QByteArrayView>
#include <QString>

namespace lanterna
{

/// The PRETTY_HOSTNAME in the text of a machine-info file (machine-info(5): assignments in the shell's manner, quoted or not); the last one counts.
/// Empty where there is none, or none in UTF-8. Pure; any thread.
QString prettyHostName(QByteArrayView machineInfo);

/// The name under which this machine announces services, 1 to 63 bytes of UTF-8: that of /etc/machine-info, where systemd-hostnamed keeps what people
/// call the machine, else the host name up to its first dot. Asks no service, reads one small file; any thread.
QString machineServiceName();

} // namespace lanterna
