#include "platform/linux/desktop/WindowAlerts.h"

#include <QLibrary>

#include <utility>

namespace lanterna
{

WindowAlerts::WindowAlerts(Dispatch &dispatch, SystemLog &log, const QString &libraryPath, std::function<QString()> appearance)
    : m_dispatch(dispatch), m_log(log), m_libraryPath(libraryPath), m_appearance(std::move(appearance))
{
}

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
    WindowLibrary *windows = library();
    if (!windows || !windows->showAlert(alert, palette(), chosen))
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

WindowLibrary::Palette WindowAlerts::palette() const
{
    const QString appearance = m_appearance ? m_appearance() : QString();
    if (appearance.isEmpty())
        return WindowLibrary::Palette::desktop;
    return appearance == QLatin1String("dark") ? WindowLibrary::Palette::dark : WindowLibrary::Palette::light;
}

WindowLibrary *WindowAlerts::library()
{
    if (std::exchange(m_loaded, true))
        return m_library;
    QLibrary file(m_libraryPath);
    const auto function = m_libraryPath.isEmpty() ? nullptr : reinterpret_cast<WindowLibraryFunction>(file.resolve(windowLibraryFunctionName));
    if (function)
        m_library = function();
    else
        m_log.write(QStringLiteral("Alerts: the window library cannot be loaded: ")
            + (m_libraryPath.isEmpty() ? QStringLiteral("not installed") : file.errorString()));
    return m_library;
}

} // namespace lanterna
