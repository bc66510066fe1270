#pragma once

#include "publish/HistoryDay.h"

#include <memory>

namespace lanterna
{

/// Reads lines of the history, one after another, into a day. Untrusted bytes: a line that is not as docs/formats/history.md says is counted and
/// changes nothing else.
///
/// One thread at a time. Keeps what devices looked like in earlier lines, since most lines repeat the one before: bounded, a few megabytes.
class HistoryLineReader
{
public:
    HistoryLineReader();
    ~HistoryLineReader();
    HistoryLineReader(const HistoryLineReader &) = delete;
    HistoryLineReader &operator=(const HistoryLineReader &) = delete;

    /// So many bytes behind a line must be readable, whatever they hold.
    static constexpr std::size_t padding = 64;

    /// Begins the file of a day; the lines that follow go there. The day outlives its lines.
    void begin(HistoryDay &day);
    /// Takes a line without its line end. Blank lines are passed over.
    void read(const char *line, std::size_t length);

private:
    class Parser;
    std::unique_ptr<Parser> m_parser;
};

} // namespace lanterna
