#pragma once

#include "tests/support/Children.h"

#include <QByteArray>
#include <QByteArrayList>

#include <array>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>

namespace lanterna
{

/// What a program printed, and its exit status; -1 when it did not end by itself within twenty seconds.
struct ProgramResult {
    int exitCode = -1;
    QByteArray output;
    QByteArray errors;
};

/// Runs a program to its end with an empty standard input. `environment` ("NAME=value") comes on top of this process's own; with `outputFile` the
/// standard output goes there. Started by a plain fork, see BusProcess.h.
inline ProgramResult runProgram(
    const QByteArray &program, const QByteArrayList &arguments, const QByteArrayList &environment, const char *outputFile = nullptr)
{
    std::array<std::array<int, 2>, 2> pipes{};
    for (std::array<int, 2> &pipe : pipes) {
        if (::pipe2(pipe.data(), O_CLOEXEC) != 0)
            return {};
    }
    const auto words = [](const QByteArrayList &list) { // as exec takes them; made before the fork
        std::vector<char *> pointers;
        for (const QByteArray &word : list)
            pointers.push_back(const_cast<char *>(word.constData()));
        pointers.push_back(nullptr);
        return pointers;
    };
    const QByteArrayList command = QByteArrayList{program} + arguments;
    const std::vector<char *> argumentWords = words(command);
    const std::vector<char *> variables = words(environment);
    const pid_t child = ::fork();
    if (child == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (std::size_t variable = 0; variables[variable] != nullptr; ++variable)
            ::putenv(variables[variable]);
        const int output = outputFile != nullptr ? ::open(outputFile, O_WRONLY | O_CLOEXEC) : pipes[0][1];
        if (::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO) < 0 || ::dup2(output, STDOUT_FILENO) < 0
            || ::dup2(pipes[1][1], STDERR_FILENO) < 0)
            ::_exit(126);
        ::execv(argumentWords[0], argumentWords.data());
        ::_exit(127);
    }
    for (const std::array<int, 2> &pipe : pipes)
        ::close(pipe[1]);
    ProgramResult result;
    std::array<pollfd, 2> ends = {{{pipes[0][0], POLLIN, 0}, {pipes[1][0], POLLIN, 0}}};
    constexpr int patience = 20'000; // without a word from the program; also for busy machines and sanitizers
    while ((ends[0].fd >= 0 || ends[1].fd >= 0) && ::poll(ends.data(), ends.size(), patience) > 0) {
        for (std::size_t stream = 0; stream < ends.size(); ++stream) {
            std::array<char, 4096> bytes{};
            const ssize_t count = ends[stream].revents != 0 ? ::read(ends[stream].fd, bytes.data(), bytes.size()) : 1;
            if (count <= 0)
                ends[stream].fd = -1; // which poll passes over
            else if (ends[stream].revents != 0)
                (stream == 0 ? result.output : result.errors).append(bytes.data(), qsizetype(count));
        }
    }
    for (const std::array<int, 2> &pipe : pipes)
        ::close(pipe[0]);
    if (ends[0].fd >= 0 || ends[1].fd >= 0)
        ::kill(child, SIGKILL);
    result.exitCode = endOfChild(child);
    return result;
}

} // namespace lanterna
