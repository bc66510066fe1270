#pragma once

#include "platform/Dispatch.h"
#include "platform/SecretStore.h"

#include <QDBusConnection>
#include <QObject>

#include <chrono>
#include <map>
#include <memory>
#include <mutex>

namespace lanterna
{

/// Secrets in the desktop's keyring (the Secret Service of the session bus), which may ask the person to unlock it.
///
/// A keyring that stays locked is an error, and so is one that has not answered after its patience, which leaves time to type a password; what was
/// written may then still arrive. Errors tell the keyring's own words. Main thread only, which is never held; the library works on a thread of its
/// own. The library finds the session bus by itself, so `bus` is the one of the process's environment.
class KeyringSecretStore : public SecretStore
{
public:
    static constexpr std::chrono::minutes usualPatience{2};

    KeyringSecretStore(const QDBusConnection &bus, Dispatch &dispatch, std::chrono::milliseconds patience = usualPatience);
    ~KeyringSecretStore() override;
    KeyringSecretStore(const KeyringSecretStore &) = delete;
    KeyringSecretStore &operator=(const KeyringSecretStore &) = delete;

    void read(const QString &name, Completion completion) override;
    void write(const QString &name, const QString &secret, Completion completion) override;

private:
    /// What the keyring's library answers.
    struct Answer {
        bool absent = false;
        SecretResult result;
    };
    /// Brings answers from the keyring's thread to the main thread for as long as the store lives.
    struct Post {
        std::mutex mutex;
        KeyringSecretStore *store = nullptr; // guarded by the mutex; its other members are the main thread's
    };
    using Answered = std::function<void(const Answer &)>;
    using Work = std::function<void(Answered answered)>;

    void run(Work work, const QString &name, bool isWrite, Completion completion);
    void take(quint64 call, const QString &name, bool isWrite, const Answer &answer);
    void checkLock(quint64 call, const QString &name);
    void finish(quint64 call, const SecretResult &result);

    struct Call {
        Completion completion;
        TimerHandle deadline;
    };

    QDBusConnection m_bus;
    Dispatch &m_dispatch;
    std::chrono::milliseconds m_patience;
    quint64 m_lastCall = 0;
    std::map<quint64, Call> m_calls; // under way
    std::shared_ptr<Post> m_post = std::make_shared<Post>();
    std::shared_ptr<char> m_alive = std::make_shared<char>();
    QObject m_context; // calls to the bus end with it
};

} // namespace lanterna
