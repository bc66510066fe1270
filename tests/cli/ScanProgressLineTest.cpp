#include "cli/ScanProgressLine.h"
#include "cli/TextWidth.h"
#include "tests/fakes/VirtualDispatch.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

using Stage = ScanProgress::Stage;

ScanProgress host(int number, int subnet = 1, int subnets = 1)
{
    return {Stage::sweep, QStringLiteral("192.168.%1").arg(subnet), subnet, subnets, number};
}

ScanProgress stage(Stage which)
{
    return {which, {}, 0, 1, 0};
}

/// A scan played through, step by step; looks at the line at each step and every 100 ms in between.
class Played
{
public:
    void step(const ScanProgress &progress) { m_line.note(progress, m_now); }
    void pass(std::chrono::nanoseconds duration)
    {
        for (const auto end = m_now + duration; m_now < end;) {
            m_now = std::min<std::chrono::nanoseconds>(end, m_now + 100ms);
            look();
        }
    }
    void sweep(std::chrono::nanoseconds pace, int subnet = 1, int subnets = 1, std::chrono::nanoseconds ping = 2s)
    {
        step(host(0, subnet, subnets));
        pass(ping);
        for (int number = 1; number <= 254; ++number) {
            step(host(number, subnet, subnets));
            pass(pace);
        }
    }
    void finish(std::chrono::nanoseconds names)
    {
        step(stage(Stage::settling));
        pass(3s);
        step(stage(Stage::names));
        pass(names);
        step(stage(Stage::services));
        pass(4s);
    }
    [[nodiscard]] double leftSeconds() const { return std::chrono::duration<double>(m_last.left).count(); }
    [[nodiscard]] double done() const { return m_last.done; }
    [[nodiscard]] double highestRise() const { return m_highestRise; }
    [[nodiscard]] bool barWentBack() const { return m_wentBack; }

private:
    void look()
    {
        const ScanProgressLine::Estimate next = m_line.estimate(m_now);
        if (m_looked) {
            m_highestRise = std::max(m_highestRise, std::chrono::duration<double>(next.left - m_last.left).count());
            m_wentBack = m_wentBack || next.done < m_last.done;
        }
        m_last = next;
        m_looked = true;
    }

    ScanProgressLine m_line;
    std::chrono::nanoseconds m_now{0};
    ScanProgressLine::Estimate m_last;
    bool m_looked = false;
    double m_highestRise = 0;
    bool m_wentBack = false;
};

QString lineOf(const ScanProgress &progress, int columns, std::chrono::nanoseconds elapsed = 0s)
{
    ScanProgressLine line;
    line.note(progress, elapsed);
    return line.line(elapsed, columns);
}

TEST(ScanProgressLine, SaysWhatTheScanDoes)
{
    EXPECT_EQ(lineOf(host(37, 1, 2), 80).toStdString(), "[..............] Sweeping 192.168.1.x (1 of 2), host 37 of 254 … 1:03 left");
    EXPECT_EQ(lineOf(host(0), 80).toStdString(), "[..............] Sweeping 192.168.1.x … 0:41 left");
    EXPECT_EQ(lineOf(stage(Stage::settling), 80, 30s).toStdString(), "[##########....] Waiting for the last answers … 0:12 left");
    EXPECT_EQ(lineOf(stage(Stage::names), 80, 33s).toStdString(), "[###########...] Looking up names … 0:09 left");
    EXPECT_EQ(lineOf(stage(Stage::services), 80, 38s).toStdString(), "[############..] Browsing for Bonjour services … 0:04 left");
}

TEST(ScanProgressLine, SaysNothingBeforeTheFirstStep)
{
    ScanProgressLine line;
    EXPECT_EQ(line.line(1s, 80), QString());
}

TEST(ScanProgressLine, IsNeverWiderThanAllowed)
{
    for (int columns = 0; columns < 130; ++columns)
        EXPECT_LE(columnsOf(lineOf(host(254, 177, 12), columns)), columns) << columns;
    EXPECT_EQ(lineOf(host(37), 39).toStdString(), "Sweeping 192.168.1.x, host 3… 0:35 left");
}

TEST(ScanProgressLine, AUsualScanIsForetoldToASecondOrTwo)
{
    Played scan;
    scan.step(host(0));
    scan.pass(100ms);
    const double foretold = scan.leftSeconds();
    EXPECT_NEAR(foretold, 2.5 + 254 * 0.102 + 3 + 5 + 4, 0.2);
    scan.sweep(102ms, 1, 1, 2500ms);
    EXPECT_NEAR(scan.leftSeconds(), 12, 0.3);
}

TEST(ScanProgressLine, TheTimeLeftFollowsThePaceOfThisRun)
{
    Played scan;
    scan.step(host(0));
    scan.pass(2s);
    for (int number = 1; number <= 127; ++number) {
        scan.step(host(number));
        scan.pass(200ms);
    }
    // At the usual pace 13 s of hosts would be left, at this one 25 s.
    EXPECT_GT(scan.leftSeconds(), 20 + 12);
    EXPECT_LT(scan.leftSeconds(), 26 + 12);
}

TEST(ScanProgressLine, TheTimeLeftNeverJumpsUpAndTheBarNeverGoesBack)
{
    for (const auto pace : {60ms, 102ms, 180ms}) {
        for (const auto names : {200ms, 5000ms}) {
            Played scan;
            scan.sweep(pace, 1, 2);
            scan.sweep(pace + 30ms, 2, 2, 4s);
            scan.finish(names);
            EXPECT_LE(scan.highestRise(), 0.051);
            EXPECT_FALSE(scan.barWentBack());
            EXPECT_LE(scan.leftSeconds(), 1.0);
            EXPECT_GT(scan.done(), 0.95);
        }
    }
}

