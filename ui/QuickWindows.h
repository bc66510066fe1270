#pragma once

#include "platform/WindowLibrary.h"
#include "ui/AlertWindow.h"
#include "ui/PreferencesWindowController.h"
#include "ui/Program.h"
#include "ui/TooltipWindowController.h"
#include "ui/WelcomePopoverPresenter.h"

#include <optional>

namespace lanterna
{

/// All windows of the program, drawn by Qt Quick. Main thread only, where the interface says nothing else.
class QuickWindows : public WindowLibrary
{
public:
    QuickWindows();

    void start(const WindowPorts &ports) override;
    void setLook(const WindowLook &look) override;
    void settingChanged(const QString &key) override;
    bool showAlert(const Alert &alert, std::function<void(int button)> completion) override;
    bool showPreferencesWindow() override;
    bool showWelcomePopover() override;
    void showMessage(const QString &message, double atXPosition) override;

private:
    std::optional<Program> m_program;
    AlertWindow m_alert;
    PrefsWindowBridge m_prefs;
    WelcomePopoverPresenter m_welcome{m_prefs};
    TooltipBridge m_tooltip;
};

} // namespace lanterna
