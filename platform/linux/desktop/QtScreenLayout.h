#pragma once

#include "platform/ScreenLayout.h"

namespace lanterna
{

/// The monitors as the toolkit knows them. Main thread only.
class QtScreenLayout : public ScreenLayout
{
public:
    [[nodiscard]] QList<Monitor> monitors() const override;
    /// On X11 while a compositor runs; elsewhere always.
    [[nodiscard]] bool blends() const override;
};

} // namespace lanterna
