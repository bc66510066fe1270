#pragma once

#include "platform/SecretStore.h"

#include <functional>
#include <memory>
#include <optional>

namespace lanterna
{

/// Where the person's session token lies. Other programs of the person may replace or remove it at any time.
///
/// Main thread only. Each completion is called once, not inside the call, unless what stands behind it is gone.
struct CloudKitSession {
    std::function<void(SecretStore::Completion)> read; ///< the token; null or empty when nobody is signed in
    std::function<void(const QString &token, SecretStore::Completion)> store; ///< it is kept when the completion comes without an error
};

/// The session whose token is a secret of this name. The store has to outlive it.
CloudKitSession sessionIn(SecretStore &secrets, const QString &name);

/// Keeps the session's token current: each reply brings the next one, and the one before is worth nothing from then on.
///
/// Main thread only. Completions as with `CloudKitSession`; none is called any more once this is dropped.
class CloudKitTokens
{
public:
    explicit CloudKitTokens(CloudKitSession session) : m_session(std::move(session)) { }

    /// The token for the next request. One that could not be stored yet is stored first, and an error comes instead when that fails again.
    void current(SecretStore::Completion completion);
    /// Stores the token that came with a reply, unless another than the one that was sent is kept by now: then somebody signed out, or signed in
    /// anew. The completion comes when it is stored or cannot be.
    void adopt(const QString &sent, const QString &next, std::function<void()> completion);

private:
    struct Pending {
        QString sent;
        QString next;
    };

    void storePending(const SecretStore::Completion &completion);

    CloudKitSession m_session;
    std::optional<Pending> m_pending;
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

/// Whether a header's value can be a session token: 1 to 16,384 visible ASCII characters.
bool isSessionToken(const QByteArray &value);

} // namespace lanterna
