#pragma once

#include "cli/SettingsCommand.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

namespace lanterna
{

/// What `lanternactl history` was asked for.
struct HistoryOptions {
    enum class Format {
        table, ///< for people
        json,
        csv,
    };
    Format format = Format::table;
    int days = 90; ///< as many as files are kept; the range ends now
    QString network = {}; ///< key, subnet or printed title, see `isCalled`; empty for all
    QString plot = {}; ///< file for the chart; empty for none
    bool operator==(const HistoryOptions &) const = default;
};

/// Options as read, or what is wrong with them.
struct ParsedHistoryOptions {
    HistoryOptions options;
    QString error; ///< one line, a matter of usage (exit status 2); empty when all is well
};

/// More days than anyone keeps files for.
inline constexpr int mostHistoryDays = 3650;

/// Reads the arguments after "history". Of a repeated option the last counts; asking for two formats is an error.
ParsedHistoryOptions parseHistoryOptions(const QStringList &arguments);

/// Where and when the command runs.
struct HistoryPlace {
    QString folder; ///< of the history
    QDateTime now;
    int columns = 0; ///< the terminal's width, 0 for no terminal
    unsigned threads = 1; ///< that read files
};

/// Summarises the history, writes the chart if one is asked for, and tells what to print. Fails where there is no history, or none of that range and
/// network.
CommandResult historyCommand(const HistoryOptions &options, const HistoryPlace &place);

} // namespace lanterna
