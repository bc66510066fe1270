#include "cloud/CloudDocument.h"

#include "cloud/JsonOutline.h"
#include "cloud/JsonWriting.h"
#include "platform/Json.h"
#include "platform/SettingsValue.h"

#include <QHash>

#include <array>
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
        const WrittenJson written = writeJson(*member.value, member.name);
        if (!written.obstacle.isEmpty()) {
            merge.error = written.obstacle;
            return merge;
        }
        appendJsonText(member.key, QString(member.name));
        member.json = written.json;
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
