#pragma once

#include "platform/SystemLog.h"

#include <QStringList>

#include <mutex>

namespace lanterna
{

/// Keeps the lines that were logged. Any thread.
class FakeSystemLog : public SystemLog
{
public:
    void writeLine(const QString &line) override
    {
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
