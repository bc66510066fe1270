#pragma once

#include "platform/Dispatch.h"

#include <chrono>
#include <optional>

namespace lanterna
{

/// Whether the clipboard belongs to a window of this program, as the display says: it refuses a claim that is older than another program's, and the
/// toolkit believes its own all the same. Nothing where the toolkit does not draw on X11. Main thread only.
std::optional<bool> ownsX11Clipboard();

/// Leaves what this program has on the X11 clipboard to the desktop's clipboard manager, where there is one; otherwise it goes with the program. Turns
/// the event loop, in which the manager fetches the text, until the manager has it or `atMost` has passed. Main thread only.
void handOverX11Clipboard(Dispatch &dispatch, std::chrono::milliseconds atMost);

} // namespace lanterna
