#pragma once

#include "cli/SettingsCommand.h"

namespace lanterna
{

/// What `lanternactl snapshot` prints: the snapshot that the latest scan has stored, as compact JSON on one line, in the form of `scan --json`. Exit
/// code 1 and a line of error when none is stored.
CommandResult snapshotCommand(const SettingsStore &settings);

} // namespace lanterna
