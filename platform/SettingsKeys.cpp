#include "platform/SettingsKeys.h"

#include "platform/Json.h"
#include "platform/SettingsConversions.h"
#include "platform/SettingsValue.h"

#include <QDateTime>

#include <algorithm>
#include <array>

namespace lanterna
{

namespace
{

using enum SettingType;

// Sorted by name.
constexpr std::array keys = {
    SettingKey{"AppleTVNetwork", boolean, "whether a media remote was found on the network; removed at quit"},
    SettingKey{"LANIP", text, "local address that was shown last"},
    SettingKey{"LTN_lastReviewRequestVersion", text, "version for which a review was last asked for"},
    SettingKey{"LTN_totalRuntimeSeconds", integer, "seconds that the program has run, in steps of 60"},
    SettingKey{"LTN_usefulActionCount", integer, "number of addresses copied"},
    SettingKey{"LastImportedCloudKitDict", dictionary, "document that was last read from the cloud"},
    SettingKey{"MACAddressesByNetworkSegment", dictionary, "hardware addresses by network and IP address; removed at quit"},
    SettingKey{"WANIP", text, "public address that was shown last, \"offline\" or \"unavailable\""},
    SettingKey{"WANLookupEnabled", boolean, "whether the public address is asked for; yes when absent"},
    SettingKey{"associatedWiFiNetwork", text, "network name under which data is filed; \"current\" follows the connected one", true},
    SettingKey{"cloudBackend", text, "where the cloud document is kept: embedded (here; when absent), cloudkit or webdav"},
    SettingKey{"cloudCredentialsDate", date, "when password or session of the cloud were last changed"},
    SettingKey{"cloudKitAPIToken", text, "API token of the owner's iCloud container"},
    SettingKey{"cloudKitBaseURL", text, "address of the iCloud web service, in place of the usual one"},
    SettingKey{"cloudKitCallback", text, "where a browser comes back to after signing in: http://127.0.0.1:PORT/PATH"},
    SettingKey{"cloudKitContainer", text, "name of the owner's iCloud container"},
    SettingKey{"cloudKitEnvironment", text, "environment of the iCloud container: development or production"},
    SettingKey{"cloudKitSessionServer", text, "the server that the kept session is with"},
    SettingKey{"cloudKitThrottle", dictionary, "how long the iCloud web service does not want to be asked"},
    SettingKey{"cloudKitUser", text, "name of the iCloud account that signed in last"},
    SettingKey{"cloudLastError", text, "why the cloud document could not be saved or read the last time"},
    SettingKey{"cloudLastSave", date, "when the cloud document was last saved"},
    SettingKey{"cloudLastStore", text, "the store that the last save and the last error were of"},
    SettingKey{"cloudWebDAVPasswordServer", text, "the server that the kept password is for"},
    SettingKey{"cloudWebDAVURL", text, "address of the WebDAV folder for the cloud document"},
    SettingKey{"cloudWebDAVUser", text, "user of the WebDAV server; the password is asked for and kept with the secrets"},
    SettingKey{"configurationURL", text, "URL of the text that names the endpoint for the public address"},
    SettingKey{"currentDisplayedWiFiName", text, "network name that the menu shows; removed at start and at quit"},
    SettingKey{"currentTitle", text, "title that was shown last"},
    SettingKey{"currentWiFiName", text, "network of the latest scan; removed at start and at quit"},
    SettingKey{"first_run", text, "present once the first launch has been done"},
    SettingKey{"hasShownWelcomePopover", boolean, "whether the welcome card has been acknowledged"},
    SettingKey{"hiddenInterfaces", list, "patterns of interface names that the address list leaves out, in place of the built-in ones"},
    SettingKey{"iCloud_MAC_Sync", boolean, "whether hardware addresses go to the cloud; set at every start"},
    SettingKey{"ignoredInterfaces", list, "patterns of interface names whose networks are not scanned; none when absent"},
    SettingKey{"lan_or_wan", text, "\"LAN\" or \"WAN\", for a whichIP of 0"},
    SettingKey{"lastICloudActivityUpdateDate", date, "when the hardware addresses were last changed here"},
    SettingKey{"latestLocalSnapshot", dictionary, "latest snapshot of the local network"},
    SettingKey{"latestSnapshotMacSig", text, "signature of the latest snapshot's hardware addresses"},
    SettingKey{"launchAtLogin", boolean, "whether the program starts with the session"},
    SettingKey{"nics", list, "texts of the active interfaces, in place of the live list"},
    SettingKey{"previousNetworkAddresses", dictionary, "last addresses by interface"},
    SettingKey{"realWiFiAvailable", boolean, "whether a Wi-Fi name could be read at the last scan"},
    SettingKey{"recentICloudActivity", dictionary, "hardware addresses by network, as last edited or sent"},
    SettingKey{"rendezvous_frequency", text, "presence makes the service refresh follow the LAN period"},
    SettingKey{"showCurrentUser", boolean, "whether the user's name is announced on the network", true},
    SettingKey{"showInterfaceName", boolean, "whether the title names the interface", true},
    SettingKey{"showMACAddresses", boolean, "whether hardware addresses are kept and shared", true},
    SettingKey{"statusItemText", text, "how a panel shows the title: auto, label, icon or lastOctets"},
    SettingKey{"updateFrequencyLAN", text, "seconds between two looks at the local network", true},
    SettingKey{"updateFrequencyWAN", text, "minutes between two questions for the public address", true},
    SettingKey{"whichIP", integer, "1 first local address, 2 public address, 3 second local address, 4 icon only", true},
    SettingKey{"wiFiStubSSID", text, "network name to use where none can be read"},
};

static_assert(std::is_sorted(
    keys.begin(), keys.end(), [](const SettingKey &a, const SettingKey &b) { return std::string_view(a.name) < std::string_view(b.name); }));

ParsedSetting failure(const QString &text, const QString &expected)
{
    // Cut, for the message is one line.
    constexpr qsizetype longestQuote = 40;
    const QString quote = text.size() > longestQuote ? text.left(longestQuote) + QStringLiteral("...") : text;
    return {{}, QStringLiteral("\"%1\" is not %2").arg(quote.simplified(), expected)};
}

ParsedSetting parseInteger(const QString &text)
{
    bool valid = false;
    const qlonglong number = text.trimmed().toLongLong(&valid, 10);
    return valid ? ParsedSetting{number, {}} : failure(text, QStringLiteral("an integer of 64 bits"));
}

ParsedSetting parseBoolean(const QString &text)
{
    const QString word = text.trimmed().toLower();
    if (word == u"yes" || word == u"true" || word == u"1")
        return {true, {}};
    if (word == u"no" || word == u"false" || word == u"0")
        return {false, {}};
    return failure(text, QStringLiteral("a boolean (yes, no, true, false, 1 or 0)"));
}

ParsedSetting parseDate(const QString &text)
{
    QDateTime date = QDateTime::fromString(text.trimmed(), Qt::ISODateWithMs);
    if (date.timeSpec() == Qt::LocalTime)
        date.setTimeSpec(Qt::UTC);
    const std::optional<QVariant> value = canonicalValue(date);
    return value && value->isValid() ? ParsedSetting{*value, {}} : failure(text, QStringLiteral("a date (such as 2026-03-01T12:30:00Z)"));
}

ParsedSetting parseCollection(const QString &text, QMetaType::Type type, const QString &expected)
{
    const std::optional<QVariant> json = parseJson(text.toUtf8());
    const std::optional<QVariant> value = json ? canonicalValue(decodeValue(*json)) : std::nullopt;
    return value && value->typeId() == type ? ParsedSetting{*value, {}} : failure(text, expected);
}

} // namespace

std::span<const SettingKey> settingKeys()
{
    return keys;
}

const SettingKey *settingKey(const QString &name)
{
    const auto found = std::find_if(keys.begin(), keys.end(), [&](const SettingKey &key) { return name == QLatin1String(key.name); });
    return found == keys.end() ? nullptr : &*found;
}

QString settingTypeName(SettingType type)
{
    switch (type) {
    case text:
        return QStringLiteral("text");
    case integer:
        return QStringLiteral("integer");
    case boolean:
        return QStringLiteral("boolean");
    case date:
        return QStringLiteral("date");
    case list:
        return QStringLiteral("list");
    case dictionary:
        return QStringLiteral("dictionary");
    }
    return {};
}

ParsedSetting parseSetting(SettingType type, const QString &typed)
{
    switch (type) {
    case text:
        return {wellFormedText(typed.isNull() ? QStringLiteral("") : typed), {}};
    case integer:
        return parseInteger(typed);
    case boolean:
        return parseBoolean(typed);
    case date:
        return parseDate(typed);
    case list:
        return parseCollection(typed, QMetaType::QVariantList, QStringLiteral("a list in JSON (such as [\"eth*\"])"));
    case dictionary:
        return parseCollection(typed, QMetaType::QVariantMap, QStringLiteral("a dictionary in JSON (such as {\"en0\": \"en0: 10.0.0.5\"})"));
    }
    return {};
}

QString renderSetting(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    case QMetaType::QDateTime:
        return value.toDateTime().toUTC().toString(value.toDateTime().time().msec() == 0 ? Qt::ISODate : Qt::ISODateWithMs);
    case QMetaType::QVariantList:
    case QMetaType::QVariantMap:
        return QString::fromUtf8(compactJson(encodeValue(value)));
    default:
        return settingAsText(value);
    }
}

} // namespace lanterna
