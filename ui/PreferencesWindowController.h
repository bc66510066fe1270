#pragma once

#include <QQuickWindow>

#include <memory>

namespace lanterna
{

/// Keeps the preferences window: closing hides it, and the next request shows the same one. Main thread only.
class PreferencesWindowController
{
public:
    /// Makes the window, hidden.
    PreferencesWindowController();

    /// Null when it could not be made.
    [[nodiscard]] QQuickWindow *window() const { return m_window.get(); }
    /// Shows it above the others, with the focus.
    void showWindow();

private:
    void center();

    std::unique_ptr<QQuickWindow> m_window;
};

/// The way to the preferences for everything that opens them. Main thread only.
class PrefsWindowBridge
{
public:
    /// Shows the preferences window, which is made by the first call and kept. False when it cannot be made; the next call tries again.
    bool showPreferencesWindow();
    /// The window's keeper; null before the first call.
    [[nodiscard]] PreferencesWindowController *controller() const { return m_controller.get(); }

private:
    std::unique_ptr<PreferencesWindowController> m_controller;
};

} // namespace lanterna
