#pragma once

#include <QColor>
#include <QImage>
#include <QQuickImageProvider>

namespace lanterna
{

/// The soft shadow of a box with rounded corners, as a picture in nine parts: corners of `2 * extent + radius` pixels and one stretchable pixel between.
///
/// `radius` is that of the box's corners, `extent` how far the shadow reaches beyond the box; under the box it reaches full strength as far inside.
[[nodiscard]] QImage shadowImage(int radius, int extent, const QColor &color);

/// Shadows for QML, which cannot draw them without a graphics card: `image://shadow/RADIUS/EXTENT/RRGGBB`. An address of any other form gives no picture.
class ShadowImages : public QQuickImageProvider
{
public:
    ShadowImages() : QQuickImageProvider(Image) { }

    QImage requestImage(const QString &id, QSize *size, const QSize &requestedSize) override;
};

} // namespace lanterna
