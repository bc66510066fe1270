#include "cli/ScanRun.h"

#include "cli/ScanReport.h"
#include "platform/Json.h"

namespace lanterna
{

namespace
{

/// A store in the folder that holds what the original holds.
std::unique_ptr<SettingsStore> copyOf(const SettingsStore &original, const QString &folder, SystemLog &log)
{
    auto copy = std::make_unique<SettingsStore>(folder, log);
    for (const QString &key : original.keys())
        copy->setValue(key, original.value(key));
    return copy;
}

/// Only what is saved belongs to the history.
ScanPorts with(const ScanPorts &ports, SettingsStore &settings, const ScanOptions &options)
{
    return {ports.dispatch, settings, ports.notifications, ports.log, ports.kernel, ports.wiFiClient, ports.probes, ports.processes, ports.names,
        ports.tester, ports.discovery, ports.requestAuthorization, options.save ? ports.recordSnapshot : nullptr, ports.progress, options.sweep};
}

} // namespace

ScanRun::ScanRun(const ScanPorts &ports, const ScanOptions &options)
    : m_options(options), m_folder(options.save ? nullptr : std::make_unique<QTemporaryDir>()),
      m_copiedSettings(m_folder ? copyOf(ports.settings, m_folder->path(), ports.log) : nullptr),
      m_settings(m_copiedSettings ? *m_copiedSettings : ports.settings), m_engine(with(ports, m_settings, options))
{
}

void ScanRun::start(std::function<void()> finished)
{
    m_engine.scanAndSaveSnapshotWithCompletion([this, finished = std::move(finished)](bool, const QString &error) {
        m_error = error;
        finished();
    });
}

void ScanRun::removeCopy()
{
    if (m_folder)
        m_folder->remove();
}

CommandResult ScanRun::result(int columns) const
{
    if (!m_error.isEmpty())
        return {1, {}, m_error};
    const QList<RGFCoreScanDevice> &devices = m_engine.devices();
    const QString network = m_engine.chosenSSID();
    switch (m_options.format) {
    case ScanOptions::Format::json: {
        // A scan without devices leaves the stored snapshot as it was.
        const QVariantMap snapshot =
            devices.isEmpty() ? m_engine.formatSnapshotDict(devices, network) : m_settings.dictionary(QStringLiteral("latestLocalSnapshot"));
        return {0, QString::fromUtf8(compactJson(snapshot)) + u'\n', {}};
    }
    case ScanOptions::Format::csv:
        return {0, scanCsv(devices, VendorLookup()), {}};
    case ScanOptions::Format::table:
        break;
    }
    return {0, scanTable(devices, VendorLookup(), columns, network), {}};
}

} // namespace lanterna
