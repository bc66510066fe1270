#pragma once

#include "platform/SettingsStore.h"

namespace lanterna
{

/// The display mode with which a core starts: the stored `whichIP`; while that is 0 or absent, the legacy choice (2 for "WAN", else 1).
qlonglong startDisplayMode(const SettingsStore &settings);

/// Whether the WAN address may be looked up; so unless `WANLookupEnabled` says no.
bool wanLookupEnabled(const SettingsStore &settings);

/// The WAN text to show: the stored one, "gathering..." while there is none, "offline" while lookups are switched off.
QString shownWANText(const SettingsStore &settings);

/// The entries of the stored interface list `nics`; none when it is absent or no list.
QStringList storedInterfaces(const SettingsStore &settings);

} // namespace lanterna
