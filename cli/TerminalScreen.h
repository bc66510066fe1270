#pragma once

#include <QByteArray>
#include <QStringList>

#include <mutex>

namespace lanterna
{

/// A terminal whose last lines are a block that is redrawn in place, while other lines scroll by above it. Any thread.
class TerminalScreen
{
public:
    /// Writes to this descriptor; the terminal's width is asked for at each drawing.
    explicit TerminalScreen(int descriptor) : m_descriptor(descriptor) { }

    /// Replaces the block; lines longer than the terminal is wide are cut, and a block higher than the terminal loses its last ones.
    void setBlock(const QStringList &lines);
    /// Prints a line above the block.
    void printAbove(const QByteArray &line);

private:
    [[nodiscard]] QByteArray erased() const;
    [[nodiscard]] QByteArray drawn() const;
    void put(const QByteArray &bytes) const;

    const int m_descriptor;
    std::mutex m_mutex;
    QStringList m_block;
    int m_drawnLines = 0;
};

/// Size of the terminal behind a descriptor; 80 columns and 24 rows when it does not say.
struct TerminalSize {
    int columns = 80;
    int rows = 24;
};
TerminalSize terminalSize(int descriptor);

/// The text cut to this many columns, the last of them "…" when something was left out. Wide characters count two, combining marks none.
QString cutToColumns(const QString &text, int columns);
/// The first lines, at most so many (at least 1), the last of them "…" when some were left out.
QStringList cutToRows(const QStringList &lines, int rows);

} // namespace lanterna
