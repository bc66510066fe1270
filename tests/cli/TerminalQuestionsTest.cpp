#include "cli/TerminalQuestions.h"
#include "tests/support/Children.h"
#include "tests/support/NeverLogged.h"

#include <QByteArray>

#include <gtest/gtest.h>

#include <array>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>

using namespace lanterna;

namespace
{

constexpr int patience = 20'000; // in milliseconds; also for busy machines and sanitizers

/// A program that asks for a password: its answers come from a terminal, its questions go into a pipe.
class HiddenQuestion : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(::openpty(&m_master, &m_terminal, nullptr, nullptr, nullptr), 0);
        ASSERT_EQ(::pipe2(m_questions.data(), O_CLOEXEC), 0);
    }
    void TearDown() override
    {
        for (const int descriptor : {m_master, m_terminal, m_questions[0], m_questions[1]})
            ::close(descriptor);
    }

    /// It ends with 0 when it got this answer.
    void ask(const QString &answer)
    {
        m_program = startChild([&] {
            ::dup2(m_terminal, STDIN_FILENO);
            ::dup2(m_questions[1], STDERR_FILENO);
            return askHidden(QStringLiteral("Password:")) == answer ? 0 : 1;
        });
    }
    /// From now on the program waits when it prints, until somebody reads.
    void fillPipe()
    {
        ::fcntl(m_questions[1], F_SETFL, O_NONBLOCK);
        const QByteArray page(4096, '.');
        while (::write(m_questions[1], page.constData(), size_t(page.size())) > 0) { }
        ::fcntl(m_questions[1], F_SETFL, 0);
    }
    /// Reads questions until this one.
    bool isAsked(const std::string &question)
    {
        std::string text;
        pollfd readable{m_questions[0], POLLIN, 0};
        while (text.find(question) == std::string::npos && ::poll(&readable, 1, patience) > 0) {
            std::array<char, 4096> bytes{};
            text.append(bytes.data(), size_t(std::max<ssize_t>(0, ::read(m_questions[0], bytes.data(), bytes.size()))));
        }
        return text.find(question) != std::string::npos;
    }
    [[nodiscard]] bool echoes() const
    {
        termios mode = {};
        ::tcgetattr(m_terminal, &mode);
        return (mode.c_lflag & ECHO) != 0;
    }
    bool stopsEchoing(int milliseconds) const
    {
        for (int waited = 0; echoes() && waited < milliseconds; waited += 5)
            ::poll(nullptr, 0, 5);
        return !echoes();
    }
    void type(const QByteArray &text) const { (void)!::write(m_master, text.constData(), size_t(text.size())); }
    /// All that the terminal shows.
    [[nodiscard]] QByteArray screen() const
    {
        QByteArray shown;
        pollfd readable{m_master, POLLIN, 0};
        std::array<char, 4096> bytes{};
        while (::poll(&readable, 1, 0) > 0) {
            const ssize_t count = ::read(m_master, bytes.data(), bytes.size());
            if (count <= 0)
                break;
            shown.append(bytes.data(), count);
        }
        return shown;
    }

    pid_t m_program = -1;

private:
    int m_master = -1;
    int m_terminal = -1;
    std::array<int, 2> m_questions{-1, -1};
};

TEST_F(HiddenQuestion, NothingIsShownOfWhatIsTypedAsSoonAsItStands)
{
    fillPipe();
    ask(QStringLiteral("pass " SECRET_MARK));
    EXPECT_TRUE(stopsEchoing(patience)) << "the terminal still shows what is typed when the question comes";
    EXPECT_TRUE(isAsked("Password:"));
    type("pass " SECRET_MARK "\n");
    EXPECT_EQ(endOfChild(m_program), 0) << "another answer";
    EXPECT_FALSE(holdsSecret(screen()));
    EXPECT_TRUE(echoes());
}

} // namespace
