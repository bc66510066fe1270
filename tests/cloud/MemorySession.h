#pragma once

#include "cloud/CloudKitSession.h"
#include "platform/Dispatch.h"

#include <QStringList>

namespace lanterna
{

/// A place for a session token that is as slow as told, and fails when told.
class MemorySession
{
public:
    explicit MemorySession(Dispatch &dispatch, QString firstToken = {}) : token(std::move(firstToken)), m_dispatch(dispatch) { }

    [[nodiscard]] CloudKitSession session()
    {
        return {[this](SecretStore::Completion completion) {
                    m_dispatch.mainAfter(delay, [this, completion = std::move(completion)] { completion({token, readError}); });
                },
            [this](const QString &next, SecretStore::Completion completion) {
                m_dispatch.mainAfter(delay, [this, next, completion = std::move(completion)] {
                    if (storeError.isEmpty()) {
                        token = next;
                        stored.append(next);
                    }
                    completion({{}, storeError});
                });
            }};
    }

    QString token;
    QStringList stored; ///< in order
    QString readError; ///< what every reading ends with
    QString storeError;
    std::chrono::milliseconds delay{0};

private:
    Dispatch &m_dispatch;
};

} // namespace lanterna
