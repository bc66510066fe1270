#pragma once

#include "cloud/CloudDocumentSync.h"
#include "cloud/CloudKitSignIn.h"
#include "platform/Desktop.h"
#include "platform/SecretStore.h"

#include <functional>
#include <memory>

namespace lanterna
{

/// What the offer to sign in needs. The referenced objects outlive it.
struct SignInOfferParts {
    Dispatch &dispatch;
    SettingsStore &settings;
    SystemLog &log;
    UserNotices &notices;
    Alerts &alerts;
    std::function<SecretStore &()> secrets; ///< asked for with the first attempt
    std::function<std::unique_ptr<CallbackAwaiter>()> makeCallbacks; ///< one for each attempt
    std::function<bool(const QUrl &page)> openInBrowser;
};

/// Tells the person once that iCloud asks to sign in, with a button that does it. Main thread only.
///
/// It speaks when a call of the shared document ended with `notAuthenticated` while iCloud is chosen, and then not again in this run before password,
/// session or choice of the database have changed. A browser is opened by the button alone, so that no window ever comes by itself.
class SignInOffer
{
public:
    explicit SignInOffer(SignInOfferParts parts) : m_parts(std::move(parts)) { }
    ~SignInOffer();
    SignInOffer(const SignInOffer &) = delete;
    SignInOffer &operator=(const SignInOffer &) = delete;

    /// How a call of the shared document ended.
    void note(const CloudOutcome &outcome);
    /// A setting changed, here or in another process.
    void noteSetting(const QString &key);
    /// Ends an attempt that is under way, and leaves nothing behind.
    void end();

private:
    void offer(const QString &title, const QString &body, const QString &action);
    void signIn();
    void ended(const CloudKitSignInResult &result);

    SignInOfferParts m_parts;
    bool m_hasSpoken = false;
    std::unique_ptr<CallbackAwaiter> m_callbacks;
    std::unique_ptr<CloudKitSignIn> m_attempt;
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

} // namespace lanterna