TEST(ScanProgressLine, StepsThatComeOutOfOrderDoNotMoveTheBarBack)
{
    Played scan;
    scan.sweep(10ms);
    scan.finish(1s);
    scan.sweep(10ms, 2, 2);
    EXPECT_FALSE(scan.barWentBack());
    EXPECT_LE(scan.highestRise(), 0.051);
}

TEST(ScanProgressLine, AScanThatHangsIsNotShownAsDone)
{
    Played scan;
    scan.step(stage(Stage::services));
    scan.pass(600s);
    EXPECT_EQ(scan.leftSeconds(), 1);
    EXPECT_LE(scan.done(), 0.99);
}

TEST(ScanProgressLine, WithoutASweepOnlyTheRestIsForetold)
{
    Played scan;
    scan.step(stage(Stage::names));
    scan.pass(1s);
    EXPECT_NEAR(scan.leftSeconds(), 8, 0.01);
}

/// A display on a pipe, in virtual time.
class ScanProgressDisplayTest : public testing::Test
{
protected:
    ScanProgressDisplayTest() { EXPECT_EQ(pipe2(m_ends.data(), O_NONBLOCK), 0); }
    ~ScanProgressDisplayTest() override
    {
        close(m_ends[0]);
        close(m_ends[1]);
    }
    QByteArray taken()
    {
        std::array<char, 65536> bytes{};
        const auto size = read(m_ends[0], bytes.data(), bytes.size());
        return size > 0 ? QByteArray(bytes.data(), size) : QByteArray();
    }
    [[nodiscard]] int descriptor() const { return m_ends[1]; }

    VirtualDispatch dispatch;

private:
    std::array<int, 2> m_ends{};
};

TEST_F(ScanProgressDisplayTest, DrawsInPlaceAndWipesTheLineAway)
{
    {
        ScanProgressDisplay display(dispatch, descriptor(), true);
        display.note(stage(Stage::names));
        EXPECT_EQ(taken(), "\r[.............] Looking up names … 0:09 left\x1b[K");
        dispatch.advance(1s);
        EXPECT_TRUE(taken().endsWith("\r[#............] Looking up names … 0:08 left\x1b[K"));
    }
    EXPECT_EQ(taken(), "\r\x1b[K");
    dispatch.advance(5s);
    EXPECT_EQ(taken(), "");
}

TEST_F(ScanProgressDisplayTest, DrawsAtMostTenTimesASecond)
{
    ScanProgressDisplay display(dispatch, descriptor(), true);
    for (int number = 1; number <= 245; ++number) {
        display.note(host(number));
        dispatch.advance(4ms);
    }
    const auto drawings = taken().count('\r');
    EXPECT_LE(drawings, 10);
    EXPECT_GE(drawings, 5);
}

TEST_F(ScanProgressDisplayTest, DrawsNothingWhereThereIsNoTerminal)
{
    ScanProgressDisplay display(dispatch, descriptor());
    display.note(host(1));
    dispatch.advance(10s);
    display.finish();
    EXPECT_EQ(taken(), "");
    display.printAbove("a log line");
    EXPECT_EQ(taken(), "a log line\n");
}

TEST_F(ScanProgressDisplayTest, OtherLinesScrollByAboveIt)
{
    ScanProgressDisplay display(dispatch, descriptor(), true);
    display.note(stage(Stage::names));
    const QByteArray drawn = taken().mid(1).chopped(3);
    display.printAbove("a log line");
    EXPECT_EQ(taken(), "\r\x1b[Ka log line\n" + drawn);
}

TEST_F(ScanProgressDisplayTest, AfterItsEndNothingIsDrawn)
{
    ScanProgressDisplay display(dispatch, descriptor(), true);
    display.finish();
    EXPECT_EQ(taken(), "");
    display.note(host(1));
    dispatch.advance(1s);
    EXPECT_EQ(taken(), "");
}

TEST_F(ScanProgressDisplayTest, StepsMayComeFromAnyThreadUntilTheVeryEnd)
{
    ScanProgressDisplay display(dispatch, descriptor(), true);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&display] {
            for (int number = 1; number <= 254; ++number)
                display.note(host(number));
        });
    }
    display.finish();
    for (std::thread &thread : threads)
        thread.join();
    const QByteArray written = taken();
    EXPECT_TRUE(written.isEmpty() || written.endsWith("\r\x1b[K")) << written.toStdString();
}

TEST_F(ScanProgressDisplayTest, ATerminalIsKnownAndItsWidthKept)
{
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    ASSERT_TRUE(terminal >= 0 && grantpt(terminal) == 0 && unlockpt(terminal) == 0);
    const int inner = open(ptsname(terminal), O_RDWR | O_NOCTTY);
    ASSERT_GE(inner, 0);
    const winsize size{24, 30, 0, 0};
    ASSERT_EQ(ioctl(inner, TIOCSWINSZ, &size), 0);
    {
        ScanProgressDisplay display(dispatch, inner);
        display.note(host(37));
    }
    // What was written in two goes may come over in two.
    const std::string expected = "\rSweeping 192.168.1… 0:35 left\x1b[K\r\x1b[K";
    std::string shown;
    pollfd readable = {terminal, POLLIN, 0};
    while (shown.size() < expected.size() && poll(&readable, 1, 5000) == 1) {
        std::array<char, 4096> bytes{};
        const auto length = read(terminal, bytes.data(), bytes.size());
        if (length <= 0)
            break;
        shown.append(bytes.data(), static_cast<size_t>(length));
    }
    EXPECT_EQ(shown, expected);
    close(inner);
    close(terminal);
}

} // namespace
