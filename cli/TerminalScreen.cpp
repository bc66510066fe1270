#include "cli/TerminalScreen.h"

#include <algorithm>
#include <cwchar>

#include <sys/ioctl.h>
#include <unistd.h>

namespace lanterna
{

TerminalSize terminalSize(int descriptor)
{
    winsize size{};
    if (ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0)
        return {};
    return {size.ws_col, size.ws_row};
}

QStringList cutToRows(const QStringList &lines, int rows)
{
    return lines.size() <= rows ? lines : lines.mid(0, rows - 1) + QStringList{QStringLiteral("  …")};
}

QString cutToColumns(const QString &text, int columns)
{
    const QList<uint> characters = text.toUcs4();
    qsizetype fitting = 0; // as many leave room for the mark
    int used = 0;
    for (qsizetype at = 0; at < characters.size(); ++at) {
        const auto character = static_cast<char32_t>(characters.at(at));
        used += std::max(0, wcwidth(static_cast<wchar_t>(character)));
        if (used > columns)
            return QString::fromUcs4(reinterpret_cast<const char32_t *>(characters.constData()), fitting) + QStringLiteral("…");
        if (used < columns)
            fitting = at + 1;
    }
    return text;
}

void TerminalScreen::setBlock(const QStringList &lines)
{
    const std::lock_guard lock(m_mutex);
    const QByteArray before = erased();
    const TerminalSize size = terminalSize(m_descriptor);
    m_block.clear();
    // The cursor stands below the block; what scrolled away at the top could never be drawn over.
    for (const QString &line : cutToRows(lines, std::max(size.rows - 1, 1)))
        m_block.append(cutToColumns(line, size.columns));
    put(before + drawn());
    m_drawnLines = static_cast<int>(m_block.size());
}

void TerminalScreen::printAbove(const QByteArray &line)
{
    const std::lock_guard lock(m_mutex);
    put(erased() + line + '\n' + drawn());
}

QByteArray TerminalScreen::erased() const
{
    // Cursor up to the block's first line, then clear to the end of the screen (ECMA-48 CUU and ED).
    return m_drawnLines == 0 ? QByteArray() : "\x1b[" + QByteArray::number(m_drawnLines) + "A\x1b[J";
}

QByteArray TerminalScreen::drawn() const
{
    return m_block.isEmpty() ? QByteArray() : m_block.join(QLatin1Char('\n')).toUtf8() + '\n';
}

void TerminalScreen::put(const QByteArray &bytes) const
{
    for (qsizetype at = 0; at < bytes.size();) {
        const auto written = write(m_descriptor, bytes.constData() + at, static_cast<size_t>(bytes.size() - at));
        if (written <= 0)
            return; // the terminal is gone
        at += written;
    }
}

} // namespace lanterna
