#include "cli/TerminalScreen.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace lanterna
{

int terminalColumns(int descriptor)
{
    constexpr int usual = 80;
    winsize size{};
    return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usual;
}

QString cutToColumns(const QString &text, int columns)
{
    return text.size() <= columns ? text : text.left(columns - 1) + QStringLiteral("…");
}

void TerminalScreen::setBlock(const QStringList &lines)
{
    const std::lock_guard lock(m_mutex);
    const QByteArray before = erased();
    const int columns = terminalColumns(m_descriptor);
    m_block.clear();
    for (const QString &line : lines)
        m_block.append(cutToColumns(line, columns));
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
