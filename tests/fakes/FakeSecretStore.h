#pragma once

#include "platform/Dispatch.h"
#include "platform/SecretStore.h"

#include <map>

namespace lanterna
{

/// Secrets in memory. One that fails says why, and keeps what it has.
class FakeSecretStore : public SecretStore
{
public:
    explicit FakeSecretStore(Dispatch &dispatch) : m_dispatch(dispatch) { }

    void read(const QString &name, Completion completion) override
    {
        ++reads;
        m_dispatch.mainAsync([this, name, completion] {
            const auto found = secrets.find(name);
            completion({found == secrets.end() ? QString() : found->second, error});
        });
    }
    void write(const QString &name, const QString &secret, Completion completion) override
    {
        if (error.isNull())
            secrets[name] = secret;
        m_dispatch.mainAsync([this, completion] { completion({{}, error}); });
    }

    int reads = 0;
    QString error;
    std::map<QString, QString> secrets;

private:
    Dispatch &m_dispatch;
};

} // namespace lanterna
