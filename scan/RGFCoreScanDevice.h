#pragma once

#include <QString>

namespace lanterna
{

/// One device that a scan found. A plain value.
struct RGFCoreScanDevice {
    bool isPingable = false; ///< the host answered the quick TCP test
    QString ipAddress = QStringLiteral(""); ///< dotted IPv4
    QString macAddress = QStringLiteral("UNKNOWN"); ///< upper case, separated by colons
    QString hostname = QStringLiteral("UNKNOWN"); ///< name from reverse DNS
    QString deviceName = QStringLiteral(""); ///< what people read
    QString deviceType = QStringLiteral("UNKNOWN"); ///< a name of `inferDeviceType`, "Router", or the owner's own word
    QString ipv6Address = QStringLiteral("UNKNOWN"); ///< never filled by the scan
    QString dnsEntry = QStringLiteral("UNKNOWN"); ///< name from reverse DNS, or the Bonjour host name in its place
    QString vendorInfo = QStringLiteral("UNKNOWN"); ///< manufacturer, only from the owner's customisations
    QString services = QStringLiteral(""); ///< Bonjour service types joined by ","
    QString notes = QStringLiteral("No notes found"); ///< free text

    /// One line of the device list: twelve fields joined by "|*|". `formattedAt` is local time as "MM-dd-yyyy, HH:mm".
    [[nodiscard]] QString formattedDeviceString(const QString &formattedAt) const;

    bool operator==(const RGFCoreScanDevice &) const = default;
};

} // namespace lanterna
