#pragma once

#include <QString>

namespace lanterna
{

/// Writes a line to standard output, without a buffer, and waits for nobody: what finds no room there, as in a pipe that nobody reads, is dropped.
/// Nothing is written where the reader is gone. Control characters are written out. One thread.
void printLine(const QString &line);

} // namespace lanterna
