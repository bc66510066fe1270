#pragma once

#include "platform/SystemLog.h"

#include <cstdio>

namespace lanterna
{

/// One line on standard output, at once.
inline void say(const QString &line)
{
    std::puts(qUtf8Printable(line));
    std::fflush(stdout);
}

/// Prints the log, each line after the word "log".
class PrintedLog : public SystemLog
{
public:
    void writeLine(const QString &line) override { say(QStringLiteral("log ") + line); }
};

} // namespace lanterna
