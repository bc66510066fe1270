#include "ui/QuickWindows.h"

extern "C" Q_DECL_EXPORT lanterna::WindowLibrary *lanternaWindowLibrary()
{
    // Never destroyed: at the end of the process the toolkit below it may be gone already.
    static auto *windows = new lanterna::QuickWindows;
    return windows;
}
