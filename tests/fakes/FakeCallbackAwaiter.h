#pragma once

#include "platform/CallbackAwaiter.h"
#include "platform/Dispatch.h"

namespace lanterna
{

/// What a test brings to whoever listens.
struct Callbacks {
    /// False when nobody listens, or when it was not taken.
    bool come(const QByteArray &address) const { return received && received(address); }
    [[nodiscard]] bool isListening() const { return received != nullptr; }

    CallbackAwaiter::Received received;
    QByteArray scheme; ///< the one that is or was awaited
    QString problem; ///< why listening fails; null when it works
    int begun = 0; ///< how often somebody began to listen
};

/// Hears what the test says.
class FakeCallbackAwaiter : public CallbackAwaiter
{
public:
    FakeCallbackAwaiter(Dispatch &dispatch, Callbacks &callbacks) : m_dispatch(dispatch), m_callbacks(callbacks) { }

    void begin(const QString &scheme, Ready ready, Received received) override
    {
        ++m_callbacks.begun;
        m_callbacks.scheme = scheme.toLatin1();
        m_callbacks.received = std::move(received);
        m_dispatch.mainAsync([this, ready = std::move(ready)] { ready(m_callbacks.problem); });
    }
    void end() override { m_callbacks.received = nullptr; }

private:
    Dispatch &m_dispatch;
    Callbacks &m_callbacks;
};

} // namespace lanterna
