#pragma once

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QObject>
#include <QWindow>

#include <algorithm>
#include <ctime>

namespace lanterna
{

/// Counts the frames that all windows draw from its making on, and the processor's time for them.
class FrameCounter : public QObject
{
    Q_OBJECT
public:
    FrameCounter()
    {
        m_time.start();
        for (const QWindow *window : QGuiApplication::allWindows()) {
            if (window->inherits("QQuickWindow"))
                connect(window, SIGNAL(frameSwapped()), this, SLOT(count()));
        }
    }
    /// "frames 91 in 1498 ms, longest gap 18 ms, processor 240 ms": from the first frame to the last.
    [[nodiscard]] QString result() const
    {
        if (m_frames == 0)
            return QStringLiteral("frames 0");
        return QStringLiteral("frames %1 in %2 ms, longest gap %3 ms, processor %4 ms")
            .arg(m_frames)
            .arg(m_last - m_first)
            .arg(m_longest)
            .arg(static_cast<long>(m_busy * 1000 / CLOCKS_PER_SEC));
    }

private:
    Q_SLOT void count()
    {
        const qint64 now = m_time.elapsed();
        if (m_frames++ == 0) {
            m_first = now;
            m_clock = std::clock();
        } else {
            m_longest = std::max(m_longest, now - m_last);
        }
        m_last = now;
        m_busy = std::clock() - m_clock;
    }

    QElapsedTimer m_time;
    int m_frames = 0;
    qint64 m_first = 0;
    qint64 m_last = 0;
    qint64 m_longest = 0;
    std::clock_t m_clock = 0;
    std::clock_t m_busy = 0;
};

} // namespace lanterna
