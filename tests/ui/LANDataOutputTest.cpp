#include "ui/LANDataConfig.h"

#include "tests/ui/WindowFixture.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>

using namespace lanterna;

namespace
{

/// The panel's logic with a pipe for standard output.
class LANDataOutput : public WindowFixture
{
protected:
    LANDataOutput()
    {
        std::fflush(stdout);
        EXPECT_EQ(pipe2(m_pipe.data(), O_CLOEXEC), 0);
        m_before = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
        dup2(m_pipe[1], STDOUT_FILENO);
        associated.setProperty("key", "associatedWiFiNetwork");
        associated.setProperty("fallback", "current");
        associated.componentComplete();
        panel.setProperty("associatedWiFiNetwork", QVariant::fromValue(&associated));
    }
    ~LANDataOutput() override
    {
        std::fflush(stdout);
        dup2(m_before, STDOUT_FILENO);
        for (const int descriptor : {m_before, m_pipe[0], m_pipe[1]})
            close(descriptor);
    }
    /// Writes until nothing more fits; gives how much.
    qsizetype fill()
    {
        fcntl(STDOUT_FILENO, F_SETFL, O_NONBLOCK);
        qsizetype filled = 0;
        for (const char byte = '.'; write(STDOUT_FILENO, &byte, 1) == 1;)
            ++filled;
        fcntl(STDOUT_FILENO, F_SETFL, 0);
        return filled;
    }
    /// All that was written so far.
    QByteArray drain()
    {
        fcntl(m_pipe[0], F_SETFL, O_NONBLOCK);
        QByteArray found;
        std::array<char, 4096> buffer{};
        for (ssize_t count = 0; (count = read(m_pipe[0], buffer.data(), buffer.size())) > 0;)
            found.append(buffer.data(), count);
        return found;
    }
    void closeReader()
    {
        close(m_pipe[0]);
        m_pipe[0] = -1;
    }

    StoredSetting associated;
    LANDataConfig panel;

private:
    std::array<int, 2> m_pipe{-1, -1};
    int m_before = -1;
};

TEST_F(LANDataOutput, LineIsWrittenAtOnce)
{
    panel.choose("HomeNet");
    EXPECT_EQ(drain(), "Picker selection changed to: HomeNet\n");
}

TEST_F(LANDataOutput, FullPipeHoldsNothingUpAndLosesTheLineAlone)
{
    const qsizetype filled = fill();
    panel.choose("HomeNet");
    EXPECT_EQ(settings.text("associatedWiFiNetwork"), "HomeNet");
    EXPECT_EQ(drain(), QByteArray(filled, '.'));
    panel.choose("Office");
    EXPECT_EQ(drain(), "Picker selection changed to: Office\n");
}

TEST_F(LANDataOutput, ReaderThatWentIsNotWrittenTo)
{
    closeReader();
    panel.choose("HomeNet"); // a write would end the program
    EXPECT_EQ(settings.text("associatedWiFiNetwork"), "HomeNet");
}

TEST_F(LANDataOutput, LineLongerThanThePipeHoldsNothingUp)
{
    panel.choose(QString(1 << 20, QLatin1Char('x')));
    EXPECT_TRUE(drain().startsWith("Picker selection changed to: xxx"));
    panel.choose("Office");
    EXPECT_TRUE(drain().endsWith("\nPicker selection changed to: Office\n")) << "on a line of its own";
}

} // namespace
