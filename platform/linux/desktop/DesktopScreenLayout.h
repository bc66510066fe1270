#pragma once

#include "platform/ScreenLayout.h"

#include <QPoint>

#include <optional>

namespace lanterna
{

/// The monitors as the toolkit knows them. Main thread only.
///
/// On X11 what panels leave of each is worked out from what they reserve: with several monitors the toolkit's own answer includes the panels.
/// Elsewhere no program is told, and the toolkit's answer holds.
class DesktopScreenLayout : public ScreenLayout
{
public:
    [[nodiscard]] QList<Monitor> monitors() const override;
};

/// A native pixel of an X11 desktop in points; nothing when no monitor holds it. Main thread only.
std::optional<QPointF> pointOfNativePixel(const QPoint &pixel);

} // namespace lanterna
