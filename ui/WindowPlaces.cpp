#include "ui/WindowPlaces.h"

#include "ui/Program.h"

#include <algorithm>
#include <cmath>

namespace lanterna
{

namespace
{

constexpr qreal gap = 4; // between a control and its panel
constexpr qreal sheetOffset = 32; // leaves the parent's title to be seen

/// The rectangle moved into the frame; where it is too large for that, its beginning is inside.
QPoint inside(QRectF place, const QRectF &frame)
{
    if (!frame.isEmpty()) {
        place.moveLeft(std::max(frame.left(), std::min(place.left(), frame.right() - place.width())));
        place.moveTop(std::max(frame.top(), std::min(place.top(), frame.bottom() - place.height())));
    }
    return place.topLeft().toPoint();
}

} // namespace

QPoint popoverPlace(const QRectF &control, const QSizeF &size, const QRectF &visibleFrame, bool staysAbove)
{
    QRectF place(QPointF(control.center().x() - size.width() / 2, control.bottom() + gap), size);
    const qreal above = control.top() - gap - size.height();
    if (!visibleFrame.isEmpty() && (staysAbove || place.bottom() > visibleFrame.bottom()) && above >= visibleFrame.top())
        place.moveTop(above);
    return inside(place, visibleFrame);
}

QPoint sheetPlace(const QRectF &parent, const QSizeF &size, const QRectF &visibleFrame)
{
    return inside(QRectF(QPointF(parent.center().x() - size.width() / 2, parent.top() + sheetOffset), size), visibleFrame);
}

QRectF WindowPlaces::visibleFrameAt(const QPointF &point)
{
    const QList<ScreenLayout::Monitor> monitors = Program::current().ports().screens.monitors();
    for (const ScreenLayout::Monitor &monitor : monitors) {
        if (monitor.frame.contains(point))
            return monitor.visibleFrame;
    }
    return monitors.isEmpty() ? QRectF() : monitors.constFirst().visibleFrame;
}

void WindowPlaces::fit(QQuickWindow *window, qreal height)
{
    const int fitting = static_cast<int>(std::ceil(height));
    if (fitting > window->maximumHeight())
        window->setMaximumHeight(fitting);
    window->setMinimumHeight(fitting);
    window->setMaximumHeight(fitting);
    window->setHeight(fitting);
}

void WindowPlaces::overParent(QQuickWindow *sheet)
{
    const QWindow *parent = sheet->transientParent();
    if (!parent)
        return;
    const QRectF below(parent->geometry());
    sheet->setPosition(sheetPlace(below, QSizeF(sheet->size()), visibleFrameAt(below.center())));
}

} // namespace lanterna
