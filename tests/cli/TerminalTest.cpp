#include "cli/TerminalScreen.h"
#include "cli/TerminalStatusItem.h"

#include <gtest/gtest.h>

#include <array>
#include <clocale>

#include <unistd.h>

using namespace lanterna;

namespace
{

Menu menuOf(const QStringList &titles)
{
    Menu menu;
    for (const QString &title : titles) {
        MenuItem row;
        row.title = title;
        menu.addItem(row);
    }
    return menu;
}

/// What a screen writes into a pipe.
class Pipe
{
public:
    Pipe() { EXPECT_EQ(pipe(m_ends.data()), 0); }
    ~Pipe()
    {
        close(m_ends[0]);
        close(m_ends[1]);
    }
    [[nodiscard]] int end() const { return m_ends[1]; }
    [[nodiscard]] QByteArray taken() const
    {
        std::array<char, 4096> bytes{};
        const auto size = read(m_ends[0], bytes.data(), bytes.size());
        return {bytes.data(), size};
    }

private:
    std::array<int, 2> m_ends{};
};

TEST(TerminalStatusItem, DrawsNothingBeforeItsStart)
{
    int drawings = 0;
    TerminalStatusItem item([&](const QStringList &, const QStringList &) { ++drawings; });
    item.setContent({QStringLiteral("192.168.1.20"), StatusImage::none, {}, {}});
    item.setMenu(menuOf({"a"}));
    EXPECT_EQ(drawings, 0);
    item.start({});
    EXPECT_EQ(drawings, 1);
}

TEST(TerminalStatusItem, DrawsOnlyWhatChanged)
{
    QStringList seen;
    TerminalStatusItem item([&](const QStringList &, const QStringList &changes) { seen = changes; });
    item.setMenu(menuOf({"a", "b"}));
    item.start({});
    item.setContent({QStringLiteral("10.0.0.5"), StatusImage::none, {}, {}});
    EXPECT_EQ(seen, QStringList({"title: 10.0.0.5"}));
    item.setMenu(menuOf({"a", "c"}));
    EXPECT_EQ(seen, QStringList({"row 1: c"}));
    seen.clear();
    item.setMenu(menuOf({"a", "c"}));
    EXPECT_EQ(seen, QStringList());
}

TEST(TerminalStatusItem, ShowsMarksSubmenusAndPictures)
{
    MenuItem parent;
    parent.title = QStringLiteral("Show in Panel");
    MenuItem child;
    child.title = QStringLiteral("WAN IP");
    child.toggle = MenuItem::Toggle::radio;
    child.checked = true;
    parent.children = {child};
    Menu menu;
    menu.addItem(parent);
    menu.addItem(MenuItem::separatorItem(QStringLiteral("s")));
    EXPECT_EQ(statusLines({{}, StatusImage::templateIcon, {}, {}}, menu), QStringList({"(icon)", "  Show in Panel", "      (o) WAN IP", "  ---"}));
    EXPECT_EQ(statusLines({{}, StatusImage::locationWarning, "Lanterna needs Location permission", {}}, {}).first(),
        "(warning) Lanterna needs Location permission");
}

TEST(TerminalStatusItem, ControlCharactersInNamesAreWrittenOut)
{
    EXPECT_EQ(
        statusLines({QStringLiteral("a\x1b[2J"), StatusImage::none, {}, {}}, menuOf({"evil\nname"})), QStringList({"a\\x1b[2J", "  evil\\nname"}));
}

TEST(TerminalStatusItem, AnOtherNumberOfRowsIsAChange)
{
    EXPECT_EQ(changedLines({"t", "a"}, {"t"}), QStringList({"rows: 0"}));
    EXPECT_EQ(changedLines({"t"}, {"t", "a"}), QStringList({"rows: 1", "row 0: a"}));
}

TEST(TerminalScreen, RedrawsItsBlockInPlace)
{
    const Pipe pipe;
    TerminalScreen screen(pipe.end());
    screen.setBlock({"one", "two"});
    EXPECT_EQ(pipe.taken(), "one\ntwo\n");
    screen.setBlock({"three"});
    EXPECT_EQ(pipe.taken(), "\x1b[2A\x1b[Jthree\n");
}

TEST(TerminalScreen, OtherLinesScrollByAboveTheBlock)
{
    const Pipe pipe;
    TerminalScreen screen(pipe.end());
    screen.printAbove("first");
    screen.setBlock({"block"});
    screen.printAbove("log line");
    EXPECT_EQ(pipe.taken(), "first\nblock\n\x1b[1A\x1b[Jlog line\nblock\n");
}

TEST(TerminalScreen, HighBlocksAreCutToTheTerminalsHeight)
{
    EXPECT_EQ(cutToRows({"a", "b", "c"}, 3), QStringList({"a", "b", "c"}));
    EXPECT_EQ(cutToRows({"a", "b", "c", "d"}, 3), QStringList({"a", "b", QStringLiteral("  …")}));
    EXPECT_EQ(cutToRows({"a", "b"}, 1), QStringList({QStringLiteral("  …")}));
}

TEST(TerminalScreen, LongLinesAreCutToTheTerminalsWidth)
{
    const Pipe pipe; // no terminal: 80 columns
    TerminalScreen screen(pipe.end());
    screen.setBlock({QString(100, u'x')});
    EXPECT_EQ(pipe.taken(), QByteArray(79, 'x') + "…\n");
    EXPECT_EQ(cutToColumns(QStringLiteral("short"), 5), "short");
}

TEST(TerminalScreen, WideCharactersCountTwo)
{
    std::setlocale(LC_CTYPE, "C.UTF-8");
    EXPECT_EQ(cutToColumns(QStringLiteral("日本語"), 6), QStringLiteral("日本語"));
    EXPECT_EQ(cutToColumns(QStringLiteral("日本語"), 5), QStringLiteral("日本…"));
    EXPECT_EQ(cutToColumns(QStringLiteral("e\u0301e\u0301"), 2), QStringLiteral("e\u0301e\u0301"));
}

TEST(TerminalScreen, ABlockTallerThanTheTerminalIsCutSoThatItStaysInPlace)
{
    const Pipe pipe; // no terminal: 24 rows
    TerminalScreen screen(pipe.end());
    QStringList lines;
    for (int line = 0; line < 40; ++line)
        lines.append(QString::number(line));
    screen.setBlock(lines);
    EXPECT_EQ(pipe.taken().count('\n'), 23);
}

} // namespace
