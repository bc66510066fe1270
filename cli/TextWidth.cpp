#include "cli/TextWidth.h"

#include "platform/SystemLog.h"

#include <algorithm>
#include <array>

namespace lanterna
{

namespace
{

struct Range {
    char32_t first;
    char32_t last;
};

/// East Asian Width "W" and "F" of Unicode 14, joined across code points that no character has. The hexagrams and the numbers in black squares among
/// the East Asian letters are in as well, as in the C library.
constexpr auto wideRanges = std::to_array<Range>({{0x1100, 0x115f}, {0x231a, 0x231b}, {0x2329, 0x232a}, {0x23e9, 0x23ec}, {0x23f0, 0x23f0},
    {0x23f3, 0x23f3}, {0x25fd, 0x25fe}, {0x2614, 0x2615}, {0x2648, 0x2653}, {0x267f, 0x267f}, {0x2693, 0x2693}, {0x26a1, 0x26a1}, {0x26aa, 0x26ab},
    {0x26bd, 0x26be}, {0x26c4, 0x26c5}, {0x26ce, 0x26ce}, {0x26d4, 0x26d4}, {0x26ea, 0x26ea}, {0x26f2, 0x26f3}, {0x26f5, 0x26f5}, {0x26fa, 0x26fa},
    {0x26fd, 0x26fd}, {0x2705, 0x2705}, {0x270a, 0x270b}, {0x2728, 0x2728}, {0x274c, 0x274c}, {0x274e, 0x274e}, {0x2753, 0x2755}, {0x2757, 0x2757},
    {0x2795, 0x2797}, {0x27b0, 0x27b0}, {0x27bf, 0x27bf}, {0x2b1b, 0x2b1c}, {0x2b50, 0x2b50}, {0x2b55, 0x2b55}, {0x2e80, 0x303e}, {0x3041, 0xa4c6},
    {0xa960, 0xa97c}, {0xac00, 0xd7a3}, {0xf900, 0xfad9}, {0xfe10, 0xfe19}, {0xfe30, 0xfe6b}, {0xff01, 0xff60}, {0xffe0, 0xffe6}, {0x16fe0, 0x1b2fb},
    {0x1f004, 0x1f004}, {0x1f0cf, 0x1f0cf}, {0x1f18e, 0x1f18e}, {0x1f191, 0x1f19a}, {0x1f200, 0x1f320}, {0x1f32d, 0x1f335}, {0x1f337, 0x1f37c},
    {0x1f37e, 0x1f393}, {0x1f3a0, 0x1f3ca}, {0x1f3cf, 0x1f3d3}, {0x1f3e0, 0x1f3f0}, {0x1f3f4, 0x1f3f4}, {0x1f3f8, 0x1f43e}, {0x1f440, 0x1f440},
    {0x1f442, 0x1f4fc}, {0x1f4ff, 0x1f53d}, {0x1f54b, 0x1f54e}, {0x1f550, 0x1f567}, {0x1f57a, 0x1f57a}, {0x1f595, 0x1f596}, {0x1f5a4, 0x1f5a4},
    {0x1f5fb, 0x1f64f}, {0x1f680, 0x1f6c5}, {0x1f6cc, 0x1f6cc}, {0x1f6d0, 0x1f6d2}, {0x1f6d5, 0x1f6df}, {0x1f6eb, 0x1f6ec}, {0x1f6f4, 0x1f6fc},
    {0x1f7e0, 0x1f7f0}, {0x1f90c, 0x1f93a}, {0x1f93c, 0x1f945}, {0x1f947, 0x1f9ff}, {0x1fa70, 0x1faf6}, {0x20000, 0x3134a}});

bool isWide(char32_t character)
{
    const auto *const range = std::lower_bound(
        wideRanges.begin(), wideRanges.end(), character, [](const Range &candidate, char32_t wanted) { return candidate.last < wanted; });
    return range != wideRanges.end() && range->first <= character;
}

bool isInvisible(char32_t character)
{
    // Vowels and finals of Hangul are drawn into the syllable's first letter.
    const bool jamoTail = (character >= 0x1160 && character <= 0x11ff) || (character >= 0xd7b0 && character <= 0xd7fb);
    switch (QChar::category(character)) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_Enclosing:
    case QChar::Other_Format:
        return true;
    default:
        return jamoTail;
    }
}

bool turnsDirection(char16_t character)
{
    return character == 0x61c || character == 0x200e || character == 0x200f || (character >= 0x202a && character <= 0x202e)
        || (character >= 0x2066 && character <= 0x2069);
}

} // namespace

int columnsOf(char32_t character)
{
    if (character < 0x300)
        return character == 0 ? 0 : 1; // among them the soft hyphen, a format character that terminals draw
    if (isInvisible(character))
        return 0;
    return isWide(character) ? 2 : 1;
}

int columnsOf(const QString &text)
{
    int columns = 0;
    for (const uint character : text.toUcs4())
        columns += columnsOf(static_cast<char32_t>(character));
    return columns;
}

QString elided(const QString &text, int columns)
{
    if (columns < 1)
        return {};
    const QList<uint> characters = text.toUcs4();
    qsizetype fitting = 0; // as many leave room for the mark
    int used = 0;
    for (qsizetype at = 0; at < characters.size(); ++at) {
        used += columnsOf(static_cast<char32_t>(characters.at(at)));
        if (used > columns)
            return QString::fromUcs4(reinterpret_cast<const char32_t *>(characters.constData()), fitting) + QStringLiteral("…");
        if (used < columns)
            fitting = at + 1;
    }
    return text;
}

QString padded(const QString &text, int columns)
{
    return text + QString(std::max(0, columns - columnsOf(text)), u' ');
}

QString wrapped(const QString &text, int columns)
{
    QString lines;
    int used = 0;
    for (const QString &word : text.simplified().split(u' ', Qt::SkipEmptyParts)) {
        const int width = columnsOf(word);
        if (used > 0)
            lines += used + 1 + width <= columns ? u' ' : u'\n';
        used = lines.endsWith(u' ') ? used + 1 + width : width;
        lines += word;
    }
    return lines.isEmpty() ? lines : lines + u'\n';
}

QString harmless(const QString &text)
{
    QString result;
    for (const QChar character : escapedControls(text)) {
        if (turnsDirection(character.unicode()))
            result += QStringLiteral("\\u%1").arg(character.unicode(), 4, 16, QLatin1Char('0'));
        else
            result += character;
    }
    return result;
}

} // namespace lanterna
