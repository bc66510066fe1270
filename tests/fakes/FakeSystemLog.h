#pragma once

#include "platform/SystemLog.h"
#include "tests/support/NeverLogged.h"

#include <QStringList>

#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace lanterna
{

/// Keeps the lines that were logged. A line with a secret in it ends the test program. Any thread.
class FakeSystemLog : public SystemLog
{
public:
    void writeLine(const QString &line) override
    {
        refuseSecret(line);
        const std::lock_guard lock(m_mutex);
        m_lines.append(line);
    }
    [[nodiscard]] QStringList lines() const
    {
        const std::lock_guard lock(m_mutex);
        return m_lines;
    }
    [[nodiscard]] bool contains(const QString &line) const { return lines().contains(line); }
    [[nodiscard]] qsizetype count(const QString &line) const { return lines().count(line); }
    /// For other logs of the tests, too.
    static void refuseSecret(const QString &line)
    {
        if (!holdsSecret(line))
            return;
        std::fputs("a secret was about to be logged\n", stderr); // and not which
        std::abort();
    }
    void clear()
    {
        const std::lock_guard lock(m_mutex);
        m_lines.clear();
    }

private:
    mutable std::mutex m_mutex;
    QStringList m_lines;
};

} // namespace lanterna
