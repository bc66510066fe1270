#pragma once

#include "cli/SettingsCommand.h"
#include "cloud/CloudKitRecordDatabase.h"
#include "cloud/WebDAVRecordDatabase.h"
#include "platform/SecretStore.h"
#include "platform/SettingsStore.h"

#include <functional>
#include <memory>
#include <optional>

namespace lanterna
{

/// What `lanternactl cloud setup` and `sign-out` need. The referenced objects outlive them.
struct CloudSetupPorts {
    using Ask = std::function<std::optional<QString>(const QString &question)>;

    Dispatch &dispatch;
    SettingsStore &settings;
    std::function<SecretStore &()> secrets;
    Ask ask; ///< a person's answer; nothing when there is nobody
    Ask askHidden; ///< the same for a password
    std::function<QString()> forgetCallbacks; ///< takes back what the desktop was told for sign-ins; one line when that cannot be
};

/// Chooses where the shared document is kept, and who asks for it there. Main thread only.
///
/// Nothing changes before the chosen place has been tried: then password and settings are stored, the password first, since a running Lanterna goes
/// by the settings.
class CloudSetup
{
public:
    explicit CloudSetup(CloudSetupPorts ports);
    ~CloudSetup();

    /// Asks and tries. `finished` comes once, on the main thread, never inside the call.
    void setUp(std::function<void()> finished);
    /// Whether iCloud was chosen, so that somebody may want to sign in there now.
    [[nodiscard]] bool choseCloudKit() const { return m_choseCloudKit; }
    /// Removes the kept password and the kept session. The iCloud account's name stays in the settings: its tables stay on this machine, too, and
    /// whoever signs in with another account shall be asked.
    void signOut(std::function<void()> finished);
    /// What to print, and the exit code.
    [[nodiscard]] const CommandResult &result() const { return m_result; }

private:
    [[nodiscard]] std::optional<QString> askFor(const QString &what, const QString &present);
    void setUpWebDAV();
    void tryServer();
    void keep();
    void setUpCloudKit();
    void tryContainer();
    void keepContainer();
    void noteCredentials();
    void finish(const CommandResult &result);
    void fail(const QString &line) { finish({1, {}, line}); }

    CloudSetupPorts m_ports;
    QString m_url;
    QString m_user;
    QString m_password;
    std::unique_ptr<WebDAVRecordDatabase> m_server;
    CloudKitConfiguration m_configuration;
    std::unique_ptr<CloudKitRecordDatabase> m_container;
    bool m_choseCloudKit = false;
    std::function<void()> m_finished;
    CommandResult m_result;
};

} // namespace lanterna
