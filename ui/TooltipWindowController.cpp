#include "ui/TooltipWindowController.h"

#include "ui/Program.h"
#include "ui/TooltipPlacement.h"
#include "ui/WelcomePopoverPresenter.h"

#include <QGuiApplication>
#include <QScreen>

namespace lanterna
{

namespace
{

const QString view = QStringLiteral("TooltipView");
constexpr std::chrono::milliseconds fadeOutTime{150}; // as the view draws it

} // namespace

TooltipWindowController::TooltipWindowController()
{
    // A monitor that goes takes no bubble along. The toolkit moves the window first, and does not know where to.
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, [this] {
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (m_window)
                    place();
            },
            Qt::QueuedConnection);
    });
}

TooltipWindowController::~TooltipWindowController() = default;

void TooltipWindowController::show(const QString &message, double x, std::chrono::milliseconds duration)
{
    close();
    Program &program = Program::current();
    const WindowPorts &ports = program.ports();
    program.keepCompiled(view); // a message comes at a click, and the next ones are not to be waited for
    const bool blends = ports.screens.blends();
    m_window = program.makeWindow(view, {{QStringLiteral("message"), message}, {QStringLiteral("blends"), blends}});
    if (!m_window)
        return;
    m_x = x;
    if (!place()) {
        close();
        return;
    }
    // What is not drawn would be black where nothing shows through.
    if (!blends) {
        const QRect bubble = m_window->property("bubbleFrame").toRect();
        m_window->setMask(roundedRegion(bubble.size(), m_window->property("cornerRadius").toInt()).translated(bubble.topLeft()));
    }
    m_window->show();
    m_window->setProperty("shown", true);
    m_hideTask = ports.dispatch.performAfter(duration, [this] { hide(); });
}

void TooltipWindowController::hide()
{
    if (!m_window)
        return;
    const Program &program = Program::current();
    m_window->setProperty("shown", false);
    if (program.animated())
        m_hideTask = program.ports().dispatch.performAfter(fadeOutTime, [this] { close(); });
    else
        close();
}

void TooltipWindowController::close()
{
    m_hideTask.cancel();
    m_window.reset();
}

bool TooltipWindowController::place()
{
    const Program &program = Program::current();
    const QRect frame = tooltipFrame(m_window->property("fittingSize").toSizeF(), m_x, program.ports().screens.monitors(), program.scale());
    if (frame.isNull())
        return false;
    // First, since each monitor may have a scale of its own.
    if (QScreen *screen = QGuiApplication::screenAt(frame.center()))
        m_window->setScreen(screen);
    m_window->setGeometry(frame);
    return true;
}

void TooltipBridge::showMessage(const QString &message, double atXPosition)
{
    Program::current().ports().dispatch.mainAsync([controller = std::weak_ptr(m_controller), message, atXPosition] {
        if (const auto alive = controller.lock())
            alive->show(message, atXPosition, displayTime);
    });
}

} // namespace lanterna
