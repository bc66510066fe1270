#pragma once

#include "platform/Desktop.h"
#include "platform/Dispatch.h"
#include "platform/NotificationCenter.h"
#include "platform/ScreenLayout.h"
#include "platform/SettingsStore.h"
#include "platform/SystemLog.h"

#include <functional>

namespace lanterna
{

/// What the windows need of the program. The referenced objects outlive the windows.
struct WindowPorts {
    Dispatch &dispatch;
    SettingsStore &settings;
    NotificationCenter &notifications;
    SystemLog &log;
    const ScreenLayout &screens;
    std::function<void()> applyLaunchAtLogin; ///< puts the setting `launchAtLogin` into force; empty where nothing can
    std::function<QString()> otherStore; ///< one sentence on the record store in use when it is not iCloud; empty text when it is
};

/// How the desktop wants windows to look.
struct WindowLook {
    enum class Palette {
        desktop, ///< light or dark as the toolkit takes the desktop to be
        light,
        dark,
    };
    Palette palette = Palette::desktop;
    bool animated = true; ///< false when the person asked the desktop for less movement

    bool operator==(const WindowLook &) const = default;
};

/// What the library with the program's windows offers. The library is loaded when the first window is needed, since its graphics stack takes as much
/// memory as the rest of the program.
///
/// Main thread only, where nothing else is said. The object stays valid until the program ends.
class WindowLibrary
{
public:
    virtual ~WindowLibrary() = default;

    /// Hands over what the windows need; before everything else, once.
    virtual void start(const WindowPorts &ports) = 0;
    /// Changes open windows too.
    virtual void setLook(const WindowLook &look) = 0;
    /// A setting changed, here or in another process: open windows show it. Any thread.
    virtual void settingChanged(const QString &key) = 0;

    /// Shows the alert as a window of its own and calls `completion` once with the chosen button, from inside the event that chose it. One at a time:
    /// the caller waits before it shows the next. False when no window can be shown; `completion` is then not called.
    virtual bool showAlert(const Alert &alert, std::function<void(int button)> completion) = 0;
    /// Brings the preferences to the front; the same window each time. False when no window can be shown.
    virtual bool showPreferencesWindow() = 0;
    /// Shows the welcome card in the middle of the main monitor. False when no window can be shown.
    virtual bool showWelcomePopover() = 0;
    /// Shows the text for 3.5 s in a bubble under the panel with its middle at this x, in points; the text before is gone at once. Any thread.
    virtual void showMessage(const QString &message, double atXPosition) = 0;

protected:
    WindowLibrary() = default;
    WindowLibrary(const WindowLibrary &) = default;
    WindowLibrary &operator=(const WindowLibrary &) = default;
};

/// The library's one exported function, `WindowLibrary *lanternaWindowLibrary()`.
using WindowLibraryFunction = WindowLibrary *(*)();
constexpr const char *windowLibraryFunctionName = "lanternaWindowLibrary";

} // namespace lanterna
