#include "cloud/CloudKitSession.h"

#include <algorithm>

namespace lanterna
{

CloudKitSession sessionIn(SecretStore &secrets, const QString &name)
{
    return {[&secrets, name](SecretStore::Completion completion) { secrets.read(name, std::move(completion)); },
        [&secrets, name](const QString &token, SecretStore::Completion completion) { secrets.write(name, token, std::move(completion)); }};
}

void CloudKitTokens::current(SecretStore::Completion completion)
{
    m_session.read([this, completion = std::move(completion), alive = std::weak_ptr(m_alive)](const SecretResult &kept) {
        if (alive.expired())
            return;
        if (kept.error.isEmpty() && m_pending && m_pending->sent == kept.secret) {
            storePending(completion);
            return;
        }
        if (kept.error.isEmpty())
            m_pending.reset(); // somebody else took over, or it was stored after all
        completion(kept);
    });
}

void CloudKitTokens::storePending(const SecretStore::Completion &completion)
{
    m_session.store(m_pending->next, [this, completion, next = m_pending->next, alive = std::weak_ptr(m_alive)](const SecretResult &stored) {
        if (alive.expired())
            return;
        if (stored.error.isEmpty())
            m_pending.reset();
        completion({stored.error.isEmpty() ? next : QString(), stored.error});
    });
}

void CloudKitTokens::adopt(const QString &sent, const QString &next, std::function<void()> completion)
{
    m_pending = Pending{sent, next};
    current([completion = std::move(completion)](const SecretResult &) { completion(); });
}

bool isSessionToken(const QByteArray &value)
{
    return !value.isEmpty() && value.size() <= 16'384 && std::ranges::all_of(value, [](char c) { return c > ' ' && c < '\x7f'; });
}

} // namespace lanterna
