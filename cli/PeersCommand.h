#pragma once

#include <QString>
#include <QStringList>

#include <chrono>

namespace lanterna
{

/// What `lanternactl peers` was asked for.
struct PeersOptions {
    std::chrono::seconds timeout{4}; ///< how long sensors are looked for, 1 to 60 s
    bool json = false;
    bool operator==(const PeersOptions &) const = default;
};

/// Options as read, or what is wrong with them.
struct ParsedPeersOptions {
    PeersOptions options;
    QString error; ///< one line, a matter of usage (exit status 2); empty when all is well
};

/// Reads the arguments after "peers". Of several time-outs the last counts.
ParsedPeersOptions parsePeersOptions(const QStringList &arguments);

} // namespace lanterna
