#pragma once

#include "scan/Customizations.h"
#include "scan/DeviceClassification.h"
#include "scan/NetworkTables.h"

#include <QSet>
#include <QStringList>

#include <optional>

namespace lanterna
{

/// All that the stages of one scan found out, by address text.
struct ScanFindings {
    ARPTable arpTable;
    QHash<QString, QString> dnsNames; ///< from reverse DNS
    std::optional<QSet<QString>> pingable; ///< hosts that answered the quick test; without the set all count as answering
    QHash<QString, QStringList> services; ///< Bonjour types in order of arrival
    QHash<QString, QString> localNames; ///< Bonjour host names, with their trailing dot
    Customizations customizations;
    std::optional<ScanFilterPrefs> filterPrefs;
};

/// The devices of a scan, named, classified and filtered, in numeric order of their addresses. Pure; any thread.
QList<RGFCoreScanDevice> devicesOf(const ScanFindings &findings);

} // namespace lanterna
