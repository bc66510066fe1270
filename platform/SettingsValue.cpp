#include "platform/SettingsValue.h"

#include "platform/Json.h"

#include <QDateTime>

#include <bit>
#include <cmath>

namespace lanterna
{

namespace
{

const QString dateKey = QStringLiteral("$date");
const QString fileKey = QStringLiteral("$file");

/// Whole milliseconds up to here are exact in a double, the only number that some programs read.
constexpr qint64 largestMilliseconds = qint64{1} << 53;

/// Whether this is the one key of a dictionary with a meaning of its own, or an escaped form of it.
bool isMarker(const QString &key)
{
    qsizetype dollars = 0;
    while (dollars < key.size() && key[dollars] == u'$')
        ++dollars;
    const QStringView word = QStringView(key).mid(dollars);
    return dollars > 0 && (word == u"date" || word == u"file");
}

/// Whether the value is canonical, and its JSON form the same, without a closer look. So are nearly all values inside large dictionaries.
bool isPlain(const QVariant &value)
{
    if (value.typeId() != QMetaType::QString)
        return value.typeId() == QMetaType::Bool || value.typeId() == QMetaType::LongLong;
    const auto *text = static_cast<const QString *>(value.constData());
    return !text->isNull() && text->isValidUtf16();
}

std::optional<QVariant> canonicalAtDepth(const QVariant &value, int depth);

std::optional<QVariant> canonicalDictionary(const QVariantMap &dictionary, int depth)
{
    if (depth >= maximumSettingDepth)
        return std::nullopt;
    QVariantMap result = dictionary; // shared until something differs
    for (auto entry = dictionary.cbegin(); entry != dictionary.cend(); ++entry) {
        const bool soundKey = entry.key().isValidUtf16();
        if (soundKey && isPlain(entry.value()))
            continue;
        std::optional<QVariant> value = canonicalAtDepth(entry.value(), depth + 1);
        if (!value)
            return std::nullopt;
        if (!soundKey)
            result.remove(entry.key());
        result.insert(wellFormedText(entry.key()), *std::move(value));
    }
    return result;
}

std::optional<QVariant> canonicalList(const QVariantList &list, int depth)
{
    if (depth >= maximumSettingDepth)
        return std::nullopt;
    QVariantList result;
    result.reserve(list.size());
    for (const QVariant &element : list) {
        std::optional<QVariant> value = canonicalAtDepth(element, depth + 1);
        if (!value)
            return std::nullopt;
        result.append(*std::move(value));
    }
    return result;
}

QVariantMap ordered(const QVariantHash &hash)
{
    QVariantMap result;
    for (auto entry = hash.cbegin(); entry != hash.cend(); ++entry)
        result.insert(entry.key(), entry.value());
    return result;
}

std::optional<QVariant> canonicalDate(const QDateTime &date)
{
    if (!date.isValid())
        return QVariant();
    const qint64 milliseconds = date.toMSecsSinceEpoch();
    if (milliseconds < -largestMilliseconds || milliseconds > largestMilliseconds)
        return std::nullopt;
    return QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC);
}

std::optional<QVariant> canonicalReal(double value)
{
    return std::isfinite(value) ? std::optional<QVariant>(value) : std::nullopt;
}

QVariant canonicalUnsigned(qulonglong value)
{
    return value <= qulonglong(std::numeric_limits<qlonglong>::max()) ? QVariant(qlonglong(value)) : QVariant(value);
}

std::optional<QVariant> canonicalAtDepth(const QVariant &value, int depth)
{
    switch (value.typeId()) {
    case QMetaType::UnknownType:
    case QMetaType::Nullptr:
        return QVariant();
    case QMetaType::Bool:
        return value;
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::Short:
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::LongLong:
        return value.toLongLong();
    case QMetaType::UChar:
    case QMetaType::UShort:
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        return canonicalUnsigned(value.toULongLong());
    case QMetaType::Float:
    case QMetaType::Double:
        return canonicalReal(value.toDouble());
    case QMetaType::QString:
        return value.toString().isNull() ? QVariant() : QVariant(wellFormedText(value.toString()));
    case QMetaType::QDateTime:
        return canonicalDate(value.toDateTime());
    case QMetaType::QStringList:
    case QMetaType::QVariantList:
        return canonicalList(value.toList(), depth);
    case QMetaType::QVariantMap:
        return canonicalDictionary(value.toMap(), depth);
    case QMetaType::QVariantHash:
        return canonicalDictionary(ordered(value.toHash()), depth);
    default:
        return std::nullopt;
    }
}

bool sameDictionary(const QVariantMap &a, const QVariantMap &b)
{
    const auto sameEntry = [](const auto &x, const auto &y) { return x.first == y.first && sameValue(x.second, y.second); };
    return a.size() == b.size() && std::equal(a.constKeyValueBegin(), a.constKeyValueEnd(), b.constKeyValueBegin(), sameEntry);
}

/// The dictionary with its values converted; shared with the old one where nothing differs.
QVariantMap converted(const QVariantMap &dictionary, QVariant (*convert)(const QVariant &))
{
    QVariantMap result = dictionary;
    for (auto entry = dictionary.cbegin(); entry != dictionary.cend(); ++entry) {
        if (!isPlain(entry.value()))
            result[entry.key()] = convert(entry.value());
    }
    return result;
}

QVariantList converted(const QVariantList &list, QVariant (*convert)(const QVariant &))
{
    QVariantList result;
    result.reserve(list.size());
    for (const QVariant &element : list)
        result.append(convert(element));
    return result;
}

QVariant encodeDate(const QDateTime &date)
{
    const qint64 milliseconds = date.toMSecsSinceEpoch();
    const bool whole = milliseconds % 1000 == 0;
    return QVariantMap{{dateKey, whole ? QVariant(qlonglong{milliseconds / 1000}) : QVariant(double(milliseconds) / 1000)}};
}

/// The date that a number of seconds means; an invalid value when it is no number or out of range.
QVariant decodeDate(const QVariant &seconds)
{
    if (seconds.typeId() != QMetaType::LongLong && seconds.typeId() != QMetaType::Double)
        return {};
    const double milliseconds = seconds.toDouble() * 1000;
    if (std::abs(milliseconds) > double(largestMilliseconds))
        return {};
    return QDateTime::fromMSecsSinceEpoch(std::llround(milliseconds), Qt::UTC);
}

} // namespace

