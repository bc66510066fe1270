#include "app/HttpFetch.h"
#include "tests/fakes/VirtualDispatch.h"

#include <QCoreApplication>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <gtest/gtest.h>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

/// A server on loopback that answers every connection with the same bytes, good or bad.
class Server
{
public:
    /// How a connection ends after the answer was written.
    enum class End { close, reset, stayOpen };

    Server(QByteArray answer, End end) : m_answer(std::move(answer)), m_end(end)
    {
        m_server.listen(QHostAddress::LocalHost);
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            QTcpSocket *socket = m_server.nextPendingConnection();
            ++connections;
            QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { this->answer(socket); });
        });
    }
    [[nodiscard]] QString url() const { return QStringLiteral("http://127.0.0.1:%1/ip").arg(m_server.serverPort()); }

    /// Writes to every connection that has had the answer.
    void writeToAll(const QByteArray &bytes)
    {
        for (QTcpSocket *socket : m_answered)
            socket->write(bytes);
    }

    int connections = 0;

private:
    void answer(QTcpSocket *socket)
    {
        socket->readAll();
        socket->write(m_answer);
        socket->flush();
        m_answered.append(socket);
        if (m_end == End::close)
            socket->disconnectFromHost();
        else if (m_end == End::reset)
            socket->abort();
    }

    QByteArray m_answer;
    End m_end;
    QTcpServer m_server; // owns the connections
    QList<QTcpSocket *> m_answered;
};

QByteArray page(const QByteArray &body, const QByteArray &status = "200 OK")
{
    return "HTTP/1.1 " + status + "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

class HttpFetchTest : public testing::Test
{
protected:
    void get(const QString &url) { get(fetch, url); }
    void get(HttpFetch &from, const QString &url)
    {
        from.get(url, [this](const HttpReply &answer) {
            reply = answer;
            ++answers;
        });
    }
    /// Turns the event loop until the download ended; false after ten seconds.
    bool ended()
    {
        return turnUntil([this] { return answers > 0; });
    }
    template <typename Condition> bool turnUntil(Condition condition)
    {
        const auto end = std::chrono::steady_clock::now() + 10s;
        while (!condition() && std::chrono::steady_clock::now() < end)
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 50);
        return condition();
    }

    VirtualDispatch dispatch;
    HttpFetch fetch{dispatch};
    HttpReply reply;
    int answers = 0;
};

TEST_F(HttpFetchTest, ABodyArrivesWholeAndOnce)
{
    const Server server(page("Current IP Address: 203.0.113.7</body>"), Server::End::close);
    get(server.url());
    EXPECT_EQ(answers, 0); // never inside the call
    ASSERT_TRUE(ended());
    EXPECT_EQ(reply.error, std::nullopt);
    EXPECT_EQ(reply.body, "Current IP Address: 203.0.113.7</body>");
    EXPECT_EQ(answers, 1);
}

TEST_F(HttpFetchTest, AnErrorStatusIsNoTransportErrorAndItsBodyCounts)
{
    for (const char *status : {"404 Not Found", "502 Bad Gateway", "401 Unauthorized"}) {
        const Server server(page("the page", status), Server::End::close);
        answers = 0;
        get(server.url());
        ASSERT_TRUE(ended()) << status;
        EXPECT_EQ(reply.error, std::nullopt) << status;
        EXPECT_EQ(reply.body, "the page") << status;
    }
}

TEST_F(HttpFetchTest, AnEmptyBodyIsAnAnswer)
{
    const Server server(page(""), Server::End::close);
    get(server.url());
    ASSERT_TRUE(ended());
    EXPECT_EQ(reply.error, std::nullopt);
    EXPECT_TRUE(reply.body.isEmpty());
}

TEST_F(HttpFetchTest, ARefusedConnectionIsAnError)
{
    QString url;
    {
        const Server gone({}, Server::End::close);
        url = gone.url();
    }
    get(url);
    ASSERT_TRUE(ended());
    EXPECT_TRUE(reply.error.has_value());
}

TEST_F(HttpFetchTest, AResetConnectionIsAnErrorAndEndsOnce)
{
    const Server server("", Server::End::reset);
    get(server.url());
    ASSERT_TRUE(ended());
    EXPECT_TRUE(reply.error.has_value());
    EXPECT_EQ(answers, 1);
}

TEST_F(HttpFetchTest, ABodyShorterThanItsAnnouncedLengthIsAnError)
{
    const Server server("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\nshort", Server::End::close);
    get(server.url());
    ASSERT_TRUE(ended());
    EXPECT_TRUE(reply.error.has_value());
}

TEST_F(HttpFetchTest, ABodyLongerThanItsAnnouncedLengthEndsAtTheLength)
{
    const Server server("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nshort and more", Server::End::close);
    get(server.url());
    ASSERT_TRUE(ended());
    EXPECT_EQ(reply.body, "short");
}

