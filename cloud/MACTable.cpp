#include "cloud/MACTable.h"

#include "platform/SystemLog.h"

#include <QLocale>

namespace lanterna
{

namespace
{

const QString lastUpdateKey = QStringLiteral("lastUpdate");
const QString usPattern = QStringLiteral("MM/dd/yyyy HH:mm");

/// The character that stands for another one in a "lastUpdate", as the readers of the tables expect it.
struct Replacement {
    QChar character;
    QChar written;
};
constexpr Replacement replacements[] = {{u'/', u'!'}, {u' ', u'_'}, {u':', u'*'}};
constexpr QLatin1String endMark(" +");

bool isUS(const QString &localeIdentifier)
{
    return localeIdentifier == QLatin1String("en_US") || localeIdentifier == QLatin1String("en_US_POSIX");
}

bool isDictionary(const QVariant &value)
{
    return value.typeId() == QMetaType::QVariantMap;
}

bool isEmptyEntry(const QVariant &value)
{
    if (!isDictionary(value))
        return true;
    const QVariantMap table = value.toMap();
    return table.size() == (table.contains(lastUpdateKey) ? 1 : 0);
}

} // namespace

MACTable macTable(const ARPTable &arpTable, const QString &lastUpdate)
{
    MACTable table;
    for (auto entry = arpTable.cbegin(); entry != arpTable.cend(); ++entry) {
        if (entry.value() != QLatin1String("ff:ff:ff:ff:ff:ff"))
            table.entries.insert(entry.key(), entry.value());
    }
    table.count = table.entries.size();
    table.entries.insert(lastUpdateKey, lastUpdate);
    return table;
}

QString lastUpdateText(const QDateTime &moment, const QString &localeIdentifier)
{
    const QString pattern = isUS(localeIdentifier) ? usPattern : QStringLiteral("dd-MM-yyyy', 'HH:mm");
    QString text = QLocale(localeIdentifier).toString(moment.toLocalTime(), pattern);
    for (const auto &[character, written] : replacements)
        text.replace(character, written);
    return text + endMark;
}

DecodedLastUpdate decodeLastUpdate(const QString &lastUpdate)
{
    DecodedLastUpdate decoded;
    decoded.text = lastUpdate.left(lastUpdate.indexOf(endMark)); // all of it without the mark, since -1 stands for everything
    for (const auto &[character, written] : replacements)
        decoded.text.replace(written, character);
    decoded.date = QDateTime::fromString(decoded.text, usPattern);
    return decoded;
}

std::optional<DecodedLastUpdate> lastUpdateOfNetwork(const QVariantMap &tables, const QString &currentWiFiName)
{
    if (currentWiFiName.isNull())
        return std::nullopt;
    QVariant table = tables.value(currentWiFiName);
    if (!isDictionary(table))
        table = tables.value(currentWiFiName + QStringLiteral(" 5GHz"));
    const QVariant lastUpdate = table.toMap().value(lastUpdateKey);
    if (lastUpdate.typeId() != QMetaType::QString)
        return std::nullopt;
    return decodeLastUpdate(lastUpdate.toString());
}

QString networkKey(const QString &associatedWiFiNetwork, const QString &currentWiFiName)
{
    const bool followsCurrent = associatedWiFiNetwork.isNull() || associatedWiFiNetwork == QLatin1String("current");
    const QString &key = followsCurrent ? currentWiFiName : associatedWiFiNetwork;
    return key.isNull() ? QStringLiteral("") : key; // nothing would be logged as "(null)"
}

QStringList removeEmptyNetworkEntries(QVariantMap &tables)
{
    QStringList removed;
    for (auto entry = tables.cbegin(); entry != tables.cend(); ++entry) {
        if (isEmptyEntry(entry.value()))
            removed.append(entry.key());
    }
    for (const QString &key : std::as_const(removed))
        tables.remove(key);
    return removed;
}

MACTablesUpdate updatedMACTables(
    const QVariantMap &inMemory, const QVariant &stored, const QString &networkKey, const MACTable &table, bool appleTVNetwork)
{
    MACTablesUpdate update = {isDictionary(stored) ? stored.toMap() : inMemory, {}};
    if (!networkKey.isEmpty() && table.count > 0) {
        update.tables.remove(QString());
        update.tables.insert(networkKey, table.entries);
    } else if (!networkKey.isEmpty()) {
        update.lines += formatText(QStringLiteral("CKMacSync: no devices discovered for '%@' — skipping iCloud entry"), {networkKey});
    } else {
        update.lines += QStringLiteral("CKMacSync: no networkKey — skipping MACAddressesByNetworkSegment update");
    }
    if (appleTVNetwork && table.count > 0)
        update.tables.insert(QStringLiteral("AppleTVNetwork"), table.entries);
    for (const QString &removed : removeEmptyNetworkEntries(update.tables))
        update.lines += formatText(QStringLiteral("cleanup: removing empty network entry '%@'"), {removed});
    return update;
}

} // namespace lanterna