std::optional<QVariant> canonicalValue(const QVariant &value)
{
    return canonicalAtDepth(value, 0);
}

bool sameValue(const QVariant &a, const QVariant &b)
{
    if (a.typeId() != b.typeId())
        return false;
    switch (a.typeId()) {
    case QMetaType::UnknownType:
        return true;
    case QMetaType::Double:
        return std::bit_cast<quint64>(a.toDouble()) == std::bit_cast<quint64>(b.toDouble());
    case QMetaType::QVariantMap:
        return sameDictionary(a.toMap(), b.toMap());
    case QMetaType::QVariantList: {
        const QVariantList first = a.toList();
        const QVariantList second = b.toList();
        return std::equal(first.cbegin(), first.cend(), second.cbegin(), second.cend(), sameValue);
    }
    default:
        return a == b;
    }
}

QVariant encodeValue(const QVariant &value)
{
    if (value.typeId() == QMetaType::QDateTime)
        return encodeDate(value.toDateTime());
    if (value.typeId() == QMetaType::QVariantList)
        return converted(value.toList(), encodeValue);
    if (value.typeId() != QMetaType::QVariantMap)
        return value;
    const QVariantMap dictionary = value.toMap();
    if (dictionary.size() == 1 && isMarker(dictionary.firstKey()))
        return QVariantMap{{u'$' + dictionary.firstKey(), encodeValue(dictionary.first())}};
    return converted(dictionary, encodeValue);
}

QVariant decodeValue(const QVariant &json)
{
    if (json.typeId() == QMetaType::QVariantList)
        return converted(json.toList(), decodeValue);
    if (json.typeId() != QMetaType::QVariantMap)
        return json;
    const QVariantMap dictionary = json.toMap();
    if (dictionary.size() == 1 && dictionary.firstKey() == dateKey) {
        const QVariant date = decodeDate(dictionary.first());
        if (date.isValid())
            return date;
    }
    if (dictionary.size() == 1 && isMarker(dictionary.firstKey()) && dictionary.firstKey().startsWith(u"$$"))
        return QVariantMap{{dictionary.firstKey().mid(1), decodeValue(dictionary.first())}};
    return converted(dictionary, decodeValue);
}

QVariant encodeFileReference(const QString &fileName)
{
    return QVariantMap{{fileKey, fileName}};
}

std::optional<QString> fileReference(const QVariant &json)
{
    if (json.typeId() != QMetaType::QVariantMap)
        return std::nullopt;
    const QVariantMap dictionary = json.toMap();
    if (dictionary.size() != 1 || dictionary.firstKey() != fileKey || dictionary.first().typeId() != QMetaType::QString)
        return std::nullopt;
    return dictionary.first().toString();
}

} // namespace lanterna
