#include "cli/TerminalStatusItem.h"

#include "platform/SystemLog.h"

namespace lanterna
{

namespace
{

QString markOf(const MenuItem &row)
{
    switch (row.toggle) {
    case MenuItem::Toggle::none:
        return {};
    case MenuItem::Toggle::check:
        return row.checked ? QStringLiteral("[x] ") : QStringLiteral("[ ] ");
    case MenuItem::Toggle::radio:
        return row.checked ? QStringLiteral("(o) ") : QStringLiteral("( ) ");
    }
    return {};
}

void appendRows(QStringList &lines, const QList<MenuItem> &rows, const QString &indent)
{
    for (const MenuItem &row : rows) {
        lines.append(row.separator ? indent + QStringLiteral("---") : indent + markOf(row) + escapedControls(row.title + row.subtitle));
        appendRows(lines, row.children, indent + QStringLiteral("    "));
    }
}

QString titleLine(const StatusItemContent &content)
{
    switch (content.image) {
    case StatusImage::none:
        return escapedControls(content.title);
    case StatusImage::templateIcon:
        return QStringLiteral("(icon)");
    case StatusImage::locationWarning:
        return QStringLiteral("(warning) ") + content.accessibilityDescription;
    }
    return {};
}

} // namespace

QStringList statusLines(const StatusItemContent &content, const Menu &menu)
{
    QStringList lines{titleLine(content)};
    appendRows(lines, menu.items(), QStringLiteral("  "));
    return lines;
}

QStringList changedLines(const QStringList &before, const QStringList &after)
{
    QStringList changes;
    if (before.size() != after.size())
        changes.append(QStringLiteral("rows: %1").arg(after.size() - 1));
    for (qsizetype line = 0; line < after.size(); ++line) {
        if (line < before.size() && before.at(line) == after.at(line))
            continue;
        const QString label = line == 0 ? QStringLiteral("title: ") : QStringLiteral("row %1: ").arg(line - 1);
        changes.append(label + after.at(line).trimmed());
    }
    return changes;
}

void TerminalStatusItem::start(Events events)
{
    m_started = true;
    redraw();
    if (events.appearanceChanged)
        events.appearanceChanged(QStringLiteral("dark"));
}

void TerminalStatusItem::setContent(const StatusItemContent &content)
{
    m_content = content;
    redraw();
}

void TerminalStatusItem::setMenu(const Menu &menu)
{
    m_menu = menu;
    redraw();
}

void TerminalStatusItem::redraw()
{
    if (!m_started)
        return;
    const QStringList lines = statusLines(m_content, m_menu);
    const QStringList changes = changedLines(m_lines, lines);
    if (changes.isEmpty())
        return;
    m_lines = lines;
    m_draw(lines, changes);
}

} // namespace lanterna
