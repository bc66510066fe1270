#include "platform/linux/desktop/WindowAlerts.h"

#include <utility>

namespace lanterna
{

WindowAlerts::WindowAlerts(Dispatch &dispatch, std::function<WindowLibrary *()> library) : m_dispatch(dispatch), m_library(std::move(library)) { }

WindowAlerts::~WindowAlerts() = default;

void WindowAlerts::runModal(const Alert &alert, std::function<void(int button)> completion)
{
    m_waiting.push_back({alert, std::move(completion)});
    if (!m_showing)
        showNext();
}

void WindowAlerts::showNext()
{
    if (m_waiting.empty())
        return;
    m_showing = true;
    const Alert alert = m_waiting.front().alert;
    const auto chosen = [this, alive = std::weak_ptr(m_alive)](int button) {
        if (!alive.expired())
            answer(button);
    };
    WindowLibrary *windows = m_library();
    if (!windows || !windows->showAlert(alert, chosen))
        answer(alert.cancelButton);
}

void WindowAlerts::answer(int button)
{
    // On the queue: the window is still in the middle of the event that chose the button.
    m_dispatch.mainAsync([this, button, alive = std::weak_ptr(m_alive)] {
        if (alive.expired())
            return;
        const Waiting answered = std::move(m_waiting.front());
        m_waiting.pop_front();
        m_showing = false;
        answered.completion(button);
        if (!alive.expired() && !m_showing)
            showNext();
    });
}

} // namespace lanterna
