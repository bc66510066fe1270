#pragma once

#include "platform/Dispatch.h"
#include "scan/ScanPorts.h"

#include <QByteArray>

#include <chrono>
#include <mutex>
#include <optional>

namespace lanterna
{

/// How far a scan has come, as one line for people, and how long it will still take. Values in, text out; it has no clock: `elapsed` is the time
/// since the scan began and never goes back.
///
/// The time left begins with what a scan takes by its own pace and follows the pace of this run. The bar never
/// goes back. The time left falls as fast as it may, but rises by no more than half a second in a second, so that it never seems to jump up.
class ScanProgressLine
{
public:
    using Time = std::chrono::nanoseconds;

    /// Takes the next step of the scan.
    void note(const ScanProgress &progress, Time elapsed);

    /// "[####......] Sweeping 192.168.1.x (1 of 2), host 37 of 254 … 0:41 left", at most so many columns; a narrow terminal loses the bar and then the
    /// end of the words. Empty before the first step.
    [[nodiscard]] QString line(Time elapsed, int columns);

    /// What the line shows: the time left, and the part that is done, 0 to 1.
    struct Estimate {
        Time left{};
        double done = 0;
    };
    [[nodiscard]] Estimate estimate(Time elapsed);

private:
    [[nodiscard]] Time hostPace() const;
    [[nodiscard]] Time timeLeft(Time elapsed) const;

    ScanProgress m_progress;
    bool m_begun = false;
    Time m_noted{}; // when the latest step came
    Time m_stageBegan{}; // of a sweep: its subnet's
    Time m_firstHost{}; // when this subnet's first host was probed
    int m_hostsTimed = 0; // in the subnets before this one
    Time m_timedHosts{}; // what those took

    std::optional<Time> m_shownLeft;
    Time m_shownAt{};
    double m_shownDone = 0;
};

/// Draws the line of a scan on a terminal, in place, and wipes it away at the end; on anything else it draws nothing. At most ten times a second.
///
/// Made and dropped on the main thread, which redraws it five times a second; `note` is for any thread. The descriptor and the dispatch outlive it.
class ScanProgressDisplay
{
public:
    ScanProgressDisplay(Dispatch &dispatch, int descriptor);
    /// Draws if `isTerminal`, whatever the descriptor is.
    ScanProgressDisplay(Dispatch &dispatch, int descriptor, bool isTerminal);
    ~ScanProgressDisplay();
    ScanProgressDisplay(const ScanProgressDisplay &) = delete;
    ScanProgressDisplay &operator=(const ScanProgressDisplay &) = delete;

    /// Takes the next step of the scan. Any thread.
    void note(const ScanProgress &progress);
    /// Prints a line of its own above; after `finish`, or where nothing is drawn, plainly. Any thread.
    void printAbove(const QByteArray &line);
    /// Wipes the line away and draws no more, so that something else can be printed. Any thread.
    void finish();

private:
    void draw();
    void put(const QByteArray &bytes) const;

    Dispatch &m_dispatch;
    const int m_descriptor;
    const std::chrono::nanoseconds m_began;

    std::mutex m_mutex; // guards what follows
    bool m_active;
    ScanProgressLine m_line;
    std::optional<std::chrono::nanoseconds> m_drawnAt;
    QByteArray m_drawn;
    TimerHandle m_timer;
};

} // namespace lanterna
