#pragma once

#include "platform/ScreenLayout.h"

#include <QRect>
#include <QSizeF>

namespace lanterna
{

/// Where the bubble of a message stands: just under the panel, with its middle at x where the monitor has room for that.
///
/// `fitting` is the size that the message needs, `scale` what sizes in points are multiplied by. The monitor is the first that spans x, else the main
/// one. Where the panel is at the bottom only, the bubble sits above that. Never higher than the visible frame. Null without a monitor.
[[nodiscard]] QRect tooltipFrame(const QSizeF &fitting, double x, const QList<ScreenLayout::Monitor> &monitors, double scale = 1);

} // namespace lanterna
