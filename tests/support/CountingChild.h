#pragma once

#include "tests/support/Children.h"

#include <array>
#include <csignal>
#include <random>

#include <fcntl.h>

namespace lanterna
{

// The sanitizers are slow to fork, and have seen all steps after a few rounds.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
inline constexpr int stepsAmidKills = 200;
#else
inline constexpr int stepsAmidKills = 1000;
#endif

/// A process that takes a step for each number from the first on until it is killed, and tells after each step that has returned.
class CountingChild
{
public:
    /// `step` runs in the child; false ends it.
    CountingChild(int first, const std::function<bool(int number)> &step) : m_last(first - 1)
    {
        EXPECT_EQ(::pipe2(m_ends.data(), O_CLOEXEC), 0);
        m_process = startChild([&] {
            for (int number = first; step(number); ++number)
                (void)!::write(m_ends[1], &number, sizeof(number));
            return 1;
        });
        ::close(m_ends[1]);
    }
    ~CountingChild()
    {
        kill();
        ::close(m_ends[0]);
    }
    CountingChild(const CountingChild &) = delete;
    CountingChild &operator=(const CountingChild &) = delete;

    /// Waits for so many steps.
    void await(int count)
    {
        while (count-- > 0)
            ASSERT_TRUE(take());
    }
    /// Kills it wherever it is; the number of the last step that is certain. The one after it may have been taken as well.
    int kill()
    {
        if (m_process == 0)
            return m_last;
        ::kill(m_process, SIGKILL);
        EXPECT_EQ(endOfChild(m_process), -1);
        m_process = 0;
        while (take()) { }
        return m_last;
    }
    /// Kills it after some steps, somewhere within the next ones.
    int killSomewhere(std::mt19937 &random)
    {
        constexpr int mostSteps = 20;
        constexpr int mostTurns = 100'000; // of a loop that takes about as long as some steps
        await(1 + int(random() % mostSteps));
        volatile int turns = int(random() % mostTurns);
        while (turns > 0)
            turns = turns - 1;
        return kill();
    }

private:
    bool take() { return ::read(m_ends[0], &m_last, sizeof(m_last)) == ssize_t(sizeof(m_last)); }

    std::array<int, 2> m_ends = {};
    pid_t m_process = 0;
    int m_last;
};

} // namespace lanterna
