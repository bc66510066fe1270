#include "scan/RGFCoreScanDevice.h"

#include <QStringList>

namespace lanterna
{

QString RGFCoreScanDevice::formattedDeviceString(const QString &formattedAt) const
{
    const QString quote = QStringLiteral("\"");
    const QString &name = deviceName.isEmpty() ? hostname : deviceName;
    const QStringList fields = {quote + name + quote, deviceType, ipAddress, macAddress, ipv6Address, dnsEntry, quote + vendorInfo + quote,
        formattedAt, isPingable ? QStringLiteral("ping: 1") : QStringLiteral("ping: 0"), QStringLiteral(""), services, notes};
    return fields.join(QStringLiteral("|*|"));
}

} // namespace lanterna
