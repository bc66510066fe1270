#include "cloud/CloudDocument.h"

#include "cloud/JsonOutline.h"
#include "platform/Json.h"
#include "platform/SettingsValue.h"

#include <QHash>

#include <array>
#include <cmath>
#include <utility>

namespace lanterna
{

namespace
{

/// The document's text without a byte order mark.
QByteArrayView textOf(const QByteArray &bytes)
{
    const QByteArrayView text(bytes);
    return text.startsWith("\xef\xbb\xbf") ? text.sliced(3) : text;
}

/// The text that a key stands for. Escaped surrogates without a partner stand for none: such a key is known by its bytes, quotes included, lest it be
/// taken for another.
QString keyText(QByteArrayView key)
{
    if (!key.contains('\\'))
        return QString::fromUtf8(key.sliced(1, key.size() - 2));
    const QString text = parseJson(key.toByteArray()).value_or(QVariant()).toString();
    return text.contains(QChar::ReplacementCharacter) ? QString::fromUtf8(key) : text;
}

/// A member on its way into the new document.
struct Member {
    QString name;
    QByteArrayView key;
    QByteArrayView value;
};

/// The members that count, where they stand.
std::vector<Member> countingMembers(const std::vector<JsonMember> &all)
{
    std::vector<Member> members;
    members.reserve(all.size());
    QHash<QString, const JsonMember *> last;
    for (const JsonMember &member : all) {
        members.push_back({keyText(member.key), member.key, member.value});
        last.insert(members.back().name, &member);
    }
    std::erase_if(members, [&](const Member &member) { return last.value(member.name)->key.data() != member.key.data(); });
    return members;
}

/// What JSON cannot hold in a value: what it is and where, such as "a date at MACAddressesByNetworkSegment/Home/since". Nothing when it can hold all.
std::optional<QString> obstacle(const QVariant &value, const QString &place, int depth = 0);

QString obstacleAt(const QString &what, const QString &place)
{
    return QStringLiteral("%1 at %2").arg(what, place);
}

QString tooManyLevels()
{
    return QStringLiteral("more than %1 levels").arg(maximumSettingDepth);
}

std::optional<QString> obstacleInDictionary(const QVariantMap &dictionary, const QString &place, int depth)
{
    if (depth > maximumSettingDepth)
        return obstacleAt(tooManyLevels(), place);
    for (auto entry = dictionary.cbegin(); entry != dictionary.cend(); ++entry) {
        if (entry->typeId() == QMetaType::QString)
            continue; // nearly all of them; their place need not be put together
        if (const auto found = obstacle(entry.value(), place + u'/' + entry.key(), depth))
            return found;
    }
    return std::nullopt;
}

std::optional<QString> obstacleInList(const QVariantList &list, const QString &place, int depth)
{
    if (depth > maximumSettingDepth)
        return obstacleAt(tooManyLevels(), place);
    for (qsizetype at = 0; at < list.size(); ++at) {
        if (const auto found = obstacle(list[at], place + u'/' + QString::number(at), depth))
            return found;
    }
    return std::nullopt;
}

std::optional<QString> obstacle(const QVariant &value, const QString &place, int depth)
{
    switch (value.typeId()) {
    case QMetaType::UnknownType:
    case QMetaType::Nullptr:
    case QMetaType::Bool:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::QString:
        return std::nullopt;
    case QMetaType::Double:
        return std::isfinite(value.toDouble()) ? std::nullopt : std::optional(obstacleAt(QStringLiteral("a number that is not finite"), place));
    case QMetaType::QVariantMap:
        return obstacleInDictionary(value.toMap(), place, depth + 1);
    case QMetaType::QVariantList:
        return obstacleInList(value.toList(), place, depth + 1);
    case QMetaType::QDateTime:
        return obstacleAt(QStringLiteral("a date"), place);
    default:
        // Narrower numbers and the like are none: they are widened, as the settings do it.
        if (const std::optional<QVariant> widened = canonicalValue(value); widened && widened->typeId() != value.typeId())
            return obstacle(*widened, place, depth);
        return obstacleAt(QStringLiteral("a value of type %1").arg(QLatin1String(value.metaType().name())), place);
    }
}

/// A member of our own, as JSON.
struct OwnMember {
    QLatin1String name;
    const std::optional<QVariantMap> &value;
    QByteArray key;
    QByteArray json;
};

void place(const OwnMember &own, std::vector<Member> &members)
{
    for (Member &member : members) {
        if (member.name == own.name) {
            member.value = own.json;
            return;
        }
    }
    members.push_back({own.name, own.key, own.json});
}

QByteArray joined(const std::vector<Member> &members)
{
    qsizetype size = 2;
    for (const Member &member : members)
        size += member.key.size() + member.value.size() + 2;
    QByteArray json;
    json.reserve(size);
    json += '{';
    for (const Member &member : members) {
        if (json.size() > 1)
            json += ',';
        ((json += member.key) += ':') += member.value;
    }
    return json += '}';
}

/// The text with a null in the place of each of these parts of it.
QByteArray withoutParts(QByteArrayView text, const std::vector<QByteArrayView> &parts)
{
    QByteArray result;
    const char *done = text.data();
    for (const QByteArrayView part : parts) {
        result += QByteArrayView(done, part.data());
        result += "null";
        done = part.data() + part.size();
    }
    return result += QByteArrayView(done, text.data() + text.size());
}

QString typeName(JsonOutline::Kind kind)
{
    switch (kind) {
    case JsonOutline::Kind::dictionary:
        return QStringLiteral("dictionary");
    case JsonOutline::Kind::array:
        return QStringLiteral("array");
    case JsonOutline::Kind::text:
        return QStringLiteral("text");
    case JsonOutline::Kind::number:
        return QStringLiteral("number");
    case JsonOutline::Kind::boolean:
        return QStringLiteral("boolean");
    case JsonOutline::Kind::null:
        return QStringLiteral("null");
    }
    return {};
}

} // namespace

CloudDocumentMerge mergedCloudDocument(
    const QByteArray &stored, const std::optional<QVariantMap> &macTables, const std::optional<QVariantMap> &networkStatus)
{
    CloudDocumentMerge merge;
    std::vector<Member> members;
    const auto outlined = outlineJson(textOf(stored));
    const auto *outline = std::get_if<JsonOutline>(&outlined);
    if (outline != nullptr && outline->kind == JsonOutline::Kind::dictionary) {
        merge.stored = StoredDocument::document;
        members = countingMembers(outline->members);
    } else if (!stored.isEmpty()) {
        merge.stored = StoredDocument::unreadable;
        merge.storedDefect = outline != nullptr ? typeName(outline->kind) : std::get<JsonDefect>(outlined).words;
    }
    std::array<OwnMember, 2> own = {{{macTablesMember, macTables, {}, {}}, {networkStatusMember, networkStatus, {}, {}}}};
    for (OwnMember &member : own) {
        if (!member.value)
            continue;
        if (const auto found = obstacle(*member.value, member.name)) {
            merge.error = *found;
            return merge;
        }
        appendJsonText(member.key, QString(member.name));
        member.json = compactJson(canonicalValue(*member.value).value_or(QVariant()));
        place(member, members);
    }
    merge.json = joined(members);
    return merge;
}

NetworkStatusToPublish networkStatusToPublish(const QVariant &latestLocalSnapshot)
{
    if (latestLocalSnapshot.typeId() != QMetaType::QVariantMap)
        return {};
    const QVariantMap snapshot = latestLocalSnapshot.toMap();
    const QVariant devices = snapshot.value(QStringLiteral("devices"));
    if (devices.typeId() == QMetaType::QString && !devices.toString().isEmpty())
        return {snapshot, {}};
    return {std::nullopt, QStringLiteral("CKMacSync: latestLocalSnapshot has no devices — not publishing CurrentNetworkStatus_Lanterna")};
}

std::variant<CloudDocumentContents, NoCloudDocument> readCloudDocument(const QByteArray &bytes)
{
    const QByteArrayView text = textOf(bytes);
    const auto outlined = outlineJson(text, maximumSettingDepth);
    if (const auto *defect = std::get_if<JsonDefect>(&outlined))
        return NoCloudDocument{{}, defect->words};
    const auto &outline = std::get<JsonOutline>(outlined);
    if (outline.kind != JsonOutline::Kind::dictionary)
        return NoCloudDocument{typeName(outline.kind), {}};
    const std::optional<QVariant> value = parseJson(withoutParts(text, outline.tooDeep));
    if (!value) // unless the parser and the outline disagree on what JSON is, there is a value
        return NoCloudDocument{{}, QStringLiteral("not JSON")};
    CloudDocumentContents contents = {value->toMap(), {}};
    if (const QVariant tables = contents.members.value(macTablesMember); tables.typeId() == QMetaType::QVariantMap)
        contents.macTables = tables.toMap();
    return contents;
}

} // namespace lanterna
