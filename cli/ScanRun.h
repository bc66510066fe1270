#pragma once

#include "cli/ScanCommand.h"
#include "cli/SettingsCommand.h"
#include "scan/RangefinderCoreScanEngine.h"

#include <QTemporaryDir>

#include <memory>

namespace lanterna
{

/// The one pass of `lanternactl scan`. Main thread only.
///
/// Without `--save` it works on a copy of the settings, in a folder of its own that goes with it, so that no stored key changes.
class ScanRun
{
public:
    ScanRun(const ScanPorts &ports, const ScanOptions &options);

    /// Scans; `finished` comes once, on the main thread.
    void start(std::function<void()> finished);
    /// What to print, and the exit code. `columns` is the terminal's width, 0 for no terminal.
    [[nodiscard]] CommandResult result(int columns) const;
    /// Removes the copy of the settings from the disk, for a program that leaves without destroying this object.
    void removeCopy();

private:
    ScanOptions m_options;
    std::unique_ptr<QTemporaryDir> m_folder; // of the copy
    std::unique_ptr<SettingsStore> m_copiedSettings;
    SettingsStore &m_settings;
    RangefinderCoreScanEngine m_engine;
    QString m_error;
};

} // namespace lanterna
