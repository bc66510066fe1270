#include "cloud/WebDAVRecordFile.h"

#include "cloud/HttpExchange.h"
#include "platform/Json.h"

#include <QCryptographicHash>

#include <algorithm>

namespace lanterna
{

namespace
{

constexpr qlonglong formatVersion = 1;
constexpr qsizetype longestPlainName = 200; // file systems end at 255, and servers add endings of their own while they write
const QLatin1String ending(".record");

QByteArray sha256(QByteArrayView bytes)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(bytes);
    return hash.result().toHex();
}

QByteArray describingLine(const Record &record, const QString &version)
{
    QVariantMap texts;
    for (auto text = record.texts.cbegin(); text != record.texts.cend(); ++text)
        texts.insert(text.key(), text.value());
    QVariantList assets;
    for (auto asset = record.assets.cbegin(); asset != record.assets.cend(); ++asset)
        assets.append(QVariantMap{{QStringLiteral("name"), asset.key()}, {QStringLiteral("size"), qlonglong(asset->size())},
            {QStringLiteral("sha256"), QString::fromLatin1(sha256(*asset))}});
    return compactJson(QVariantMap{{QStringLiteral("format"), formatVersion}, {QStringLiteral("recordName"), record.recordName},
        {QStringLiteral("recordType"), record.recordType}, {QStringLiteral("modificationDate"), record.modificationDate.toString(Qt::ISODateWithMs)},
        {QStringLiteral("version"), version}, {QStringLiteral("texts"), texts}, {QStringLiteral("assets"), assets}});
}

struct AssetPlace {
    QString name;
    qlonglong size = 0;
    QByteArray hash;
};

/// A member of the line that has to be there and to have the type.
template <typename Value> std::optional<Value> member(const QVariantMap &map, const char *name)
{
    const QVariant value = map.value(QLatin1String(name));
    return value.metaType() == QMetaType::fromType<Value>() ? std::optional(value.value<Value>()) : std::nullopt;
}

std::optional<QList<AssetPlace>> readPlaces(const QVariantList &assets)
{
    QList<AssetPlace> places;
    for (const QVariant &each : assets) {
        const QVariantMap map = each.toMap();
        const auto name = member<QString>(map, "name");
        const auto size = member<qlonglong>(map, "size");
        const auto hash = member<QString>(map, "sha256");
        const auto hasName = [&](const AssetPlace &place) { return place.name == *name; };
        if (!name || !size || !hash || *size < 0 || std::ranges::any_of(places, hasName))
            return std::nullopt;
        places.append({*name, *size, hash->toLatin1()});
    }
    return places;
}

/// The record that the line describes, all its assets empty.
std::optional<Record> readDescription(const QVariantMap &map, QList<AssetPlace> &places)
{
    const auto recordName = member<QString>(map, "recordName");
    const auto recordType = member<QString>(map, "recordType");
    const auto date = member<QString>(map, "modificationDate");
    const auto texts = member<QVariantMap>(map, "texts");
    const auto assets = member<QVariantList>(map, "assets");
    if (member<qlonglong>(map, "format") != formatVersion || !recordName || !recordType || !date || !texts || !assets)
        return std::nullopt;
    Record record;
    record.recordName = *recordName;
    record.recordType = *recordType;
    record.modificationDate = QDateTime::fromString(*date, Qt::ISODateWithMs).toUTC();
    for (auto text = texts->cbegin(); text != texts->cend(); ++text) {
        if (text->typeId() != QMetaType::QString)
            return std::nullopt;
        record.texts.insert(text.key(), text->toString());
    }
    const auto found = readPlaces(*assets);
    if (!found || !record.modificationDate.isValid() || !isRecordWord(record.recordName) || !isRecordWord(record.recordType))
        return std::nullopt;
    places = *found;
    for (const AssetPlace &place : places)
        record.assets.insert(place.name, {});
    return record;
}

/// Whether the bytes behind the line are exactly the assets; takes them if so.
bool takeAssets(const QByteArray &bytes, qsizetype at, const QList<AssetPlace> &places, Record &record)
{
    QMap<QString, QByteArray> assets;
    for (const AssetPlace &place : places) {
        if (place.size > largestWebDAVAsset || place.size > bytes.size() - at)
            return false;
        const QByteArray asset = bytes.mid(at, qsizetype(place.size));
        if (sha256(asset) != place.hash)
            return false;
        assets.insert(place.name, asset);
        at += asset.size();
    }
    if (at != bytes.size())
        return false;
    record.assets = assets;
    return true;
}

} // namespace

MadeRecordFile makeWebDAVRecordFile(const Record &record, const QDateTime &modificationDate, const QString &version)
{
    MadeRecordFile made;
    made.record = record;
    made.record.modificationDate = modificationDate.toUTC();
    for (QString &text : made.record.texts)
        text = wellFormedText(text);
    QByteArray bytes = describingLine(made.record, version);
    if (bytes.size() > longestWebDAVHeader)
        made.problem = QStringLiteral("The texts of the record are longer than 1 MB.");
    made.record.changeTag = QString::fromLatin1(sha256(bytes));
    bytes += '\n';
    for (const QByteArray &asset : record.assets) {
        if (asset.size() > largestWebDAVAsset || bytes.size() + asset.size() > HttpExchange::largestBody)
            made.problem = QStringLiteral("The record holds more than 50 MB.");
        if (made.problem.isEmpty())
            bytes += asset;
    }
    if (made.problem.isEmpty())
        made.bytes = bytes;
    return made;
}

ReadRecordFile readWebDAVRecordFile(const QByteArray &bytes)
{
    ReadRecordFile read;
    // Only what can be one is given to the parser: whatever else has this name may be large.
    const qsizetype end = bytes.startsWith('{') ? QByteArrayView(bytes).first(std::min(bytes.size(), longestWebDAVHeader + 1)).indexOf('\n') : -1;
    if (end < 0)
        return read;
    const QByteArray line = bytes.left(end);
    const std::optional<QVariant> json = parseJson(line);
    QList<AssetPlace> places;
    const auto record = json && json->typeId() == QMetaType::QVariantMap ? readDescription(json->toMap(), places) : std::nullopt;
    if (!record)
        return read;
    read.record = *record;
    read.record.changeTag = QString::fromLatin1(sha256(line));
    read.state = takeAssets(bytes, end + 1, places, read.record) ? ReadRecordFile::State::whole : ReadRecordFile::State::damaged;
    return read;
}

QString webDAVResourceName(const QString &recordName)
{
    if (recordName.size() <= longestPlainName)
        return recordName + ending;
    return recordName.left(longestPlainName - 65) + u'-' + QString::fromLatin1(sha256(recordName.toLatin1())) + ending;
}

bool isWebDAVResourceName(const QString &fileName)
{
    return fileName.endsWith(ending) && isRecordWord(fileName.chopped(ending.size()));
}

bool isRecordWord(const QString &word)
{
    const auto allowed = [](QChar c) {
        return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') || c == u'.' || c == u'_' || c == u'-';
    };
    return !word.isEmpty() && word.size() <= 255 && std::ranges::all_of(word, allowed);
}

} // namespace lanterna
