#include "ui/Popover.h"

#include "ui/Program.h"
#include "ui/WindowPlaces.h"

#include <QGuiApplication>

namespace lanterna
{

namespace
{

/// A window manager that gives the focus to a window because it was pressed may do so before the window hears of the press. A press that comes so soon
/// after the focus is the same one.
constexpr std::chrono::milliseconds samePress(300);

bool belongsTo(const QWindow *window, const QWindow *ancestor)
{
    for (; window; window = window->transientParent()) {
        if (window == ancestor)
            return true;
    }
    return false;
}

} // namespace

void Popover::open(QQuickWindow *panel, QQuickItem *control)
{
    if (m_owner != control->window()) {
        m_owner = control->window();
        m_owner->installEventFilter(this);
        connect(m_owner, &QWindow::visibleChanged, this, [this](bool visible) {
            if (!visible)
                dismiss();
        });
        connect(qGuiApp, &QGuiApplication::focusWindowChanged, this, [this](const QWindow *focused) { focusMoved(focused); });
    }
    m_panel = panel;
    m_control = control;
    m_above = false;
    m_dismissing = false;
    panel->setTransientParent(m_owner);
    // Later: inside the news of a size, which may be that of the size before, the toolkit would take over the old one again.
    connect(panel, &QWindow::heightChanged, this, &Popover::place, Qt::QueuedConnection);
    place();
    panel->show();
    panel->requestActivate();
}

void Popover::place()
{
    if (!m_panel || !m_control || !m_owner)
        return;
    const QRectF control(m_owner->position() + m_control->mapToScene(QPointF()), QSizeF(m_control->width(), m_control->height()));
    // The size that fits, not the present one: a window manager may still be telling of the size before.
    const QSize size(m_panel->width(), m_panel->minimumHeight());
    const QPoint place = popoverPlace(control, QSizeF(size), WindowPlaces::visibleFrameAt(control.center()), m_above);
    m_above = place.y() + size.height() <= control.top();
    m_panel->setGeometry(QRect(place, size));
}

void Popover::giveBackFocus()
{
    if (m_owner && m_owner->isVisible())
        m_owner->requestActivate();
}

bool Popover::isOpen() const
{
    return m_panel && m_panel->isVisible() && !m_dismissing;
}

bool Popover::hasChildOpen() const
{
    for (const QWindow *window : QGuiApplication::topLevelWindows()) {
        if (window != m_panel && window->isVisible() && belongsTo(window, m_panel))
            return true;
    }
    return false;
}

void Popover::focusMoved(const QWindow *focused)
{
    // Without a focused window the focus is in another program, which takes nothing away.
    if (!focused || !isOpen() || belongsTo(focused, m_panel) || hasChildOpen())
        return;
    if (focused == m_owner)
        m_closedByFocus = Program::current().ports().dispatch.steadyNow();
    dismiss();
}

void Popover::dismiss()
{
    if (!isOpen())
        return;
    m_dismissing = true;
    Q_EMIT dismissed();
}

bool Popover::closedJustNow() const
{
    return m_closedByFocus && Program::current().ports().dispatch.steadyNow() - *m_closedByFocus <= samePress;
}

bool Popover::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() != QEvent::MouseButtonPress && event->type() != QEvent::TouchBegin)
        return QObject::eventFilter(watched, event);
    if (isOpen()) {
        dismiss();
        return true;
    }
    const bool closing = closedJustNow();
    m_closedByFocus.reset();
    return closing || QObject::eventFilter(watched, event);
}

} // namespace lanterna
