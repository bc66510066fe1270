#pragma once

#include <QList>
#include <QRect>
#include <QSize>

#include <cstdint>
#include <optional>

namespace lanterna
{

/// What one window of an X11 desktop reserves along the edges of the whole, all monitors together: _NET_WM_STRUT_PARTIAL of the Extended Window
/// Manager Hints. Native pixels.
struct PanelStrut {
    struct Edge {
        int depth = 0; ///< from the edge of the whole inwards; 0 for nothing
        int start = 0; ///< first row or column along the edge
        int end = 0; ///< last one, itself included

        bool operator==(const Edge &) const = default;
    };
    Edge left;
    Edge right;
    Edge top;
    Edge bottom;

    bool operator==(const PanelStrut &) const = default;
};

/// Reads the property: twelve numbers of _NET_WM_STRUT_PARTIAL, or the four of the older _NET_WM_STRUT, which reserves whole edges of `whole`.
/// Nothing for any other count, and for numbers that no desktop can have.
std::optional<PanelStrut> panelStrut(const QList<uint32_t> &numbers, const QSize &whole);

/// What the struts leave of each monitor, in the order of the monitors. A strut counts on a monitor when it covers a part of it, from its edge
/// inwards; one that would leave nothing belongs to a panel at an inner edge of another monitor, and does not count. `workAreas` are what the desktop
/// itself says it leaves of single monitors, where it does: its panel may be no window. Those that lie in no monitor do not count. The monitors' sizes may
/// be off by two pixels.
QList<QRect> visibleFrames(const QSize &whole, const QList<QRect> &monitors, const QList<PanelStrut> &struts, const QList<QRect> &workAreas = {});

} // namespace lanterna
