#include "ui/PickerList.h"

#include <QGuiApplication>
#include <QScreen>

#include <algorithm>

namespace lanterna
{

PickerList::PickerList(QWindow *parent) : QQuickWindow(parent)
{
    setFlags(Qt::Popup | Qt::FramelessWindowHint);
}

void PickerList::open(QQuickWindow *owner, const QPointF &below, qreal aboveY, const QSizeF &size)
{
    watchOwner(owner);
    setTransientParent(owner);
    QRectF place(QPointF(owner->position()) + below, size);
    const QRectF screen = owner->screen() ? QRectF(owner->screen()->geometry()) : QRectF();
    if (screen.isValid()) {
        const qreal end = owner->y() + aboveY;
        if (place.bottom() > screen.bottom() && end - screen.top() > screen.bottom() - place.top())
            place = QRectF(place.left(), std::max(screen.top(), end - size.height()), size.width(), std::min(size.height(), end - screen.top()));
        else
            place.setBottom(std::min(place.bottom(), screen.bottom())); // the list scrolls
        place.moveLeft(qBound(screen.left(), place.left(), qMax(screen.left(), screen.right() - place.width())));
        place.moveTop(qMax(screen.top(), place.top()));
    }
    setGeometry(place.toRect());
    show();
}

void PickerList::watchOwner(QQuickWindow *owner)
{
    // Not by the transient parent, which a window that is declared inside an item has from the start.
    if (m_owner == owner)
        return;
    m_owner = owner;
    const auto dismiss = [this] {
        if (isVisible())
            Q_EMIT dismissed();
    };
    connect(owner, &QWindow::xChanged, this, dismiss);
    connect(owner, &QWindow::yChanged, this, dismiss);
    connect(owner, &QWindow::visibleChanged, this, dismiss);
    connect(qGuiApp, &QGuiApplication::focusWindowChanged, this, [this, owner, dismiss](QWindow *focused) {
        if (focused != owner && focused != this)
            dismiss();
    });
}

void PickerList::exposeEvent(QExposeEvent *event)
{
    QQuickWindow::exposeEvent(event);
    if (isExposed())
        setMouseGrabEnabled(true); // clicks anywhere come here
}

void PickerList::hideEvent(QHideEvent *event)
{
    setMouseGrabEnabled(false);
    QQuickWindow::hideEvent(event);
}

void PickerList::mousePressEvent(QMouseEvent *event)
{
    if (QRect(QPoint(), size()).contains(event->position().toPoint()))
        QQuickWindow::mousePressEvent(event);
    else
        Q_EMIT dismissed();
}

} // namespace lanterna
