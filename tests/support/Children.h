#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>

#include <sys/wait.h>
#include <unistd.h>

namespace lanterna
{

/// Starts the steps in a process of their own, which ends with their result, or with 1 when an expectation failed there.
inline pid_t startChild(const std::function<int()> &steps)
{
    std::fflush(nullptr); // or the child would print it once more
    const pid_t child = ::fork();
    if (child == 0) {
        const int result = steps();
        std::fflush(nullptr);
        ::_exit(testing::Test::HasFailure() ? 1 : result);
    }
    return child;
}

/// Waits for the end of a child and returns its result; -1 when it was killed.
inline int endOfChild(pid_t child)
{
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

inline int inChild(const std::function<int()> &steps)
{
    return endOfChild(startChild(steps));
}

} // namespace lanterna
