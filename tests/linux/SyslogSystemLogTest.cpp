#include "platform/linux/SyslogSystemLog.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <array>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace lanterna;

namespace
{

/// A log daemon: a datagram socket that keeps what arrives.
class LogDaemon
{
public:
    explicit LogDaemon(const QByteArray &path) : m_socket(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, path.constData(), sizeof address.sun_path);
        EXPECT_EQ(bind(m_socket, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    }
    ~LogDaemon() { close(m_socket); }
    LogDaemon(const LogDaemon &) = delete;
    LogDaemon &operator=(const LogDaemon &) = delete;

    /// The next datagram; empty when none came. A Unix socket has it as soon as send has returned.
    [[nodiscard]] QByteArray received() const
    {
        std::array<char, 4096> bytes{};
        const auto size = recv(m_socket, bytes.data(), bytes.size(), 0);
        return size > 0 ? QByteArray(bytes.data(), size) : QByteArray();
    }

private:
    int m_socket;
};

class SyslogSystemLogTest : public testing::Test
{
protected:
    QTemporaryDir folder;
    QByteArray path = QFile::encodeName(folder.filePath(QStringLiteral("log")));
    QList<QByteArray> seen; ///< what a person would see
    SyslogSystemLog log{"lanterna", [this](const QByteArray &line) { seen.append(line); }, path};
};

TEST_F(SyslogSystemLogTest, ALineIsOneDatagramWithPriorityTimeAndName)
{
    const LogDaemon daemon(path);
    log(QStringLiteral("hostname: %@"), QStringLiteral("lighthouse"));
    const QRegularExpression form(QStringLiteral("^<14>[A-Z][a-z]{2} [ 0-9]\\d \\d\\d:\\d\\d:\\d\\d lanterna\\[\\d+\\]: hostname: lighthouse$"));
    const QString received = QString::fromUtf8(daemon.received());
    EXPECT_TRUE(form.match(received).hasMatch()) << qPrintable(received);
}

TEST_F(SyslogSystemLogTest, WithoutALogThePersonSeesTheLine)
{
    log(QStringLiteral("timerLAN"));
    EXPECT_EQ(seen, QList<QByteArray>({"lanterna: timerLAN"}));
}

TEST_F(SyslogSystemLogTest, ALogThatRestartsIsFoundAgain)
{
    {
        const LogDaemon first(path);
        log(QStringLiteral("one"));
    }
    QFile::remove(QFile::decodeName(path));
    log(QStringLiteral("two")); // nobody hears it but a person
    EXPECT_EQ(seen.last(), "lanterna: two");
    const LogDaemon second(path);
    log(QStringLiteral("three"));
    EXPECT_TRUE(second.received().endsWith("three"));
}

} // namespace
