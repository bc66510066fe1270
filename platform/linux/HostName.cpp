#include "platform/linux/HostName.h"

#include <QList>
#include <QStringDecoder>

#include <algorithm>

#include <arpa/inet.h>

namespace lanterna
{

namespace
{

/// Marks that turn the direction of writing, alone or up to their end (Unicode, UAX 9). Other invisible characters belong to honest emoji and scripts.
bool turnsWriting(char16_t unit)
{
    return unit == 0x061C || unit == 0x200E || unit == 0x200F || (unit >= 0x202A && unit <= 0x202E) || (unit >= 0x2066 && unit <= 0x2069);
}

bool isUnsafe(QChar unit)
{
    const QChar::Category category = unit.category();
    return category == QChar::Other_Control || category == QChar::Separator_Line || category == QChar::Separator_Paragraph
        || turnsWriting(unit.unicode());
}

bool isFormat(char32_t character)
{
    return QChar::category(character) == QChar::Other_Format;
}

/// Whether a reader sees the character when it stands alone: marks need one before them, and there are letters that only fill a place.
bool isVisible(char32_t character)
{
    if (character == U'.' || character == 0x115F || character == 0x1160 || character == 0x3164 || character == 0xFFA0 || QChar::isSpace(character))
        return false;
    return !isFormat(character) && !QChar::isMark(character);
}

/// What is left of a name where format characters are removed, as they are before it is shown.
QString bare(const QString &name)
{
    QList<uint> characters = name.toUcs4();
    characters.removeIf(isFormat);
    return QString::fromUcs4(reinterpret_cast<const char32_t *>(characters.constData()), characters.size()).trimmed();
}

bool isNumeric(const QString &name)
{
    const QByteArray text = name.section(u'%', 0, 0).toUtf8(); // an IPv6 address may carry its interface
    in6_addr ignored = {};
    in_addr ignoredV4 = {};
    return inet_pton(AF_INET6, text.constData(), &ignored) == 1 || inet_aton(text.constData(), &ignoredV4) == 1;
}

bool isQuestion(const QString &name)
{
    return name.endsWith(QLatin1String(".in-addr.arpa"), Qt::CaseInsensitive) || name.endsWith(QLatin1String(".ip6.arpa"), Qt::CaseInsensitive);
}

} // namespace

QString hostName(QByteArrayView bytes)
{
    if (bytes.endsWith('.'))
        bytes.chop(1);
    if (bytes.size() > maximumHostNameBytes)
        return {};
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
    const QString decoded = decoder(bytes);
    if (decoder.hasError() || std::any_of(decoded.begin(), decoded.end(), isUnsafe))
        return {};
    const QString seen = bare(decoded);
    const QList<uint> characters = seen.toUcs4();
    const bool blank = std::none_of(characters.begin(), characters.end(), isVisible);
    return blank || isNumeric(seen) || isQuestion(seen) ? QString() : decoded.trimmed();
}

} // namespace lanterna
