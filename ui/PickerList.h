#pragma once

#include <QPointer>
#include <QQmlEngine>
#include <QQuickWindow>

namespace lanterna
{

/// The window of a picker's open list: above the others, without a frame, gone with the next click outside it. In QML as `PickerList`.
///
/// A window of its own, since a list inside the picker's window would be cut off at its edge. The keys stay with the picker's window.
class PickerList : public QQuickWindow
{
    Q_OBJECT
    QML_ELEMENT
public:
    explicit PickerList(QWindow *parent = nullptr);

    /// Shows the list of this size at this place of the picker's window, or above it where the monitor ends; `aboveY` is where a list above ends.
    Q_INVOKABLE void open(QQuickWindow *owner, const QPointF &below, qreal aboveY, const QSizeF &size);

    /// A click outside, or the owner's window went away, moved, or lost the focus.
    Q_SIGNAL void dismissed();

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void exposeEvent(QExposeEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void watchOwner(QQuickWindow *owner);

    QPointer<QQuickWindow> m_owner; ///< the one that is watched
};

} // namespace lanterna
