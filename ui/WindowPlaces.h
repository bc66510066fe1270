#pragma once

#include <QObject>
#include <QPoint>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QRectF>
#include <QSizeF>

namespace lanterna
{

/// Where a panel of this size stands that belongs to a control: centred below it, above it where there is no room below or where it `staysAbove`, and
/// always inside the visible frame as far as it fits there.
QPoint popoverPlace(const QRectF &control, const QSizeF &size, const QRectF &visibleFrame, bool staysAbove = false);
/// Where a sheet of this size stands over its parent: centred, a little below its top edge, inside the visible frame as far as it fits there.
QPoint sheetPlace(const QRectF &parent, const QSizeF &size, const QRectF &visibleFrame);

/// Places windows; on Wayland the compositor does. In QML the singleton `WindowPlaces`. Main thread only.
class WindowPlaces : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
public:
    using QObject::QObject;

    /// The visible frame of the monitor with this point, else of the main one; null when there is none.
    static QRectF visibleFrameAt(const QPointF &point);
    /// Gives a fixed-size window another height. The limits go first: a window manager refuses a size that they do not allow.
    Q_INVOKABLE static void fit(QQuickWindow *window, qreal height);
    /// Puts a sheet over its transient parent.
    Q_INVOKABLE static void overParent(QQuickWindow *sheet);
};

} // namespace lanterna
