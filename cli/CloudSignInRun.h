#pragma once

#include "cli/SettingsCommand.h"
#include "cloud/CloudKitSignIn.h"

#include <functional>

namespace lanterna
{

/// What `lanternactl cloud sign-in` needs. The referenced objects outlive it.
struct CloudSignInPorts {
    Dispatch &dispatch;
    SettingsStore &settings;
    CloudKitSession session;
    CallbackAwaiter &callbacks;
    std::function<bool(const QUrl &page)> startBrowser; ///< false when there is no desktop to start one on
    std::function<bool(const QString &question)> confirm; ///< asks a person; blocks meanwhile
    std::function<void(const QString &lines)> print; ///< shown at once
};

/// `lanternactl cloud sign-in`: one attempt, told in plain words. Main thread only.
///
/// The page's address is always printed, since nobody can tell whether a browser really showed it; it holds a number of Apple's for this one attempt,
/// and no secret of the person's or of the program's.
class CloudSignInRun
{
public:
    explicit CloudSignInRun(CloudSignInPorts ports);

    /// Begins; `finished` comes once, on the main thread, never inside the call.
    void start(std::function<void()> finished);
    /// What to print, and the exit code.
    [[nodiscard]] const CommandResult &result() const { return m_result; }

private:
    bool open(const QUrl &page);
    void ended(const CloudKitSignInResult &result);

    CloudSignInPorts m_ports;
    CloudKitSignIn m_signIn;
    std::function<void()> m_finished;
    CommandResult m_result;
};

} // namespace lanterna
