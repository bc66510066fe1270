#pragma once

#include "platform/Menu.h"

#include <QString>

#include <functional>
#include <optional>

namespace lanterna
{

/// The picture of a status item.
enum class StatusImage {
    none, ///< text only
    templateIcon, ///< the program's own icon, tinted by the panel
    locationWarning, ///< orange warning triangle; the item asks for attention
};

/// What a status item shows.
struct StatusItemContent {
    QString title; ///< text beside or inside the icon; empty for none
    StatusImage image = StatusImage::none;
    QString accessibilityDescription; ///< what the image means; empty for none
    QString tooltip; ///< plain text; first line is the headline

    bool operator==(const StatusItemContent &) const = default;
};

/// The program's item in the desktop panel (or its stand-in on a terminal), with its menu. Main thread only.
class StatusItem
{
public:
    struct Events {
        std::function<void()> middleClicked; ///< the item itself, not its menu
        std::function<void(const QString &appearanceName)> appearanceChanged; ///< "dark" or "light"; the first call comes soon after `start`
    };

    virtual ~StatusItem() = default;

    /// Appears in the panel, now or as soon as there is one. Called once.
    virtual void start(Events events) = 0;
    /// Shows this content; content equal to what is shown sends nothing.
    virtual void setContent(const StatusItemContent &content) = 0;
    /// Shows this menu; one that looks like the shown one sends nothing, and only takes over the actions.
    virtual void setMenu(const Menu &menu) = 0;

    /// Where the item's middle is, from left to right, in points over all monitors; nothing while nobody knows. As far as clicks tell: panels do not
    /// say where an item stands.
    [[nodiscard]] virtual std::optional<double> centreX() const = 0;
};

} // namespace lanterna
