#pragma once

#include <QString>
#include <QStringList>

namespace lanterna
{

/// A pop-up button as a plain value: its choices and the title it shows.
struct PopUpButton {
    QStringList items;
    QString title;
};

/// The four pop-ups of the old preferences. Nothing shows them any more; what they write is still understood.
struct LegacyPreferences {
    PopUpButton lan_or_wan;
    PopUpButton updateFrequencyLAN; ///< seconds
    PopUpButton updateFrequencyWAN; ///< minutes
    PopUpButton rendezvous_frequency; ///< stays empty
};

} // namespace lanterna
