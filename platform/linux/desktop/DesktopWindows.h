#pragma once

#include "platform/WindowLibrary.h"

#include <atomic>
#include <chrono>
#include <functional>

namespace lanterna
{

/// The program's windows, from a library that is loaded at the first one. Main thread only, where nothing else is said.
class DesktopWindows
{
public:
    /// `libraryPath` is where the library lies; empty when it is not there. `look` is asked once, when the library is loaded.
    DesktopWindows(const WindowPorts &ports, const QString &libraryPath, std::function<WindowLook()> look);

    /// The library, loaded by the first call; null, with one log line, where it cannot be loaded. The next call tries again.
    WindowLibrary *library();
    /// To be called when the desktop's wishes changed; loads nothing.
    void lookChanged();
    /// To be called when a setting changed; loads nothing. Any thread.
    void settingChanged(const QString &key);

    /// Brings the preferences to the front; one log line where there is no window for them.
    void showPreferencesWindow();
    /// Shows the welcome card unless the person has answered it before (`hasShownWelcomePopover`).
    void showWelcomePopoverIfNeeded();
    /// Shows the text in a bubble under the panel for `messageDuration`. False where no bubble can be shown: a desktop that lets no program place a
    /// window (Wayland), or no library.
    bool showMessage(const QString &message, double atXPosition);
    static constexpr std::chrono::milliseconds messageDuration{3500};

private:
    WindowPorts m_ports;
    QString m_libraryPath;
    std::function<WindowLook()> m_look;
    std::atomic<WindowLibrary *> m_library{nullptr}; // owned by the library itself
    bool m_complained = false;
};

} // namespace lanterna
