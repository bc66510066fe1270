#pragma once

#include "platform/StatusItem.h"

#include <QStringList>

namespace lanterna
{

/// Title and menu as lines of text: the title first, then the rows, submenus indented.
QStringList statusLines(const StatusItemContent &content, const Menu &menu);

/// What changed between two such lists, one line each: "title: 192.168.1.20", "row 2: 192.168.1.20" (rows count from 0, as lines below the title),
/// and "rows: 12" when their number changed.
QStringList changedLines(const QStringList &before, const QStringList &after);

/// The status item of a program without a panel: hands its lines to whoever draws them. Main thread only.
class TerminalStatusItem : public StatusItem
{
public:
    /// Receives all lines and, beside them, the changes since the last call.
    using Draw = std::function<void(const QStringList &lines, const QStringList &changes)>;

    explicit TerminalStatusItem(Draw draw) : m_draw(std::move(draw)) { }

    void start(Events events) override;
    void setContent(const StatusItemContent &content) override;
    void setMenu(const Menu &menu) override;
    [[nodiscard]] std::optional<double> centreX() const override { return std::nullopt; }

private:
    void redraw();

    Draw m_draw;
    bool m_started = false;
    StatusItemContent m_content;
    Menu m_menu;
    QStringList m_lines;
};

} // namespace lanterna
