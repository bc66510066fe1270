#include "platform/linux/DesktopCallbackAwaiter.h"

namespace lanterna
{

DesktopCallbackAwaiter::DesktopCallbackAwaiter(
    Dispatch &dispatch, const URLSchemeHandler &handler, const QString &socketFolder, const QString &address)
    : m_dispatch(dispatch), m_handler(handler), m_address(address), m_socket(dispatch, socketFolder), m_loopback(dispatch)
{
}

void DesktopCallbackAwaiter::begin(const QString &scheme, Ready ready, Received received)
{
    end();
    m_waiting = std::make_shared<char>();
    const auto isReady = std::make_shared<bool>(false);
    const auto answer = [ready = std::move(ready), isReady, waiting = std::weak_ptr(m_waiting)](const QString &problem) {
        if (waiting.expired())
            return;
        *isReady = true;
        ready(problem);
    };
    const auto hear = [received = std::move(received), isReady](const QByteArray &address) { return *isReady && received(address); };
    QString problem = m_socket.listen(hear);
    if (!m_address.isEmpty()) {
        const QString other = m_loopback.listen(m_address, hear);
        problem =
            other.isEmpty() || problem.isEmpty() ? other : problem; // where both fail, another attempt listens, as a rule, and the first says so
    }
    if (!m_address.isEmpty() || !problem.isEmpty()) {
        m_dispatch.mainAsync([answer, problem] { answer(problem); });
        return;
    }
    m_dispatch.globalAsync([handler = m_handler, scheme, answer, &dispatch = m_dispatch] {
        dispatch.mainAsync([answer, installed = handler.install(scheme)] { answer(installed); });
    });
}

void DesktopCallbackAwaiter::end()
{
    m_waiting.reset();
    m_socket.close();
    m_loopback.close();
}

} // namespace lanterna
