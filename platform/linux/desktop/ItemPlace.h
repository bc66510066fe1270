#pragma once

#include <QList>
#include <QPointF>
#include <QRectF>

#include <chrono>
#include <optional>

namespace lanterna
{

/// Where the item in the panel stands, worked out from clicks: no panel tells it outright. Points; times of the steady clock.
///
/// Some panels send the place of a click, some only open the menu (the pointer is on the item then). Either counts for as long as a menu stays open
/// in front of a person: afterwards the item may have moved, or another panel been clicked that tells nothing. It does not count either while the
/// pointer is on another monitor, since a row was chosen there just now. What is left then is the pointer itself, which is in the menu, near the item.
class ItemPlace
{
public:
    static constexpr std::chrono::seconds memory{60};

    /// A panel sent the place of a click.
    void noteTold(double x, std::chrono::nanoseconds now) { m_told = {x, now}; }
    /// A panel opens the menu, and the pointer is here.
    void noteOpened(double x, std::chrono::nanoseconds now) { m_opened = {x, now}; }

    /// The best guess: the click that was told, else the opening, else the pointer, else an old click; nothing when there was none of them.
    [[nodiscard]] std::optional<double> x(std::chrono::nanoseconds now, const std::optional<QPointF> &pointer, const QList<QRectF> &monitors) const;

private:
    struct Click {
        double x = 0;
        std::chrono::nanoseconds at{0};
    };

    std::optional<Click> m_told;
    std::optional<Click> m_opened;
};

} // namespace lanterna
