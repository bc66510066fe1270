#include "platform/linux/desktop/ItemPlace.h"

#include <algorithm>

namespace lanterna
{

namespace
{

/// Whether an x belongs to the monitor on which the pointer is; yes where that cannot be said.
bool onPointersMonitor(double x, const std::optional<QPointF> &pointer, const QList<QRectF> &monitors)
{
    if (!pointer)
        return true;
    const auto found = std::find_if(monitors.begin(), monitors.end(), [&](const QRectF &frame) { return frame.contains(*pointer); });
    return found == monitors.end() || (x >= found->left() && x < found->right());
}

} // namespace

std::optional<double> ItemPlace::x(std::chrono::nanoseconds now, const std::optional<QPointF> &pointer, const QList<QRectF> &monitors) const
{
    for (const std::optional<Click> &click : {m_told, m_opened}) {
        if (click && now - click->at <= memory && onPointersMonitor(click->x, pointer, monitors))
            return click->x;
    }
    if (pointer)
        return pointer->x();
    return m_told ? std::optional(m_told->x) : std::nullopt;
}

} // namespace lanterna
