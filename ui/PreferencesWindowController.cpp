#include "ui/PreferencesWindowController.h"

#include "ui/Program.h"

namespace lanterna
{

PreferencesWindowController::PreferencesWindowController() : m_window(Program::current().makeWindow(QStringLiteral("PreferencesView")))
{
    if (m_window)
        center();
}

void PreferencesWindowController::center()
{
    const QList<ScreenLayout::Monitor> monitors = Program::current().ports().screens.monitors();
    if (monitors.isEmpty())
        return;
    const QPointF middle = monitors.constFirst().visibleFrame.center();
    m_window->setPosition(QPointF(middle.x() - m_window->width() / 2.0, middle.y() - m_window->height() / 2.0).toPoint());
}

void PreferencesWindowController::showWindow()
{
    m_window->show();
    m_window->raise();
    m_window->requestActivate();
}

bool PrefsWindowBridge::showPreferencesWindow()
{
    if (!m_controller) {
        auto made = std::make_unique<PreferencesWindowController>();
        if (!made->window())
            return false;
        m_controller = std::move(made);
    }
    m_controller->showWindow();
    return true;
}

} // namespace lanterna
