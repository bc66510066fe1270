#include "ui/WelcomePopoverPresenter.h"

#include "ui/Program.h"

#include <QPainterPath>

namespace lanterna
{

namespace
{

constexpr std::chrono::seconds timeOut(60);

} // namespace

QRegion roundedRegion(const QSize &size, int radius)
{
    QPainterPath path;
    path.addRoundedRect(QRectF(QPointF(), size), radius, radius);
    return QRegion(path.toFillPolygon().toPolygon());
}

WelcomePopoverPresenter::WelcomePopoverPresenter(PrefsWindowBridge &prefs) : m_prefs(prefs) { }
WelcomePopoverPresenter::~WelcomePopoverPresenter() = default;

bool WelcomePopoverPresenter::showWelcomePopover()
{
    dismissWelcomePopover();
    const WindowPorts &ports = Program::current().ports();
    const bool blends = ports.screens.blends();
    m_popoverWindow = Program::current().makeWindow(QStringLiteral("WelcomePopoverWindow"), {{QStringLiteral("blends"), blends}});
    if (!m_popoverWindow)
        return false;
    connect(m_popoverWindow.get(), SIGNAL(preferencesRequested()), this, SLOT(showPreferences()));
    connect(m_popoverWindow.get(), SIGNAL(dismiss()), this, SLOT(dismissWelcomePopover()));
    // What is not drawn would be black where nothing shows through.
    if (!blends)
        m_popoverWindow->setMask(roundedRegion(m_popoverWindow->size(), m_popoverWindow->property("cornerRadius").toInt()));
    place();
    m_popoverWindow->show();
    m_popoverWindow->raise();
    m_popoverWindow->requestActivate();
    m_timeOut = ports.dispatch.performAfter(timeOut, [this] {
        if (m_popoverWindow->isVisible())
            dismissWelcomePopover();
    });
    return true;
}

void WelcomePopoverPresenter::dismissWelcomePopover()
{
    m_timeOut.cancel();
    if (!m_popoverWindow)
        return;
    // It may be in the middle of a click of its own.
    m_popoverWindow->disconnect(this);
    m_popoverWindow->hide();
    m_popoverWindow.release()->deleteLater();
}

void WelcomePopoverPresenter::showPreferences()
{
    m_prefs.showPreferencesWindow();
}

void WelcomePopoverPresenter::place()
{
    const QList<ScreenLayout::Monitor> monitors = Program::current().ports().screens.monitors();
    if (monitors.isEmpty())
        return;
    const QPointF middle = monitors.constFirst().visibleFrame.center();
    m_popoverWindow->setPosition(QPointF(middle.x() - m_popoverWindow->width() / 2.0, middle.y() - m_popoverWindow->height() / 2.0).toPoint());
}

} // namespace lanterna
