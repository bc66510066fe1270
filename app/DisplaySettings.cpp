#include "app/DisplaySettings.h"

#include "app/AddressText.h"

namespace lanterna
{

qlonglong startDisplayMode(const SettingsStore &settings)
{
    const qlonglong stored = settings.integer(QStringLiteral("whichIP"));
    if (stored != 0)
        return stored;
    return settings.text(QStringLiteral("lan_or_wan")) == QLatin1String("WAN") ? wan : firstLAN;
}

bool wanLookupEnabled(const SettingsStore &settings)
{
    const QString key = QStringLiteral("WANLookupEnabled");
    return !settings.contains(key) || settings.boolean(key);
}

QString shownWANText(const SettingsStore &settings)
{
    if (!wanLookupEnabled(settings))
        return QStringLiteral("offline");
    const QString stored = settings.text(QStringLiteral("WANIP"));
    return stored.isEmpty() ? QStringLiteral("gathering...") : stored;
}

QStringList storedInterfaces(const SettingsStore &settings)
{
    QStringList texts;
    for (const QVariant &entry : settings.list(QStringLiteral("nics")))
        texts.append(entry.toString());
    return texts;
}

} // namespace lanterna
