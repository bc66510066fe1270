#include "ui/AlertWindow.h"

#include <QGuiApplication>
#include <QPalette>
#include <QVariantMap>

#include <utility>

namespace lanterna
{

namespace
{

const QUrl alertFile(QStringLiteral("qrc:/lanterna/ui/qml/AlertWindow.qml"));

bool isDark(WindowLibrary::Palette palette)
{
    switch (palette) {
    case WindowLibrary::Palette::light:
        return false;
    case WindowLibrary::Palette::dark:
        return true;
    case WindowLibrary::Palette::desktop:
        break;
    }
    return QGuiApplication::palette().color(QPalette::Window).lightness() < 128;
}

} // namespace

AlertWindow::AlertWindow() = default;
AlertWindow::~AlertWindow() = default;

bool AlertWindow::show(const Alert &alert, WindowLibrary::Palette palette, std::function<void(int button)> completion)
{
    m_engine = std::make_unique<QQmlApplicationEngine>();
    // The safe button has the focus at first: the one that changes nothing, else the default one.
    const int focused = alert.destructiveButton >= 0 && alert.cancelButton >= 0 ? alert.cancelButton : alert.defaultButton;
    m_engine->setInitialProperties({
        {QStringLiteral("message"), alert.message},
        {QStringLiteral("informativeText"), alert.informativeText},
        {QStringLiteral("buttons"), alert.buttons},
        {QStringLiteral("defaultButton"), alert.defaultButton},
        {QStringLiteral("cancelButton"), alert.cancelButton},
        {QStringLiteral("destructiveButton"), alert.destructiveButton},
        {QStringLiteral("focusedButton"), focused},
        {QStringLiteral("dark"), isDark(palette)},
    });
    m_engine->load(alertFile);
    if (m_engine->rootObjects().isEmpty())
        return false;
    m_completion = std::move(completion);
    QObject::connect(m_engine->rootObjects().constFirst(), SIGNAL(chosen(int)), this, SLOT(choose(int)));
    return true;
}

void AlertWindow::choose(int button)
{
    // The window is in the middle of a click of its own.
    m_engine.release()->deleteLater();
    if (const auto completion = std::exchange(m_completion, nullptr))
        completion(button);
}

} // namespace lanterna
