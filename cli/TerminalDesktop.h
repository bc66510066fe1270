#pragma once

#include "platform/Desktop.h"
#include "platform/Dispatch.h"

namespace lanterna
{

/// Questions on a terminal: yes is the button that is not the cancel button, everything else is the cancel button. Where standard input is no
/// terminal the answer is the cancel button. Blocks while the person thinks.
class TerminalAlerts : public Alerts
{
public:
    explicit TerminalAlerts(Dispatch &dispatch) : m_dispatch(dispatch) { }
    void runModal(const Alert &alert, std::function<void(int button)> completion) override;

private:
    Dispatch &m_dispatch;
};

/// A machine without a desktop: no clipboard, no pages; quitting ends the event loop.
class TerminalPasteboard : public Pasteboard
{
public:
    explicit TerminalPasteboard(Dispatch &dispatch) : m_dispatch(dispatch) { }
    void setText(const QString &text, std::function<void(bool copied)> completion) override;

private:
    Dispatch &m_dispatch;
};

class TerminalWorkspace : public Workspace
{
public:
    bool openURL(const QString &) override { return false; }
    [[nodiscard]] quint64 modifierFlags() const override { return 0; }
    void terminate() override;
};

/// Asks on standard error and reads one line from standard input; true for "y" or "yes". False, without asking, when that is no terminal.
bool askYesNo(const QString &question);

} // namespace lanterna
