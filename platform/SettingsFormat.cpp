#include "platform/SettingsFormat.h"

#include "platform/Json.h"
#include "platform/SettingsValue.h"

#include <QRegularExpression>

namespace lanterna
{

namespace
{

/// Enough to recognise the key; file systems allow 255 bytes for a name.
constexpr qsizetype longestKeyInFileName = 60;

} // namespace

bool SettingsEntry::sameAs(const SettingsEntry &other) const
{
    if (!sideFile.isEmpty() || !other.sideFile.isEmpty())
        return sideFile == other.sideFile && value.isValid() == other.value.isValid();
    return sameValue(value, other.value);
}

std::optional<SettingsEntries> parseSettings(const QByteArray &text)
{
    const std::optional<QVariant> json = parseJson(text);
    if (!json || json->typeId() != QMetaType::QVariantMap)
        return std::nullopt;
    SettingsEntries entries;
    const QVariantMap dictionary = json->toMap();
    for (auto entry = dictionary.cbegin(); entry != dictionary.cend(); ++entry) {
        const std::optional<QString> reference = fileReference(entry.value());
        if (reference && isSideFileName(*reference))
            entries.insert(entry.key(), {{}, *reference});
        else if (entry.value().isValid())
            entries.insert(entry.key(), {decodeValue(entry.value()), {}});
    }
    return entries;
}

QByteArray formatSettings(const SettingsEntries &entries)
{
    QByteArray text = "{";
    for (auto entry = entries.cbegin(); entry != entries.cend(); ++entry) {
        text += entry == entries.cbegin() ? "\n  " : ",\n  ";
        text += compactJson(entry.key()) + ": ";
        text += compactJson(entry->sideFile.isEmpty() ? encodeValue(entry->value) : encodeFileReference(entry->sideFile));
    }
    return text += "\n}\n";
}

QByteArray formatSideFile(const QVariant &dictionary)
{
    return compactJson(encodeValue(dictionary)) + '\n';
}

std::optional<QVariant> parseSideFile(const QByteArray &text)
{
    const std::optional<QVariant> json = parseJson(text);
    if (!json)
        return std::nullopt;
    const QVariant value = decodeValue(*json);
    return value.typeId() == QMetaType::QVariantMap ? std::optional(value) : std::nullopt;
}

QString sideFileName(const QString &key, quint64 unique)
{
    QString name = key.left(longestKeyInFileName);
    for (QChar &character : name) {
        const bool plain = character.unicode() < 0x80 && (character.isLetterOrNumber() || character == u'-');
        if (!plain)
            character = u'_';
    }
    return QStringLiteral("settings.%1.%2.json").arg(name, QStringLiteral("%1").arg(unique, 16, 16, QLatin1Char('0')));
}

bool isSideFileName(const QString &name)
{
    static const QRegularExpression form(QStringLiteral("\\Asettings\\.[A-Za-z0-9_-]{0,%1}\\.[0-9a-f]{16}\\.json\\z").arg(longestKeyInFileName));
    return form.match(name).hasMatch();
}

} // namespace lanterna
