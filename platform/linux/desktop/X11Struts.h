#pragma once

#include "platform/linux/desktop/PanelStruts.h"

#include <xcb/xcb.h>

#include <optional>

namespace lanterna
{

/// The panels of an X11 desktop.
struct X11Struts {
    QSize whole; ///< all monitors together, native pixels
    QList<PanelStrut> struts;
    QList<QRect> workAreas; ///< what a desktop that draws its panel without a window leaves of each monitor; most tell none
};

/// Asks the display for the space that windows reserve: those that the window manager lists, and visible ones that it does not manage. A handful of
/// round trips. Nothing where the display does not answer. Main thread only.
std::optional<X11Struts> readX11Struts(xcb_connection_t *connection);

} // namespace lanterna
