#include "ui/ShadowImages.h"

#include <QStringList>

#include <algorithm>
#include <cmath>

namespace lanterna
{

namespace
{

constexpr int longestLength = 256; // pixels; the windows' shadows are a tenth of it

/// How far a point lies outside a box around the origin with rounded corners; negative inside.
double distanceFromBox(double x, double y, double halfSide, double radius)
{
    const double right = std::abs(x) - (halfSide - radius);
    const double down = std::abs(y) - (halfSide - radius);
    return std::hypot(std::max(right, 0.0), std::max(down, 0.0)) + std::min(std::max(right, down), 0.0) - radius;
}

/// 1 well inside, 0 from `extent` on, and without an edge between.
double shade(double distance, double extent)
{
    const double share = std::clamp((extent - distance) / (2 * extent), 0.0, 1.0);
    return share * share * (3 - 2 * share);
}

} // namespace

QImage shadowImage(int radius, int extent, const QColor &color)
{
    const int corner = 2 * extent + radius;
    const int side = 2 * corner + 1;
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < side; ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < side; ++x) {
            const double strength = shade(distanceFromBox(x - corner, y - corner, extent + radius + 0.5, radius), extent);
            line[x] = qPremultiply(qRgba(color.red(), color.green(), color.blue(), static_cast<int>(std::lround(255 * strength))));
        }
    }
    return image;
}

QImage ShadowImages::requestImage(const QString &id, QSize *size, const QSize &)
{
    const QStringList parts = id.split(QLatin1Char('/'));
    const int radius = parts.value(0).toInt();
    const int extent = parts.value(1).toInt();
    const QColor color(QLatin1Char('#') + parts.value(2));
    if (radius < 0 || extent < 1 || std::max(radius, extent) > longestLength || !color.isValid())
        return {};
    QImage image = shadowImage(radius, extent, color);
    if (size)
        *size = image.size();
    return image;
}

} // namespace lanterna
