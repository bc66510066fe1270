#include "cli/ScanProgressLine.h"

#include "cli/TerminalScreen.h"
#include "cli/TextWidth.h"

#include <algorithm>
#include <cmath>

#include <poll.h>
#include <unistd.h>

namespace lanterna
{

namespace
{

using namespace std::chrono_literals;
using Time = ScanProgressLine::Time;
using Stage = ScanProgress::Stage;

constexpr int hostsPerSubnet = 254;
/// A sweep waits 100 ms between two hosts; the probe itself and the wake-up take the rest.
constexpr Time usualPace = 102ms;
/// What the pace of this run has to outweigh: so many hosts count as probed at the usual one.
constexpr int usualHosts = 32;
/// Each sweep begins with a ping to the broadcast address, which takes 1 to 4 s.
constexpr Time broadcastPing = 2500ms;
/// The scan's own waits and deadlines.
constexpr Time settlingTime = 3s;
constexpr Time namesTime = 5s;
constexpr Time servicesTime = 4s;
/// A scan that still runs is never shown as done.
constexpr Time shortestLeft = 1s;
constexpr double mostDone = 0.99;

/// Ten redraws a second are as many as anybody can read.
constexpr Time redrawGap = 100ms;
/// So often the time left is brought up to date when nothing happens.
constexpr std::chrono::milliseconds redrawPeriod = 200ms;

/// Cursor to the line's beginning, then clear to its end (ECMA-48 EL).
const QByteArray wiped = QByteArrayLiteral("\r\x1b[K");

Time stageTime(Stage stage)
{
    switch (stage) {
    case Stage::sweep:
        return broadcastPing + hostsPerSubnet * usualPace;
    case Stage::settling:
        return settlingTime;
    case Stage::names:
        return namesTime;
    case Stage::services:
        return servicesTime;
    }
    return {};
}

/// What the stages after this one take.
Time timeAfter(Stage stage)
{
    Time time{};
    for (const Stage later : {Stage::settling, Stage::names, Stage::services}) {
        if (later > stage)
            time += stageTime(later);
    }
    return time;
}

QString words(const ScanProgress &progress)
{
    switch (progress.stage) {
    case Stage::sweep: {
        QString text = QStringLiteral("Sweeping %1.x").arg(progress.subnet);
        if (progress.subnetCount > 1)
            text += QStringLiteral(" (%1 of %2)").arg(progress.subnetNumber).arg(progress.subnetCount);
        if (progress.host > 0)
            text += QStringLiteral(", host %1 of %2").arg(progress.host).arg(hostsPerSubnet);
        return text;
    }
    case Stage::settling:
        return QStringLiteral("Waiting for the last answers");
    case Stage::names:
        return QStringLiteral("Looking up names");
    case Stage::services:
        return QStringLiteral("Browsing for Bonjour services");
    }
    return {};
}

QString clock(Time left)
{
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(left).count();
    return QStringLiteral("%1:%2 left").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

/// The bar for a terminal of this width, with the space behind it; empty on narrow ones. Its length depends on the width alone, so that it stays
/// still while the words change. Plain ASCII: block characters take two columns on some terminals.
QString bar(double done, int columns)
{
    constexpr int wordsWidth = 66; // the longest usual words, the time left and the brackets
    if (columns < 40)
        return {};
    const int cells = std::clamp(columns - wordsWidth, 8, 30);
    const int full = static_cast<int>(std::floor(done * cells));
    return u'[' + QString(full, u'#') + QString(cells - full, u'.') + QStringLiteral("] ");
}

} // namespace

void ScanProgressLine::note(const ScanProgress &progress, Time elapsed)
{
    const bool sweeps = progress.stage == Stage::sweep;
    const bool same = m_begun && progress.stage == m_progress.stage && (!sweeps || progress.subnetNumber == m_progress.subnetNumber);
    if (!same) {
        if (m_begun && m_progress.stage == Stage::sweep && m_progress.host > 1) {
            m_hostsTimed += m_progress.host - 1;
            m_timedHosts += m_noted - m_firstHost;
        }
        m_stageBegan = elapsed;
    }
    if (sweeps && progress.host > 0 && (!same || m_progress.host == 0))
        m_firstHost = elapsed - (progress.host - 1) * usualPace; // the first that is heard of, as a rule number 1
    m_progress = progress;
    m_noted = elapsed;
    m_begun = true;
}

Time ScanProgressLine::hostPace() const
{
    int hosts = usualHosts + m_hostsTimed;
    Time time = usualHosts * usualPace + m_timedHosts;
    if (m_progress.stage == Stage::sweep && m_progress.host > 1) {
        hosts += m_progress.host - 1;
        time += m_noted - m_firstHost;
    }
    return time / hosts;
}

Time ScanProgressLine::timeLeft(Time elapsed) const
{
    const Time after = timeAfter(m_progress.stage);
    if (m_progress.stage != Stage::sweep)
        return after + std::max(Time{}, stageTime(m_progress.stage) - (elapsed - m_stageBegan));
    const Time pace = hostPace();
    Time left = after + std::max(0, m_progress.subnetCount - m_progress.subnetNumber) * (broadcastPing + hostsPerSubnet * pace);
    left += std::max(0, hostsPerSubnet - std::max(0, m_progress.host - 1)) * pace;
    if (m_progress.host == 0)
        return left + std::max(Time{}, broadcastPing - (elapsed - m_stageBegan));
    return left - std::min(elapsed - m_noted, pace); // of the host under way
}

ScanProgressLine::Estimate ScanProgressLine::estimate(Time elapsed)
{
    Time left = std::max(shortestLeft, timeLeft(elapsed));
    if (m_shownLeft)
        left = std::min(left, *m_shownLeft + std::max(Time{}, elapsed - m_shownAt) / 2);
    m_shownLeft = left;
    m_shownAt = elapsed;
    const double done = static_cast<double>(elapsed.count()) / static_cast<double>(std::max(elapsed + left, shortestLeft).count());
    m_shownDone = std::clamp(done, m_shownDone, mostDone);
    return {left, m_shownDone};
}

QString ScanProgressLine::line(Time elapsed, int columns)
{
    if (!m_begun || columns < 1)
        return {};
    const Estimate now = estimate(elapsed);
    const QString front = bar(now.done, columns);
    const QString time = clock(now.left);
    const QString text = harmless(words(m_progress));
    const int room = columns - columnsOf(front) - columnsOf(time);
    const QString whole = text + QStringLiteral(" … ");
    if (columnsOf(whole) <= room)
        return front + whole + time;
    constexpr int fewestWords = 10;
    return room <= fewestWords ? elided(text, columns) : front + elided(text, room - 1) + u' ' + time;
}

ScanProgressDisplay::ScanProgressDisplay(Dispatch &dispatch, int descriptor) : ScanProgressDisplay(dispatch, descriptor, isatty(descriptor) == 1) { }

ScanProgressDisplay::ScanProgressDisplay(Dispatch &dispatch, int descriptor, bool isTerminal)
    : m_dispatch(dispatch), m_descriptor(descriptor), m_began(dispatch.steadyNow()), m_active(isTerminal)
{
    if (!isTerminal)
        return;
    m_timer = dispatch.performEvery(redrawPeriod, [this] {
        const std::lock_guard lock(m_mutex);
        draw();
    });
}

ScanProgressDisplay::~ScanProgressDisplay()
{
    m_timer.cancel();
    finish();
}

void ScanProgressDisplay::note(const ScanProgress &progress)
{
    const std::lock_guard lock(m_mutex);
    m_line.note(progress, m_dispatch.steadyNow() - m_began);
    draw();
}

void ScanProgressDisplay::printAbove(const QByteArray &line)
{
    const std::lock_guard lock(m_mutex);
    put(m_drawn.isEmpty() ? line + '\n' : wiped + line + '\n' + m_drawn);
}

void ScanProgressDisplay::finish()
{
    const std::lock_guard lock(m_mutex);
    if (!m_drawn.isEmpty())
        put(wiped);
    m_drawn.clear();
    m_active = false;
}

void ScanProgressDisplay::draw()
{
    const auto now = m_dispatch.steadyNow();
    if (!m_active || (m_drawnAt && now - *m_drawnAt < redrawGap))
        return;
    // The last column stays free: a terminal that has just been filled to it may have gone on to the next line.
    const QByteArray text = m_line.line(now - m_began, terminalSize(m_descriptor).columns - 1).toUtf8();
    if (text == m_drawn)
        return;
    m_drawnAt = now;
    m_drawn = text;
    put('\r' + text + "\x1b[K"); // clearing last, so that nothing flickers
}

void ScanProgressDisplay::put(const QByteArray &bytes) const
{
    for (qsizetype at = 0; at < bytes.size();) {
        // A terminal that is held (Ctrl-S), or that nobody reads, must not hold the scan or its end; it misses a drawing.
        pollfd descriptor = {m_descriptor, POLLOUT, 0};
        if (poll(&descriptor, 1, 0) != 1)
            return;
        const auto written = write(m_descriptor, bytes.constData() + at, static_cast<size_t>(bytes.size() - at));
        if (written <= 0)
            return; // the terminal is gone
        at += written;
    }
}

} // namespace lanterna
