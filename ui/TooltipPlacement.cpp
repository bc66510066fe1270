#include "ui/TooltipPlacement.h"

#include <QtMath>

#include <algorithm>

namespace lanterna
{

namespace
{

// Points.
constexpr double spareWidth = 4; // more than the message needs
constexpr double narrowest = 100;
constexpr double widest = 400;
constexpr double panelGap = 5;
constexpr double sideGap = 10; // to the edge of the visible frame, for a bubble that has no room at its x

const ScreenLayout::Monitor &monitorFor(double x, const QList<ScreenLayout::Monitor> &monitors)
{
    const auto spans = [x](const ScreenLayout::Monitor &monitor) { return monitor.frame.left() <= x && x <= monitor.frame.right(); };
    const auto found = std::find_if(monitors.begin(), monitors.end(), spans);
    return found == monitors.end() ? monitors.constFirst() : *found;
}

} // namespace

QRect tooltipFrame(const QSizeF &fitting, double x, const QList<ScreenLayout::Monitor> &monitors, double scale)
{
    if (monitors.isEmpty())
        return {};
    const ScreenLayout::Monitor &monitor = monitorFor(x, monitors);
    const QRectF &visible = monitor.visibleFrame;
    const double width = std::clamp(fitting.width() + spareWidth * scale, narrowest * scale, widest * scale);
    const double height = std::min(fitting.height(), visible.height() - 2 * panelGap * scale);
    const bool panelIsBelow = visible.top() <= monitor.frame.top() && visible.bottom() < monitor.frame.bottom();
    const double top = panelIsBelow ? visible.bottom() - height - panelGap * scale : visible.top() + panelGap * scale;
    double left = x - width / 2;
    if (left + width > visible.right())
        left = visible.right() - width - sideGap * scale;
    if (left < visible.left())
        left = visible.left() + sideGap * scale;
    return {qRound(left), qRound(top), qCeil(width), qCeil(height)};
}

} // namespace lanterna
