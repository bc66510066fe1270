#include "platform/linux/desktop/PanelStruts.h"

#include <algorithm>

namespace lanterna
{

namespace
{

constexpr uint32_t largest = 32767; // coordinates of the X protocol have 16 bits
/// With a scale factor that is no whole number the toolkit rounds a monitor's size twice, to points and back, and it may reach into its neighbour. No
/// panel is this thin, and no monitor.
constexpr int rounding = 2;

/// The rectangles that a strut reserves, edge by edge.
struct Reserved {
    QRect left;
    QRect right;
    QRect top;
    QRect bottom;
};

Reserved reserved(const PanelStrut &strut, const QSize &whole)
{
    const auto length = [](const PanelStrut::Edge &edge) { return edge.end - edge.start + 1; };
    return {
        QRect(0, strut.left.start, strut.left.depth, length(strut.left)),
        QRect(whole.width() - strut.right.depth, strut.right.start, strut.right.depth, length(strut.right)),
        QRect(strut.top.start, 0, length(strut.top), strut.top.depth),
        QRect(strut.bottom.start, whole.height() - strut.bottom.depth, length(strut.bottom), strut.bottom.depth),
    };
}

/// Whether the part of a strut in a monitor is as long as a panel, and leaves some of what lies across.
bool counts(int length, int depth, int across)
{
    return length > rounding && depth > 0 && across - depth > rounding;
}

void takeAway(QRect &visible, const QRect &monitor, const Reserved &panel)
{
    if (const QRect part = panel.left & monitor; counts(part.height(), part.width(), monitor.width()))
        visible.setLeft(std::max(visible.left(), part.right() + 1));
    if (const QRect part = panel.right & monitor; counts(part.height(), part.width(), monitor.width()))
        visible.setRight(std::min(visible.right(), part.left() - 1));
    if (const QRect part = panel.top & monitor; counts(part.width(), part.height(), monitor.height()))
        visible.setTop(std::max(visible.top(), part.bottom() + 1));
    if (const QRect part = panel.bottom & monitor; counts(part.width(), part.height(), monitor.height()))
        visible.setBottom(std::min(visible.bottom(), part.top() - 1));
}

} // namespace

std::optional<PanelStrut> panelStrut(const QList<uint32_t> &numbers, const QSize &whole)
{
    if ((numbers.size() != 4 && numbers.size() != 12) || std::any_of(numbers.begin(), numbers.end(), [](uint32_t n) { return n > largest; }))
        return std::nullopt;
    const bool partial = numbers.size() == 12;
    const auto edge = [&](qsizetype index, int wholeLength) {
        const auto number = [&](qsizetype at) { return static_cast<int>(numbers.at(at)); };
        const qsizetype range = 4 + 2 * index;
        return partial ? PanelStrut::Edge{number(index), number(range), number(range + 1)} : PanelStrut::Edge{number(index), 0, wholeLength - 1};
    };
    return PanelStrut{edge(0, whole.height()), edge(1, whole.height()), edge(2, whole.width()), edge(3, whole.width())};
}

QList<QRect> visibleFrames(const QSize &whole, const QList<QRect> &monitors, const QList<PanelStrut> &struts, const QList<QRect> &workAreas)
{
    QList<QRect> frames;
    for (const QRect &monitor : monitors) {
        QRect visible = monitor;
        for (const PanelStrut &strut : struts)
            takeAway(visible, monitor, reserved(strut, whole));
        for (const QRect &area : workAreas) {
            if (!area.isEmpty() && monitor.adjusted(-rounding, -rounding, rounding, rounding).contains(area))
                visible &= area;
        }
        frames.append(visible.isValid() ? visible : monitor);
    }
    return frames;
}

} // namespace lanterna
