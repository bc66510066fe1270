#include "scan/Customizations.h"

#include "scan/NetworkSnapshot.h"

#include <QStringList>

namespace lanterna
{

namespace
{

QString withoutQuotes(QStringView text)
{
    while (text.startsWith(u'"'))
        text = text.sliced(1);
    while (text.endsWith(u'"'))
        text.chop(1);
    return text.toString();
}

void addDevice(Customizations &customizations, QStringView piece)
{
    constexpr qsizetype vendorField = 6;
    const QList<QStringView> fields = piece.split(deviceFieldSeparator);
    if (fields.size() < 4)
        return;
    const QString mac = fields[3].toString().toUpper();
    if (mac.isEmpty() || mac == QLatin1String("UNKNOWN") || mac.contains(QLatin1String("XX:XX")))
        return;
    Customization fresh;
    fresh.name = withoutQuotes(fields[0]);
    fresh.deviceType = fields[1].toString();
    if (fields.size() > vendorField)
        fresh.vendor = withoutQuotes(fields[vendorField]);
    const auto existing = customizations.find(mac);
    if (existing == customizations.end())
        customizations.insert(mac, fresh);
    else if (replacesCustomization(*existing, fresh))
        *existing = fresh;
}

} // namespace

bool replacesCustomization(const Customization &existing, const Customization &fresh)
{
    const QLatin1String unknown("UNKNOWN");
    return (existing.deviceType == unknown && fresh.deviceType != unknown) || (!fresh.name.isEmpty() && fresh.name != existing.name);
}

void addCustomizations(Customizations &customizations, const QVariantMap &statusDict)
{
    const QVariant devices = statusDict.value(QStringLiteral("devices"));
    if (devices.typeId() != QMetaType::QString)
        return;
    const QString text = devices.toString();
    for (const QStringView piece : QStringView(text).split(deviceSeparator)) {
        if (const QStringView trimmed = piece.trimmed(); !trimmed.isEmpty())
            addDevice(customizations, trimmed);
    }
}

void addCustomizationsOfCloudDict(Customizations &customizations, const QVariantMap &cloudDict)
{
    for (auto entry = cloudDict.begin(); entry != cloudDict.end(); ++entry) {
        if (entry.key().startsWith(QLatin1String("CurrentNetworkStatus_")) && entry->typeId() == QMetaType::QVariantMap)
            addCustomizations(customizations, entry->toMap());
    }
}

} // namespace lanterna
