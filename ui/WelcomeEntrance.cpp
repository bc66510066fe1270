#include "ui/WelcomeEntrance.h"

#include <QEasingCurve>
#include <QPointF>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace lanterna
{

namespace
{

constexpr double response = 0.8;
constexpr double damping = 0.6;
constexpr qreal firstScale = 0.8;
constexpr std::array<qreal, 4> starts{0.3, 0.5, 0.6, 0.7}; // seconds after the card appeared
constexpr qreal arrivalTime = 0.6;
/// By then the icon is within a thousandth of its size, a fraction of a pixel, and the last block has been in its place for 0.2 s.
constexpr qreal settled = 1.5;

} // namespace

double springProgress(double seconds)
{
    const double time = std::max(0.0, seconds);
    const double frequency = 2 * std::numbers::pi / response;
    const double rate = damping * frequency;
    const double damped = frequency * std::sqrt(1 - damping * damping);
    return 1 - std::exp(-rate * time) * (std::cos(damped * time) + rate / damped * std::sin(damped * time));
}

double easeOutProgress(double share)
{
    static const QEasingCurve curve = [] {
        QEasingCurve made(QEasingCurve::BezierSpline);
        made.addCubicBezierSegment(QPointF(0, 0), QPointF(0.58, 1), QPointF(1, 1));
        return made;
    }();
    return std::clamp(curve.valueForProgress(std::clamp(share, 0.0, 1.0)), 0.0, 1.0);
}

qreal WelcomeEntrance::duration() const
{
    return settled;
}

qreal WelcomeEntrance::iconScale() const
{
    return over() ? 1 : firstScale + (1 - firstScale) * springProgress(m_seconds);
}

qreal WelcomeEntrance::iconOpacity() const
{
    return over() ? 1 : std::clamp(springProgress(m_seconds), 0.0, 1.0);
}

QList<qreal> WelcomeEntrance::arrivals() const
{
    QList<qreal> come;
    for (const qreal start : starts)
        come.append(over() ? 1 : easeOutProgress((m_seconds - start) / arrivalTime));
    return come;
}

} // namespace lanterna
