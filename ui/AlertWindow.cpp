#include "ui/AlertWindow.h"

#include "ui/Program.h"

#include <QVariantMap>

#include <utility>

namespace lanterna
{

AlertWindow::AlertWindow() = default;
AlertWindow::~AlertWindow() = default;

bool AlertWindow::show(const Alert &alert, std::function<void(int button)> completion)
{
    m_window = Program::current().makeWindow(QStringLiteral("AlertWindow"),
        {
            {QStringLiteral("message"), alert.message},
            {QStringLiteral("informativeText"), alert.informativeText},
            {QStringLiteral("buttons"), alert.buttons},
            {QStringLiteral("defaultButton"), alert.defaultButton},
            {QStringLiteral("cancelButton"), alert.cancelButton},
            {QStringLiteral("destructiveButton"), alert.destructiveButton},
        });
    if (!m_window)
        return false;
    m_completion = std::move(completion);
    QObject::connect(m_window.get(), SIGNAL(chosen(int)), this, SLOT(choose(int)));
    return true;
}

void AlertWindow::choose(int button)
{
    if (!m_window)
        return; // chosen before
    // The window is in the middle of a click of its own.
    m_window->hide();
    m_window.release()->deleteLater();
    if (const auto completion = std::exchange(m_completion, nullptr))
        completion(button);
}

} // namespace lanterna
