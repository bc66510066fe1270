#include "platform/linux/desktop/DesktopWindows.h"

#include <QGuiApplication>
#include <QLibrary>

#include <utility>

namespace lanterna
{

DesktopWindows::DesktopWindows(const WindowPorts &ports, const QString &libraryPath, std::function<WindowLook()> look)
    : m_ports(ports), m_libraryPath(libraryPath), m_look(std::move(look))
{
}

WindowLibrary *DesktopWindows::library()
{
    if (m_library)
        return m_library;
    QLibrary file(m_libraryPath);
    const auto function = m_libraryPath.isEmpty() ? nullptr : reinterpret_cast<WindowLibraryFunction>(file.resolve(windowLibraryFunctionName));
    if (!function) {
        if (!std::exchange(m_complained, true))
            m_ports.log.write(QStringLiteral("the window library cannot be loaded: ")
                + (m_libraryPath.isEmpty() ? QStringLiteral("not installed") : file.errorString()));
        return nullptr;
    }
    WindowLibrary *made = function();
    made->start(m_ports);
    made->setLook(m_look());
    m_library = made;
    return made;
}

void DesktopWindows::lookChanged()
{
    if (WindowLibrary *windows = m_library)
        windows->setLook(m_look());
}

void DesktopWindows::settingChanged(const QString &key)
{
    if (WindowLibrary *windows = m_library)
        windows->settingChanged(key);
}

void DesktopWindows::showPreferencesWindow()
{
    WindowLibrary *windows = library();
    if (!windows || !windows->showPreferencesWindow())
        m_ports.log.write(QStringLiteral("ERROR: Could not find PreferencesWindowController class"));
}

void DesktopWindows::showWelcomePopoverIfNeeded()
{
    if (m_ports.settings.boolean(QStringLiteral("hasShownWelcomePopover")))
        return;
    if (WindowLibrary *windows = library())
        windows->showWelcomePopover();
}

bool DesktopWindows::showMessage(const QString &message, double atXPosition)
{
    // Also where the windows themselves come through X11: what panels leave of such a desktop is not known there.
    if (qEnvironmentVariableIsSet("WAYLAND_DISPLAY") || QGuiApplication::platformName().startsWith(QLatin1String("wayland")))
        return false;
    WindowLibrary *windows = library();
    if (windows)
        windows->showMessage(message, atXPosition);
    return windows;
}

} // namespace lanterna
