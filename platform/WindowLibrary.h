#pragma once

#include "platform/Desktop.h"

#include <functional>

namespace lanterna
{

/// What the library with the program's windows offers. The library is loaded when the first window is needed, since its graphics stack takes as much
/// memory as the rest of the program.
///
/// Main thread only. The object stays valid until the program ends.
class WindowLibrary
{
public:
    enum class Palette {
        desktop, ///< light or dark as the toolkit takes the desktop to be
        light,
        dark,
    };

    virtual ~WindowLibrary() = default;
    /// Shows the alert as a window of its own and calls `completion` once with the chosen button, from inside the event that chose it. One at a time:
    /// the caller waits before it shows the next. False when no window can be shown; `completion` is then not called.
    virtual bool showAlert(const Alert &alert, Palette palette, std::function<void(int button)> completion) = 0;

protected:
    WindowLibrary() = default;
    WindowLibrary(const WindowLibrary &) = default;
    WindowLibrary &operator=(const WindowLibrary &) = default;
};

/// The library's one exported function, `WindowLibrary *lanternaWindowLibrary()`.
using WindowLibraryFunction = WindowLibrary *(*)();
constexpr const char *windowLibraryFunctionName = "lanternaWindowLibrary";

} // namespace lanterna
