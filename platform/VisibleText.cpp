#include "platform/VisibleText.h"

#include <QList>

#include <algorithm>

namespace lanterna
{

namespace
{

/// Characters that are drawn as nothing, or as a blank, although their category is that of a letter or symbol.
bool isDrawnAsNothing(char32_t character)
{
    switch (character) {
    case 0x115f: // fillers of Hangul
    case 0x1160:
    case 0x3164:
    case 0xffa0:
    case 0x2800: // Braille without a dot
    case 0x1d159: // a note without a head
        return true;
    default:
        return false;
    }
}

bool isVisible(char32_t character)
{
    switch (QChar::category(character)) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Separator_Space:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
    case QChar::Mark_NonSpacing:
    case QChar::Mark_Enclosing:
        return false;
    default:
        return !isDrawnAsNothing(character);
    }
}

} // namespace

bool hasVisibleText(QStringView text)
{
    const QList<uint> characters = text.toUcs4();
    return std::any_of(characters.begin(), characters.end(), [](uint character) { return isVisible(character); });
}

} // namespace lanterna
