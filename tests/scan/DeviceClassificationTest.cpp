#include "scan/DeviceClassification.h"

#include <gtest/gtest.h>

#include <QStringList>

using namespace lanterna;

namespace
{

QString typeOf(const QString &services, const QString &hostname = QStringLiteral("UNKNOWN"), const QString &dnsEntry = QStringLiteral("UNKNOWN"))
{
    RGFCoreScanDevice device;
    device.services = services;
    device.hostname = hostname;
    device.dnsEntry = dnsEntry;
    return inferDeviceType(device);
}

TEST(DeviceTypes, EachServiceGivesItsType)
{
    const QList<std::pair<const char *, const char *>> rules = {{"_appletv-v2._tcp.", "AppleTV"}, {"_mediaremotetv._tcp.", "AppleTV"},
        {"_ipp._tcp.", "Printer"}, {"_printer._tcp.", "Printer"}, {"_pdl-datastream._tcp.", "Printer"}, {"_scanner._tcp.", "Printer"},
        {"_homekit._tcp.", "SmartPlug"}, {"_hap._tcp.", "SmartPlug"}, {"_googlecast._tcp.", "Chromecast"}, {"_sonos._tcp.", "MusicPlayer"},
        {"_spotify-connect._tcp.", "MusicPlayer"}, {"_apple-mobdev2._tcp.", "iPhone"}, {"_ssh._tcp.", "UNKNOWN"}, {"", "UNKNOWN"}};
    for (const auto &[service, type] : rules)
        EXPECT_EQ(typeOf(QLatin1String(service)), QLatin1String(type)) << service;
}

TEST(DeviceTypes, EachNameGivesItsTypeFromReverseDNSOrTheDNSEntry)
{
    const QList<std::pair<const char *, const char *>> rules = {{"Vision-Pro.lan", "Vision_Pro"}, {"apple-vision.lan", "Vision_Pro"},
        {"adas-iphone.lan", "iPhone"}, {"ipad-mini.lan", "iPad_Air"}, {"macbook-air.lan", "MacBook_Pro"}, {"jims-imac.lan", "iMac"},
        {"mac-mini.lan", "MacMini"}, {"mac-studio.lan", "Mac_Studio"}, {"mac-pro.lan", "MacPro"}};
    for (const auto &[name, type] : rules) {
        EXPECT_EQ(typeOf("", QLatin1String(name)), QLatin1String(type)) << name;
        EXPECT_EQ(typeOf("", "UNKNOWN", QLatin1String(name)), QLatin1String(type)) << name;
    }
}

TEST(DeviceTypes, GameConsolesAreKnownByReverseDNSAlone)
{
    const QList<std::pair<const char *, const char *>> rules = {{"PlayStation-5.lan", "Game"}, {"xbox.lan", "Xbox"}, {"nintendo-switch.lan", "Game"}};
    for (const auto &[name, type] : rules) {
        EXPECT_EQ(typeOf("", QLatin1String(name)), QLatin1String(type)) << name;
        EXPECT_EQ(typeOf("", "UNKNOWN", QLatin1String(name)), "UNKNOWN") << name;
    }
}

TEST(DeviceTypes, AirPlaySpeakersAreHomePodsOnlyByName)
{
    const QString services = QStringLiteral("_airplay._tcp.,_raop._tcp.");
    EXPECT_EQ(typeOf(services, "kitchen.lan", "kitchen.local."), "UNKNOWN");
    EXPECT_EQ(typeOf(services, "homepod.lan"), "HomePod");
    EXPECT_EQ(typeOf(services, "UNKNOWN", "Kitchen-HomePod.local."), "HomePod");
    EXPECT_EQ(typeOf("_raop._tcp.", "homepod.lan"), "UNKNOWN");
}

TEST(DeviceTypes, FileServersAreStorageOnlyByTheirReverseDNSName)
{
    EXPECT_EQ(typeOf("_smb._tcp.", "diskstation.lan"), "UNKNOWN");
    EXPECT_EQ(typeOf("_smb._tcp.", "mynas.lan"), "NetStorage");
    EXPECT_EQ(typeOf("_afpovertcp._tcp.", "Synology.lan"), "NetStorage");
    EXPECT_EQ(typeOf("_smb._tcp.", "qnap.lan"), "NetStorage");
    EXPECT_EQ(typeOf("_smb._tcp.", "UNKNOWN", "mynas.local."), "UNKNOWN");
    EXPECT_EQ(typeOf("_smb._tcp.", "nas-of-the-imac.lan"), "NetStorage");
    EXPECT_EQ(typeOf("_smb._tcp.", "jims-imac.lan"), "iMac"); // a rule that does not fit lets the next ones try
}

TEST(DeviceTypes, TheFirstRuleThatFitsWins)
{
    EXPECT_EQ(typeOf("_googlecast._tcp.,_ipp._tcp."), "Printer");
    EXPECT_EQ(typeOf("_ipp._tcp.,_mediaremotetv._tcp."), "AppleTV");
    EXPECT_EQ(typeOf("_hap._tcp.", "ipad.lan"), "SmartPlug");
    EXPECT_EQ(typeOf("_AIRPLAY._tcp.,_GoogleCast._tcp."), "Chromecast"); // whatever the letters' case
}

bool isExcluded(const QVariantMap &prefs, const QString &ip = QStringLiteral("192.168.1.7"), const QString &mac = QStringLiteral("02:11:22:33:44:55"),
    const QString &hostname = QString())
{
    return shouldExcludeDevice(prefs, ip, mac, hostname);
}

TEST(Exclusion, WithoutAFilterNothingIsLeftOut)
{
    EXPECT_FALSE(shouldExcludeDevice(std::nullopt, "169.254.1.1", "UNKNOWN", "vmnet"));
    EXPECT_FALSE(allowsMulticast(std::nullopt));
}

TEST(Exclusion, BlacklistedAddressesAreLeftOut)
{
    EXPECT_TRUE(isExcluded({{"blacklistMACs", QVariantList{"02:11:22:33:44:55"}}}));
    EXPECT_FALSE(isExcluded({{"blacklistMACs", QVariantList{"02:11:22:33:44:56"}}}));
}

TEST(Exclusion, LinkLocalAddressesAreLeftOutUnlessAllowed)
{
    EXPECT_TRUE(isExcluded({}, "169.254.1.1"));
    EXPECT_FALSE(isExcluded({{"allowLinkLocal", true}}, "169.254.1.1"));
}

TEST(Exclusion, VirtualAdaptersAreLeftOutUnlessShown)
{
    for (const char *name : {"My Virtual Network", "vmnet8.lan", "vnic0", "Bridge100.lan"}) {
        EXPECT_TRUE(isExcluded({}, "192.168.1.7", "02:11:22:33:44:55", QLatin1String(name))) << name;
        EXPECT_FALSE(isExcluded({{"showVirtual", true}}, "192.168.1.7", "02:11:22:33:44:55", QLatin1String(name))) << name;
    }
    EXPECT_FALSE(isExcluded({}));
}

TEST(Exclusion, HidingLeavesOutOnlyDevicesWithoutAnAddress)
{
    const QVariantMap hiding{{"showHidden", false}};
    EXPECT_TRUE(isExcluded(hiding, "192.168.1.7", "UNKNOWN"));
    EXPECT_TRUE(isExcluded(hiding, "192.168.1.7", ""));
    EXPECT_FALSE(isExcluded(hiding));
    EXPECT_FALSE(isExcluded({}, "192.168.1.7", "UNKNOWN"));
    EXPECT_FALSE(isExcluded({{"showHidden", true}}, "192.168.1.7", "UNKNOWN"));
}

} // namespace
