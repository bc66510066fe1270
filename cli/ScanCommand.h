#pragma once

#include <QString>
#include <QStringList>

namespace lanterna
{

/// What `lanternactl scan` was asked for.
struct ScanOptions {
    enum class Format {
        table, ///< for people
        json, ///< the snapshot's dictionary
        csv,
    };
    Format format = Format::table;
    bool save = false; ///< store and announce the snapshot
    bool sweep = true; ///< false reads what the ARP table holds and sends no probe
    bool operator==(const ScanOptions &) const = default;
};

/// Options as read, or what is wrong with them.
struct ParsedScanOptions {
    ScanOptions options;
    QString error; ///< one line, a matter of usage (exit status 2); empty when all is well
};

/// Reads the arguments after "scan". Repeating an option changes nothing; asking for two formats is an error.
ParsedScanOptions parseScanOptions(const QStringList &arguments);

} // namespace lanterna
