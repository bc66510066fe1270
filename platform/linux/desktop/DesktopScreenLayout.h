#pragma once

#include "platform/ScreenLayout.h"

#include <QPointF>

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
    /// On X11 while a compositor runs; elsewhere always.
    [[nodiscard]] bool blends() const override;
};

/// The monitors' frames alone, in the same order; asks nobody. Main thread only.
QList<QRectF> monitorFrames();
/// The mouse pointer in points; nothing on desktops that do not tell (all but X11). Main thread only.
std::optional<QPointF> pointerPosition();
/// In points, what a panel sent as the place of a click: on X11 pixels of the display. Nothing when no monitor is there, and for the corner 0,0,
/// which panels send that do not know. Main thread only.
std::optional<QPointF> placeSentByPanel(int x, int y);

} // namespace lanterna
