#include "scan/DeviceClassification.h"

#include <QStringList>

#include <algorithm>
#include <array>
#include <initializer_list>

namespace lanterna
{

namespace
{

struct NameRule {
    const char *part; // what the name contains, in lower case
    const char *type;
};

// Tried after the services, in this order, on the name from reverse DNS and on the DNS entry.
constexpr std::array nameRules = {
    NameRule{"vision-pro", "Vision_Pro"},
    NameRule{"apple-vision", "Vision_Pro"},
    NameRule{"iphone", "iPhone"},
    NameRule{"ipad", "iPad_Air"},
    NameRule{"macbook", "MacBook_Pro"},
    NameRule{"imac", "iMac"},
    NameRule{"mac-mini", "MacMini"},
    NameRule{"mac-studio", "Mac_Studio"},
    NameRule{"mac-pro", "MacPro"},
};

// Then these, on the name from reverse DNS alone.
constexpr std::array hostnameRules = {
    NameRule{"playstation", "Game"},
    NameRule{"xbox", "Xbox"},
    NameRule{"nintendo", "Game"},
};

bool containsAny(const QString &text, std::initializer_list<const char *> parts)
{
    return std::any_of(parts.begin(), parts.end(), [&](const char *part) { return text.contains(QLatin1String(part)); });
}

/// The type that the announced services give; null when they give none. All texts are lower case.
QString typeOfServices(const QString &services, const QString &hostname, const QString &dnsEntry)
{
    const auto offers = [&](std::initializer_list<const char *> types) { return containsAny(services, types); };
    if (offers({"_appletv", "_mediaremotetv"}))
        return QStringLiteral("AppleTV");
    if (offers({"_airplay"}) && offers({"_raop"}) && (containsAny(hostname, {"homepod"}) || containsAny(dnsEntry, {"homepod"})))
        return QStringLiteral("HomePod");
    if (offers({"_ipp", "_printer", "_pdl-datastream", "_scanner"}))
        return QStringLiteral("Printer");
    if (offers({"_smb", "_afpovertcp"}) && containsAny(hostname, {"nas", "synology", "qnap"}))
        return QStringLiteral("NetStorage");
    if (offers({"_homekit", "_hap"}))
        return QStringLiteral("SmartPlug");
    if (offers({"_googlecast"}))
        return QStringLiteral("Chromecast");
    if (offers({"_sonos", "_spotify-connect"}))
        return QStringLiteral("MusicPlayer");
    if (offers({"_apple-mobdev2"}))
        return QStringLiteral("iPhone");
    return {};
}

bool isTrue(const std::optional<ScanFilterPrefs> &prefs, const char *key)
{
    return prefs && prefs->value(QLatin1String(key)).toBool();
}

} // namespace

QString inferDeviceType(const RGFCoreScanDevice &device)
{
    const QString hostname = device.hostname.toLower();
    const QString dnsEntry = device.dnsEntry.toLower();
    if (const QString type = typeOfServices(device.services.toLower(), hostname, dnsEntry); !type.isNull())
        return type;
    for (const NameRule &rule : nameRules) {
        if (hostname.contains(QLatin1String(rule.part)) || dnsEntry.contains(QLatin1String(rule.part)))
            return QLatin1String(rule.type);
    }
    for (const NameRule &rule : hostnameRules) {
        if (hostname.contains(QLatin1String(rule.part)))
            return QLatin1String(rule.type);
    }
    return QStringLiteral("UNKNOWN");
}

bool shouldExcludeDevice(const std::optional<ScanFilterPrefs> &prefs, const QString &withIP, const QString &mac, const QString &hostname)
{
    if (!prefs)
        return false;
    if (prefs->value(QStringLiteral("blacklistMACs")).toStringList().contains(mac))
        return true;
    if (!isTrue(prefs, "allowLinkLocal") && withIP.startsWith(QLatin1String("169.254.")))
        return true;
    if (!isTrue(prefs, "showVirtual") && containsAny(hostname.toLower(), {"virtual network", "vmnet", "vnic", "bridge"}))
        return true;
    const QVariant showHidden = prefs->value(QStringLiteral("showHidden"));
    return showHidden.isValid() && !showHidden.toBool() && (mac.isEmpty() || mac == QLatin1String("UNKNOWN"));
}

bool allowsMulticast(const std::optional<ScanFilterPrefs> &prefs)
{
    return isTrue(prefs, "allowMulticast");
}

} // namespace lanterna
