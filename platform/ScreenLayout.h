#pragma once

#include <QList>
#include <QRectF>

namespace lanterna
{

/// Where windows may stand. Positions and sizes in points (device-independent pixels), y downwards, over all monitors together.
class ScreenLayout
{
public:
    struct Monitor {
        QRectF frame;
        QRectF visibleFrame; ///< what panels and docks leave of it
    };

    virtual ~ScreenLayout() = default;
    /// The monitors in the system's order; the first is the main one. Read anew at each call, since panels and monitors come and go. Empty while
    /// there is none. Main thread only.
    [[nodiscard]] virtual QList<Monitor> monitors() const = 0;
    [[nodiscard]] virtual bool blends() const = 0; ///< whether translucent windows show what is behind them
};

} // namespace lanterna
