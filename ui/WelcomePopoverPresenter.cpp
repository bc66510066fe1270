#include "ui/WelcomePopoverPresenter.h"

#include "ui/Program.h"

#include <algorithm>
#include <cmath>

namespace lanterna
{

namespace
{

constexpr std::chrono::seconds timeOut(60);

} // namespace

QRegion roundedRegion(const QSize &size, int radius)
{
    QRegion region(0, radius, size.width(), size.height() - 2 * radius);
    for (int y = 0; y < radius; ++y) {
        const double fromMiddle = radius - y - 0.5;
        const int inset = static_cast<int>(std::lround(radius - std::sqrt(radius * radius - fromMiddle * fromMiddle)));
        region += QRect(inset, y, size.width() - 2 * inset, 1);
        region += QRect(inset, size.height() - 1 - y, size.width() - 2 * inset, 1);
    }
    return region;
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
    place();
    // What is not drawn would be black where nothing shows through.
    if (!blends)
        m_popoverWindow->setMask(roundedRegion(m_popoverWindow->size(), m_popoverWindow->property("cornerRadius").toInt()));
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
    const QRectF frame = monitors.constFirst().visibleFrame;
    const QSizeF wanted = m_popoverWindow->size();
    // A large font on a small monitor: the whole card is drawn smaller, so that its buttons can be reached.
    m_popoverWindow->setProperty("fit", std::min({1.0, frame.width() / wanted.width(), frame.height() / wanted.height()}));
    const QPointF middle = frame.center();
    m_popoverWindow->setPosition(QPointF(middle.x() - m_popoverWindow->width() / 2.0, middle.y() - m_popoverWindow->height() / 2.0).toPoint());
}

} // namespace lanterna
