#pragma once

#include "cloud/CloudKitRecordDatabase.h"
#include "cloud/SignInCallback.h"
#include "platform/CallbackAwaiter.h"
#include "platform/Dispatch.h"
#include "platform/SettingsStore.h"

#include <functional>
#include <memory>
#include <optional>

namespace lanterna
{

/// What an attempt to sign in needs. The referenced objects outlive it.
struct CloudKitSignInParts {
    Dispatch &dispatch;
    SettingsStore &settings;
    CloudKitConfiguration configuration;
    CloudKitSession session; ///< where the token is kept; it gets a verified one only
    CallbackAwaiter &callbacks;
    QString callbackAddress; ///< on this machine; empty when the desktop hands callbacks over by their scheme alone
    std::function<bool(const QUrl &page)> openInBrowser; ///< false when there is no way for the person to get there; called once at most
    std::function<void(const QString &question, std::function<void(bool yes)> answer)> confirm; ///< answers once, on the main thread
    std::function<void(const QString &line)> tell; ///< a line for the person about what happens meanwhile
};

/// How an attempt ended.
struct CloudKitSignInResult {
    QString userRecordName; ///< the account's own name in the container; empty when nobody is signed in by it
    bool wasSignedIn = false; ///< already, so that no browser was opened
    QString error; ///< one line; empty for success
    QString advice; ///< sentences that say what to do; may be empty

    bool operator==(const CloudKitSignInResult &) const = default;
};

/// One attempt to sign in to iCloud: asks for the sign-in page, opens it in the person's browser, and awaits what the browser brings back.
///
/// Main thread only. It listens before the browser is opened, opens it once, and waits two minutes at most; nothing is tried again by itself, so that
/// no loop of browser windows can come of it.
///
/// A callback cannot be tied to the page that was opened. So one counts only while this waits, and only once the server has told whose session it
/// holds. What holds no session is passed over, with one line the first time; so is a session that the server does not know, the third of which ends
/// the attempt. The token goes to no log line, and is kept only when it is verified and the account may be used.
///
/// The setting `cloudKitUser` holds the account's name from the last sign-in. When another one signs in, the person is asked before the two accounts'
/// documents become one; signing out leaves the name there, since the first account's tables stay on this machine. It is no secret.
class CloudKitSignIn
{
public:
    using Completion = std::function<void(const CloudKitSignInResult &result)>;

    static constexpr std::chrono::minutes patience{2};
    static constexpr int mostRefusals = 3; ///< each costs a request

    explicit CloudKitSignIn(CloudKitSignInParts parts);
    /// Ends the attempt, also the listening; the completion is not called any more.
    ~CloudKitSignIn();
    CloudKitSignIn(const CloudKitSignIn &) = delete;
    CloudKitSignIn &operator=(const CloudKitSignIn &) = delete;

    /// Begins. The completion comes once, on the main thread, never inside the call.
    void start(Completion completion);

private:
    using Answer = RecordResult<QString>;

    void ask(CloudKitSession session, std::function<void(const Answer &)> then);
    void keptSessionAsked(const Answer &answer);
    void pageAsked(const Answer &answer);
    void open(const QUrl &page);
    bool take(const QByteArray &address);
    void verified(const Answer &answer);
    void passOver(const QString &line);
    void timeIsUp();
    void accept(const QString &user);
    void keep(const QString &user);
    void bind(const QString &user);
    void stopListening();
    void finish(const CloudKitSignInResult &result);
    void fail(const QString &error, const QString &advice = {});
    [[nodiscard]] CloudKitSession keptSession();
    [[nodiscard]] CloudKitSession triedSession();
    template <typename Call> auto guarded(Call call);

    CloudKitSignInParts m_parts;
    SignInReturn m_return;
    std::unique_ptr<CloudKitRecordDatabase> m_database; // of the question that is under way
    Completion m_completion;
    TimerHandle m_timeOut;
    QString m_tried; // the token that came back, as the server has replaced it
    bool m_hadSession = false;
    bool m_isVerified = false; // what was tried is the person's
    bool m_isListening = false;
    bool m_isVerifying = false;
    bool m_timeIsUp = false;
    bool m_hasToldOfOthers = false;
    int m_refusals = 0;
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

} // namespace lanterna
