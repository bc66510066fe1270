#pragma once

#include "platform/FileSecretStore.h"
#include "platform/linux/KeyringSecretStore.h"

#include <QDBusConnection>
#include <QObject>

#include <deque>

namespace lanterna
{

/// The person's secrets on a Linux desktop: in its keyring, or in a file where there is none.
///
/// The file is used only when the name org.freedesktop.secrets is neither owned on the session bus nor could be started there, or when there is no
/// session bus; the bus is asked before each call. A keyring that fails, or that the person does not unlock, is an error and leaves the file alone. A
/// bus that does not answer is an error as well.
class DesktopSecretStore : public SecretStore
{
public:
    /// `bus` is the session bus of the process's environment, or a connection that never came to be. Log and dispatch outlive this.
    DesktopSecretStore(const QDBusConnection &bus, Dispatch &dispatch, const QString &folder, SystemLog &log,
        std::chrono::milliseconds keyringPatience = KeyringSecretStore::usualPatience);

    void read(const QString &name, Completion completion) override;
    void write(const QString &name, const QString &secret, Completion completion) override;

private:
    using Call = std::function<void(SecretStore &store, Completion completion)>;
    struct Waiting {
        Call call;
        Completion completion;
    };

    void enqueue(Call call, Completion completion);
    void startNext();
    void askForOwner();
    void askForStarter();
    void carryOut(SecretStore &store);
    void finish(const SecretResult &result);

    QDBusConnection m_bus;
    Dispatch &m_dispatch;
    FileSecretStore m_file;
    KeyringSecretStore m_keyring;
    std::deque<Waiting> m_waiting; // the first is under way
    std::shared_ptr<char> m_alive = std::make_shared<char>();
    QObject m_context; // questions to the bus end with it
};

} // namespace lanterna
