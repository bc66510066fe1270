#pragma once

#include "platform/StatusItem.h"
#include "platform/linux/PanelHosts.h"

namespace lanterna
{

/// What the item's picture is to be.
struct StatusPicture {
    enum class Kind { templateIcon, warning, address, lastOctets };

    Kind kind = Kind::templateIcon;
    QString text; ///< what to draw, for the last two kinds
    bool useName = true; ///< give the panel a name beside the pixels

    bool operator==(const StatusPicture &) const = default;
};

/// What a panel of some kind is shown for a content.
struct StatusPresentation {
    StatusPicture picture;
    QString label;
    QString labelGuide;
    QString toolTipTitle;
    QString toolTipText;
    QString description;
    bool needsAttention = false;

    bool operator==(const StatusPresentation &) const = default;
};

/// Decides what the panel is shown.
///
/// `textSetting` is the setting statusItemText: "label" (text beside the program's icon), "icon" (address drawn into the icon), "lastOctets" (its
/// last two octets, larger); anything else leaves the choice to what is known of the panel: text where it is drawn, the drawn icon where it is not,
/// both where nothing is known.
StatusPresentation presentStatus(const StatusItemContent &content, const PanelTraits &traits, const QString &textSetting);

/// The title in full: the tool tip's headline where it goes on where a title cut with "..." ends, else the title.
QString fullStatusTitle(const StatusItemContent &content);
/// The part of a title behind the interface name: "192.168.1.20" of "eth0: 192.168.1.20".
QString addressPart(const QString &title);
/// The widest text that a label like this one may become, so that the panel's other items stay where they are.
QString statusLabelGuide(const QString &label);

} // namespace lanterna
