#include "cli/TerminalQuestions.h"

#include <array>
#include <csignal>
#include <cstdio>

#include <termios.h>
#include <unistd.h>

namespace lanterna
{

namespace
{

constexpr qsizetype longestLine = 4096;
constexpr std::array endingSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

volatile std::sig_atomic_t lastSignal = 0;

void noteSignal(int number)
{
    lastSignal = number;
}

/// Keeps a terminal from showing what is typed. Signals that would end the program are held until it shows it again.
class Hidden
{
public:
    Hidden()
    {
        m_isTerminal = ::tcgetattr(STDIN_FILENO, &m_before) == 0;
        if (!m_isTerminal)
            return;
        lastSignal = 0;
        struct sigaction note = {};
        note.sa_handler = noteSignal; // without SA_RESTART, so that it ends the reading
        for (std::size_t i = 0; i < endingSignals.size(); ++i)
            ::sigaction(endingSignals.at(i), &note, &m_actions.at(i));
        termios quiet = m_before;
        quiet.c_lflag &= ~tcflag_t(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
    }
    ~Hidden()
    {
        if (!m_isTerminal)
            return;
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_before);
        std::fputc('\n', stderr);
        for (std::size_t i = 0; i < endingSignals.size(); ++i)
            ::sigaction(endingSignals.at(i), &m_actions.at(i), nullptr);
        if (lastSignal != 0)
            std::raise(lastSignal);
    }
    Hidden(const Hidden &) = delete;
    Hidden &operator=(const Hidden &) = delete;

private:
    bool m_isTerminal = false;
    termios m_before = {};
    std::array<struct sigaction, endingSignals.size()> m_actions = {};
};

void print(const QString &question)
{
    std::fprintf(stderr, "%s ", question.toUtf8().constData());
    std::fflush(stderr);
}

/// Byte by byte, so that nothing of the next line is taken.
std::optional<QByteArray> readLine()
{
    QByteArray line;
    char byte = 0;
    while (line.size() <= longestLine) {
        if (::read(STDIN_FILENO, &byte, 1) != 1)
            return std::nullopt;
        if (byte == '\n')
            return line;
        line.append(byte);
    }
    return std::nullopt;
}

} // namespace

std::optional<QString> askLine(const QString &question)
{
    print(question);
    const auto line = readLine();
    return line ? std::optional(QString::fromUtf8(*line).trimmed()) : std::nullopt;
}

std::optional<QString> askHidden(const QString &question)
{
    const Hidden hidden; // before the question: who answers at once must not be seen either
    print(question);
    const auto line = readLine();
    return line ? std::optional(QString::fromUtf8(*line)) : std::nullopt;
}

} // namespace lanterna
