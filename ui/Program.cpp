#include "ui/Program.h"

#include "platform/NotificationNames.h"
#include "ui/ShadowImages.h"

#include <QFontInfo>
#include <QGuiApplication>
#include <QPalette>

#include <algorithm>

void qml_register_types_Lanterna(); // generated

namespace lanterna
{

namespace
{

// The QML types register themselves, but the linker would leave their file out: nothing else names it.
[[maybe_unused]] void (*volatile const typeRegistration)() = &qml_register_types_Lanterna;

constexpr qreal plainFontSize = 13; // pixels: what the sizes of the windows are drawn for

QUrl fileOf(const QString &type)
{
    return QUrl(QStringLiteral("qrc:/lanterna/Lanterna/%1.qml").arg(type));
}

/// The one there is.
Program *&theProgram()
{
    static Program *program = nullptr;
    return program;
}

} // namespace

Program::Program(const WindowPorts &ports)
    : m_ports(ports), m_scale(std::max<qreal>(1, QFontInfo(QGuiApplication::font()).pixelSize() / plainFontSize))
{
    theProgram() = this;
    qGuiApp->installEventFilter(this);
}

Program::~Program()
{
    theProgram() = nullptr;
}

Program &Program::current()
{
    return *theProgram();
}

Program *Program::create(QQmlEngine *, QJSEngine *)
{
    QJSEngine::setObjectOwnership(theProgram(), QJSEngine::CppOwnership);
    return theProgram();
}

bool Program::dark() const
{
    switch (m_look.palette) {
    case WindowLook::Palette::light:
        return false;
    case WindowLook::Palette::dark:
        return true;
    case WindowLook::Palette::desktop:
        break;
    }
    return QGuiApplication::palette().color(QPalette::Window).lightness() < 128;
}

void Program::setLook(const WindowLook &look)
{
    if (m_look == look)
        return;
    m_look = look;
    Q_EMIT lookChanged();
}

bool Program::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == qGuiApp && event->type() == QEvent::ApplicationPaletteChange && m_look.palette == WindowLook::Palette::desktop)
        Q_EMIT lookChanged();
    return false;
}

std::shared_ptr<QQmlEngine> Program::engine()
{
    std::shared_ptr<QQmlEngine> engine = m_engine.lock();
    if (!engine) {
        engine = std::make_shared<QQmlEngine>();
        engine->addImportPath(QStringLiteral(":/lanterna"));
        engine->addImageProvider(QStringLiteral("shadow"), new ShadowImages); // the engine's from here on
        m_engine = engine;
    }
    return engine;
}

void Program::keepCompiled(const QString &type)
{
    if (m_kept.contains(type))
        return;
    const std::shared_ptr<QQmlEngine> engine = this->engine();
    m_kept.insert(type, {engine, std::make_shared<QQmlComponent>(engine.get(), fileOf(type))});
}

std::unique_ptr<QQuickWindow> Program::makeWindow(const QString &type, const QVariantMap &properties)
{
    std::shared_ptr<QQmlEngine> engine = this->engine();
    QQmlComponent component(engine.get(), fileOf(type));
    // Asked first: this Qt falls over when it is to create from a file with errors.
    std::unique_ptr<QObject> made(component.isReady() ? component.createWithInitialProperties(properties) : nullptr);
    auto *window = qobject_cast<QQuickWindow *>(made.get());
    if (!window) {
        m_ports.log.write(QStringLiteral("no window: ") + component.errorString().simplified());
        return nullptr;
    }
    (void)made.release();
    // The engine goes after the window, and not from inside the window's own end.
    QObject::connect(window, &QObject::destroyed, this, [engine = engine]() mutable {
        QMetaObject::invokeMethod(
            qGuiApp, [kept = std::move(engine)] {}, Qt::QueuedConnection);
    });
    return std::unique_ptr<QQuickWindow>(window);
}

void Program::applyLaunchAtLogin() const
{
    if (m_ports.applyLaunchAtLogin)
        m_ports.applyLaunchAtLogin();
}

void Program::postPreferencesChanged() const
{
    m_ports.notifications.post(preferencesChangedNotification);
    m_ports.notifications.post(updateMenubarDataNotification);
}

} // namespace lanterna
