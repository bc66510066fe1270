#include "scan/NetworkSnapshot.h"

#include <QSet>
#include <QStringList>

#include <algorithm>

namespace lanterna
{

namespace
{

/// Whether a hardware address in upper case is one by which a device can be known again.
bool isRealMAC(const QString &mac)
{
    static const QSet<QString> placeholders = {
        QStringLiteral("00:00:00:00:00:00"), QStringLiteral("02:00:00:00:00:00"), QStringLiteral("FF:FF:FF:FF:FF:FF")};
    return !mac.contains(QLatin1String("UNKNOWN")) && !placeholders.contains(mac);
}

/// Never a null text, which the settings would take for nothing.
QString present(const QString &text)
{
    return text.isNull() ? QStringLiteral("") : text;
}

} // namespace

QString deviceListText(const QList<RGFCoreScanDevice> &devices, const QString &formattedAt)
{
    QString text = QStringLiteral("");
    for (const RGFCoreScanDevice &device : devices) {
        if (!text.isEmpty())
            text += deviceSeparator;
        text += device.formattedDeviceString(formattedAt) + u'\n';
    }
    return text;
}

quint64 fnv1a(QByteArrayView bytes)
{
    // Offset basis and prime of the 64-bit form.
    quint64 hash = 0xcbf29ce484222325;
    for (const char byte : bytes)
        hash = (hash ^ quint8(byte)) * 0x100000001b3;
    return hash;
}

QString macTableSignature(const QList<RGFCoreScanDevice> &devices)
{
    QStringList pairs;
    for (const RGFCoreScanDevice &device : devices) {
        const QString mac = device.macAddress.toUpper();
        if (!device.ipAddress.isEmpty() && !mac.isEmpty() && isRealMAC(mac))
            pairs.append(device.ipAddress + u'=' + mac);
    }
    std::sort(pairs.begin(), pairs.end());
    return QString::number(fnv1a(pairs.join(u';').toUtf8()), 16);
}

QString snapshotDate(const QDateTime &moment)
{
    return moment.toLocalTime().toString(QStringLiteral("MM-dd-yyyy, HH:mm"));
}

QVariantMap networkSnapshot(const QList<RGFCoreScanDevice> &devices, const QString &ssid, const QString &subnet, const QDateTime &savedAt)
{
    const QString date = snapshotDate(savedAt);
    return {
        {QStringLiteral("devices"), deviceListText(devices, date)},
        {QStringLiteral("ssid"), present(ssid)},
        {QStringLiteral("subnet"), present(subnet)},
        {QStringLiteral("date"), date},
        {QStringLiteral("dateEpoch"), double(savedAt.toMSecsSinceEpoch()) / 1000.0},
        {QStringLiteral("source"), QStringLiteral("Lanterna")},
        {QStringLiteral("macSig"), macTableSignature(devices)},
    };
}

} // namespace lanterna
