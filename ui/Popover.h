#pragma once

#include <QObject>
#include <QPointer>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>

#include <chrono>
#include <optional>

namespace lanterna
{

/// Keeps a panel at the control that opened it, and says when it is to go. In QML as `Popover`, in the control's window. Main thread only.
///
/// The panel goes with a press anywhere in the control's window, which does nothing else; when that window is hidden; and when the program's focus
/// goes to a window that neither is the panel nor was opened by it. While the panel has a window open itself, it stays.
class Popover : public QObject
{
    Q_OBJECT
    QML_ELEMENT
public:
    using QObject::QObject;

    /// Shows the panel, with the focus.
    Q_INVOKABLE void open(QQuickWindow *panel, QQuickItem *control);
    /// Gives the focus back to the control's window: for a panel that is closed from inside.
    Q_INVOKABLE void giveBackFocus();

    Q_SIGNAL void dismissed();

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void place();
    void focusMoved(const QWindow *focused);
    void dismiss();
    [[nodiscard]] bool isOpen() const;
    [[nodiscard]] bool hasChildOpen() const;
    [[nodiscard]] bool closedJustNow() const;

    QPointer<QQuickWindow> m_panel;
    QPointer<QQuickItem> m_control;
    QPointer<QQuickWindow> m_owner; ///< the control's window
    std::optional<std::chrono::nanoseconds> m_closedByFocus; ///< when the owner took the focus from the panel
    bool m_above = false; ///< the panel went above its control; another size is no reason to jump below it
    bool m_dismissing = false;
};

} // namespace lanterna
