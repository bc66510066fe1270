#include "scan/DeviceList.h"

#include <algorithm>
#include <vector>

namespace lanterna
{

namespace
{

const QLatin1String unknown("UNKNOWN");

struct Entry {
    std::vector<int> octets;
    QString address;
    QString mac;
};

std::vector<int> octetsOf(const QString &address)
{
    std::vector<int> octets;
    octets.reserve(4);
    for (const QStringView part : QStringView(address).split(u'.'))
        octets.push_back(part.toInt());
    return octets;
}

/// Broadcast and network addresses, groups, and what the filter leaves out.
bool isLeftOut(const ScanFindings &findings, const Entry &entry)
{
    constexpr int lastUnicast = 223; // groups (RFC 5771) and reserved addresses follow
    const int last = entry.octets.back();
    if (entry.mac.isEmpty() || entry.mac == QLatin1String("FF:FF:FF:FF:FF:FF") || last == 0 || last == 255)
        return true;
    if (entry.octets.front() > lastUnicast && !allowsMulticast(findings.filterPrefs))
        return true;
    return shouldExcludeDevice(findings.filterPrefs, entry.address, entry.mac, findings.dnsNames.value(entry.address));
}

void customize(RGFCoreScanDevice &device, const Customizations &customizations)
{
    const auto found = customizations.find(device.macAddress);
    if (found == customizations.end())
        return;
    if (!found->name.isEmpty())
        device.deviceName = found->name;
    if (!found->deviceType.isEmpty() && found->deviceType != unknown)
        device.deviceType = found->deviceType;
    if (!found->vendor.isEmpty() && found->vendor != unknown)
        device.vendorInfo = found->vendor;
}

QString nameOf(const QString &dnsName, QString localName, const QString &address)
{
    if (!dnsName.isEmpty() && dnsName != unknown)
        return dnsName;
    if (localName.endsWith(u'.'))
        localName.chop(1);
    return localName.isEmpty() ? address : localName;
}

RGFCoreScanDevice deviceOf(const ScanFindings &findings, const Entry &entry)
{
    const QString dnsName = findings.dnsNames.value(entry.address);
    const QString localName = findings.localNames.value(entry.address);
    RGFCoreScanDevice device;
    device.ipAddress = entry.address;
    device.macAddress = entry.mac;
    device.isPingable = !findings.pingable || findings.pingable->contains(entry.address);
    if (!dnsName.isEmpty())
        device.hostname = device.dnsEntry = dnsName;
    if (!localName.isEmpty())
        device.dnsEntry = localName;
    if (const QStringList services = findings.services.value(entry.address); !services.isEmpty())
        device.services = services.join(u',');
    customize(device, findings.customizations);
    if (device.deviceName.isEmpty())
        device.deviceName = nameOf(dnsName, localName, entry.address);
    if (device.deviceType == unknown)
        device.deviceType = inferDeviceType(device);
    if (device.deviceType == unknown && entry.address.endsWith(QLatin1String(".1")))
        device.deviceType = QStringLiteral("Router");
    return device;
}

} // namespace

QList<RGFCoreScanDevice> devicesOf(const ScanFindings &findings)
{
    std::vector<Entry> entries;
    entries.reserve(size_t(findings.arpTable.size()));
    for (auto row = findings.arpTable.begin(); row != findings.arpTable.end(); ++row)
        entries.push_back({octetsOf(row.key()), row.key(), row.value().toUpper()});
    std::stable_sort(entries.begin(), entries.end(), [](const Entry &one, const Entry &other) { return one.octets < other.octets; });

    QList<RGFCoreScanDevice> devices;
    devices.reserve(qsizetype(entries.size()));
    for (const Entry &entry : entries) {
        if (!isLeftOut(findings, entry))
            devices.append(deviceOf(findings, entry));
    }
    return devices;
}

} // namespace lanterna
