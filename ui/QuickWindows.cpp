#include "ui/QuickWindows.h"

#include <utility>

namespace lanterna
{

QuickWindows::QuickWindows()
{
    // Drawn by the processor: the windows are small, and a graphics driver costs several times the program's memory.
    QQuickWindow::setSceneGraphBackend(QStringLiteral("software"));
}

void QuickWindows::start(const WindowPorts &ports)
{
    m_program.emplace(ports);
}

void QuickWindows::setLook(const WindowLook &look)
{
    m_program->setLook(look);
}

void QuickWindows::settingChanged(const QString &key)
{
    m_program->ports().dispatch.mainAsync([this, key] { Q_EMIT m_program->settingChanged(key); });
}

bool QuickWindows::showAlert(const Alert &alert, std::function<void(int button)> completion)
{
    return m_alert.show(alert, std::move(completion));
}

bool QuickWindows::showPreferencesWindow()
{
    return m_prefs.showPreferencesWindow();
}

bool QuickWindows::showWelcomePopover()
{
    return m_welcome.showWelcomePopover();
}

void QuickWindows::showMessage(const QString &message, double atXPosition)
{
    m_tooltip.showMessage(message, atXPosition);
}

} // namespace lanterna