TEST_F(HttpFetchTest, SomethingThatIsNoHttpIsAnError)
{
    const Server server("SSH-2.0-OpenSSH_9.2\r\n", Server::End::close);
    get(server.url());
    ASSERT_TRUE(ended());
    EXPECT_TRUE(reply.error.has_value());
}

TEST_F(HttpFetchTest, AHugeBodyIsReadToOneMebibyteAndCountsAsDone)
{
    const Server server("HTTP/1.1 200 OK\r\n\r\nstart" + QByteArray(3 * 1024 * 1024, 'x'), Server::End::stayOpen);
    get(server.url());
    ASSERT_TRUE(ended());
    EXPECT_EQ(reply.error, std::nullopt);
    EXPECT_EQ(reply.body.size(), 1024 * 1024);
    EXPECT_TRUE(reply.body.startsWith("start"));
}

TEST_F(HttpFetchTest, AServerThatNeverEndsIsLeftAfterSixtySeconds)
{
    const Server server("HTTP/1.1 200 OK\r\n\r\ntrickle", Server::End::stayOpen);
    get(server.url());
    ASSERT_TRUE(turnUntil([&] { return server.connections > 0; }));
    dispatch.advance(59s);
    EXPECT_EQ(answers, 0);
    dispatch.advance(1s);
    ASSERT_TRUE(ended());
    EXPECT_EQ(reply.error, std::optional<QString>("The request timed out."));
}

TEST_F(HttpFetchTest, AServerThatSaysNothingIsLeftAfterTheIdleTime)
{
    HttpFetch impatient(dispatch, 200ms);
    const Server server("", Server::End::stayOpen);
    const auto start = std::chrono::steady_clock::now();
    get(impatient, server.url());
    ASSERT_TRUE(ended());
    EXPECT_GE(std::chrono::steady_clock::now() - start, 150ms); // Qt's timers may be early by a twentieth
    EXPECT_EQ(server.connections, 1);
    EXPECT_EQ(reply.error, std::optional<QString>("The request timed out."));
    EXPECT_EQ(answers, 1);
}

TEST_F(HttpFetchTest, AServerThatStopsInTheMiddleIsLeftAfterTheIdleTime)
{
    HttpFetch impatient(dispatch, 200ms);
    const Server server("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n203.0.113.7", Server::End::stayOpen);
    get(impatient, server.url());
    ASSERT_TRUE(ended());
    EXPECT_EQ(reply.error, std::optional<QString>("The request timed out."));
}

TEST_F(HttpFetchTest, AServerThatTricklesForLongerThanTheIdleTimeIsHeardToItsEnd)
{
    constexpr int bytes = 60;
    HttpFetch impatient(dispatch, 1s);
    Server server("HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(bytes) + "\r\n\r\n", Server::End::stayOpen);
    QTimer drip;
    QObject::connect(&drip, &QTimer::timeout, [&] { server.writeToAll("x"); });
    drip.start(25ms);
    get(impatient, server.url());
    ASSERT_TRUE(ended());
    EXPECT_EQ(reply.error, std::nullopt);
    EXPECT_EQ(reply.body, QByteArray(bytes, 'x'));
}

TEST_F(HttpFetchTest, RedirectsToWebAddressesAreFollowed)
{
    const Server target(page("arrived"), Server::End::close);
    const Server server("HTTP/1.1 302 Found\r\nLocation: " + target.url().toUtf8() + "\r\nContent-Length: 0\r\n\r\n", Server::End::close);
    get(server.url());
    ASSERT_TRUE(ended());
    EXPECT_EQ(reply.body, "arrived");
}

TEST_F(HttpFetchTest, RedirectsElsewhereAreNot)
{
    for (const char *location : {"file:///etc/hostname", "ftp://127.0.0.1/x", "data:,x"}) {
        const Server server("HTTP/1.1 302 Found\r\nLocation: " + QByteArray(location) + "\r\nContent-Length: 0\r\n\r\n", Server::End::close);
        answers = 0;
        get(server.url());
        ASSERT_TRUE(ended()) << location;
        EXPECT_TRUE(reply.error.has_value()) << location;
        EXPECT_TRUE(reply.body.isEmpty()) << location;
    }
}

TEST_F(HttpFetchTest, ARedirectToItselfEnds)
{
    QByteArray answer("HTTP/1.1 302 Found\r\nLocation: /ip\r\nContent-Length: 0\r\n\r\n");
    const Server server(answer, Server::End::stayOpen);
    get(server.url());
    ASSERT_TRUE(ended());
    EXPECT_TRUE(reply.error.has_value());
}

TEST_F(HttpFetchTest, ADroppedFetchNeverAnswers)
{
    const Server server("HTTP/1.1 200 OK\r\n\r\n", Server::End::stayOpen);
    {
        HttpFetch shortLived(dispatch);
        shortLived.get(server.url(), [this](const HttpReply &) { ++answers; });
        ASSERT_TRUE(turnUntil([&] { return server.connections > 0; }));
    }
    dispatch.advance(2min);
    for (int turn = 0; turn < 20; ++turn)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    EXPECT_EQ(answers, 0);
}

} // namespace
