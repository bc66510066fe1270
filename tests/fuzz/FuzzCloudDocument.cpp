#include "cloud/CloudDocument.h"
#include "cloud/JsonOutline.h"
#include "cloud/MACTable.h"
#include "platform/Json.h"
#include "platform/SettingsValue.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

using namespace lanterna;

namespace
{

void require(bool holds)
{
    if (!holds)
        __builtin_trap();
}

/// Whether the text is an object for the program's other parser, a strict one but for what it mends first.
bool isObject(QByteArrayView text)
{
    const std::optional<QVariant> value = parseJson(text.toByteArray());
    return value && value->typeId() == QMetaType::QVariantMap;
}

/// What is taken for JSON is JSON for the other parser, and the other way round, as far as it goes: it ends at a zero byte, passes over a byte order
/// mark, mends what is no UTF-8, and refuses more levels than it keeps.
void checkAgainstParser(QByteArrayView text)
{
    const auto outlined = outlineJson(text, maximumSettingDepth);
    const auto *outline = std::get_if<JsonOutline>(&outlined);
    const bool isDocument = outline != nullptr && outline->kind == JsonOutline::Kind::dictionary;
    if (isDocument && outline->tooDeep.empty())
        require(isObject(text));
    const bool plain = !text.contains('\0') && !text.startsWith("\xef\xbb\xbf") && QUtf8StringView(text).isValidUtf8();
    if (plain && isObject(text))
        require(isDocument);
}

/// Every member that is not one of ours is found in the new document byte for byte, in its order, and after merging again as well.
void checkCarriedOver(QByteArrayView before, QByteArrayView after)
{
    const auto outlinedBefore = outlineJson(before);
    const auto outlinedAfter = outlineJson(after);
    const auto &old = std::get<JsonOutline>(outlinedBefore).members;
    const auto &fresh = std::get<JsonOutline>(outlinedAfter).members;
    auto at = old.begin();
    for (const JsonMember &member : fresh) {
        const QString key = parseJson(member.key.toByteArray()).value_or(QVariant()).toString();
        if (key == macTablesMember || key == networkStatusMember)
            continue;
        while (at != old.end() && (at->key != member.key || at->value != member.value))
            ++at;
        require(at != old.end());
        ++at;
    }
    // None is lost: a key that is there before is there after.
    for (const JsonMember &member : old) {
        const auto sameText = [&](const JsonMember &other) {
            return parseJson(other.key.toByteArray()).value() == parseJson(member.key.toByteArray()).value();
        };
        require(std::any_of(fresh.begin(), fresh.end(), sameText));
    }
}

void checkReading(const QByteArray &bytes, StoredDocument stored)
{
    const auto read = readCloudDocument(bytes);
    const auto *contents = std::get_if<CloudDocumentContents>(&read);
    require((contents != nullptr) == (stored == StoredDocument::document));
    if (contents == nullptr) {
        const auto &none = std::get<NoCloudDocument>(read);
        require(none.type.isNull() != none.error.isNull());
        return;
    }
    require(canonicalValue(contents->members).has_value());
    require(!contents->macTables || canonicalValue(*contents->macTables).has_value());
    if (contents->macTables)
        (void)updatedMACTables({}, *contents->macTables, QStringLiteral("Home"), {}, true);
    for (const QVariant &member : contents->members)
        (void)decodeLastUpdate(member.toString());
}

} // namespace

/// A stored document from any bytes. What comes of merging is a document that carries over what was there and merges again to the same; what is read
/// of it can be stored in the settings.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray stored(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const QVariantMap tables = {{QStringLiteral("Home"), QVariantMap{{QStringLiteral("10.0.0.1"), QStringLiteral("02:00:00:00:00:01")}}}};
    const QByteArrayView text = stored.startsWith("\xef\xbb\xbf") ? QByteArrayView(stored).sliced(3) : QByteArrayView(stored);
    checkAgainstParser(text);
    for (const std::optional<QVariantMap> &own : {std::optional<QVariantMap>(), std::optional(tables)}) {
        const CloudDocumentMerge merge = mergedCloudDocument(stored, own, own);
        require(merge.error.isEmpty() && merge.storedDefect.isEmpty() == (merge.stored != StoredDocument::unreadable));
        require((merge.stored == StoredDocument::none) == stored.isEmpty());
        const CloudDocumentMerge again = mergedCloudDocument(merge.json, own, own);
        require(again.stored == StoredDocument::document && again.json == merge.json);
        if (merge.stored == StoredDocument::document)
            checkCarriedOver(text, merge.json);
        checkReading(stored, merge.stored);
    }
    return 0;
}
