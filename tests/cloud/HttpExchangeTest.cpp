#include "cloud/HttpExchange.h"

#include "platform/linux/QtDispatch.h"

#include "tests/support/NeverLogged.h"
#include "tests/support/RunUntil.h"

#include <QDir>
#include <QFile>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslServer>
#include <QTcpServer>
#include <QTcpSocket>

#include <gtest/gtest.h>

#include <thread>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

/// Says the same to everyone who has sent the end of a head, and keeps what was asked.
class OneReplyServer
{
public:
    explicit OneReplyServer(QByteArray reply) : m_reply(std::move(reply))
    {
        m_server.listen(QHostAddress::LocalHost);
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            QTcpSocket *socket = m_server.nextPendingConnection();
            QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                asked += socket->readAll();
                if (!asked.contains("\r\n\r\n") || m_reply.isNull())
                    return;
                if (endWithoutReply > 0) {
                    --endWithoutReply;
                    socket->abort();
                    return;
                }
                socket->write(m_reply);
                socket->disconnectFromHost();
            });
        });
    }
    [[nodiscard]] QUrl url(const QString &path = "/") const { return QUrl(QString("http://127.0.0.1:%1%2").arg(m_server.serverPort()).arg(path)); }

    QByteArray asked;
    int endWithoutReply = 0; ///< so many connections end before the reply

private:
    QTcpServer m_server;
    QByteArray m_reply;
};

/// A server with a certificate that nobody knows. Keeps what was sent once a connection was secure.
class SecureServer
{
public:
    SecureServer()
    {
        QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
        configuration.setLocalCertificate(QSslCertificate::fromPath(TEST_DATA "/tls/certificate.pem").value(0));
        QFile key(TEST_DATA "/tls/key.pem");
        EXPECT_TRUE(key.open(QIODevice::ReadOnly));
        configuration.setPrivateKey(QSslKey(&key, QSsl::Ec));
        m_server.setSslConfiguration(configuration);
        m_server.listen(QHostAddress::LocalHost);
        QObject::connect(&m_server, &QSslServer::startedEncryptionHandshake, &m_server, [this] { ++handshakes; });
        QObject::connect(&m_server, &QSslServer::pendingConnectionAvailable, &m_server, [this] {
            QTcpSocket *socket = m_server.nextPendingConnection();
            QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { asked += socket->readAll(); });
        });
    }
    [[nodiscard]] QUrl url() const { return QUrl(QString("https://127.0.0.1:%1/").arg(m_server.serverPort())); }
    int handshakes = 0;
    QByteArray asked;

private:
    QSslServer m_server;
};

/// The threads of this process.
qsizetype threadCount()
{
    return QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
}

class HttpExchangeTest : public testing::Test
{
protected:
    HttpAnswer exchange(const HttpRequest &request) { return exchange(http, request); }
    static HttpAnswer exchange(HttpExchange &by, const HttpRequest &request)
    {
        std::optional<HttpAnswer> result;
        by.send(request, [&](const HttpAnswer &answer) { result = answer; });
        EXPECT_FALSE(result) << "never inside the call";
        EXPECT_TRUE(runUntil([&] { return result.has_value(); }));
        return result.value_or(HttpAnswer{});
    }

    /// The same with an exchange of its own, whose thread has ended altogether: Qt waits for it, but not until the TLS library has given back what it
    /// keeps for each thread, and at the end of the process that counts as lost.
    HttpAnswer secureExchange(const HttpRequest &request)
    {
        const qsizetype before = threadCount();
        HttpAnswer answer;
        {
            HttpExchange secure(dispatch, 500ms);
            answer = exchange(secure, request);
        }
        for (int i = 0; i < 100 && threadCount() > before; ++i) // a sanitizer may have begun a thread of its own meanwhile
            std::this_thread::sleep_for(10ms);
        return answer;
    }

    QtDispatch dispatch;
    HttpExchange http{dispatch, 500ms};
};

} // namespace

TEST_F(HttpExchangeTest, ReplyComesWithStatusHeadersAndBody)
{
    OneReplyServer server("HTTP/1.1 421 Misdirected Request\r\nX-Token: a+b/=\r\nSet-Cookie: a=b\r\nContent-Length: 4\r\n\r\nbody");
    const HttpAnswer answer = exchange({"POST", server.url("/path?a=%2B"), {{"X-Sent", "yes"}}, "sent"});
    EXPECT_FALSE(answer.failure);
    EXPECT_EQ(answer.status, 421);
    EXPECT_EQ(answer.header("x-TOKEN"), "a+b/=");
    EXPECT_TRUE(answer.header("Missing").isNull());
    EXPECT_EQ(answer.body, "body");
    EXPECT_TRUE(server.asked.startsWith("POST /path?a=%2B HTTP/1.1\r\n")) << server.asked.toStdString();
    EXPECT_TRUE(server.asked.contains("X-Sent: yes\r\n"));
    server.asked.clear();
    (void)exchange({"GET", server.url(), {}, {}});
    EXPECT_FALSE(server.asked.toLower().contains("cookie")) << server.asked.toStdString();
}

TEST_F(HttpExchangeTest, EveryStatusIsAReply)
{
    for (const int status : {200, 201, 204, 207, 301, 304, 400, 401, 402, 403, 404, 405, 408, 409, 410, 412, 413, 418, 421, 423, 428, 429, 499, 500,
             501, 502, 503, 504, 507, 599}) {
        OneReplyServer server("HTTP/1.1 " + QByteArray::number(status) + " Whatever\r\nContent-Length: 0\r\n\r\n");
        const HttpAnswer answer = exchange({"POST", server.url(), {}, "sent"});
        EXPECT_EQ(answer.status, status);
        EXPECT_FALSE(answer.failure) << status << ' ' << answer.failure->description.toStdString();
    }
}

TEST_F(HttpExchangeTest, RedirectIsHandedOnNotFollowed)
{
    OneReplyServer elsewhere("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    OneReplyServer server("HTTP/1.1 302 Found\r\nLocation: " + elsewhere.url().toEncoded() + "\r\nContent-Length: 0\r\n\r\n");
    const HttpAnswer answer = exchange({"GET", server.url(), {{"Authorization", "Basic c2VjcmV0"}}, {}});
    EXPECT_EQ(answer.status, 302);
    EXPECT_FALSE(answer.failure);
    EXPECT_TRUE(elsewhere.asked.isEmpty());
}

TEST_F(HttpExchangeTest, LongBodyComesWholeAndATooLongOneNotAtAll)
{
    QByteArray body(5'000'000, 'x');
    for (qsizetype at = 0; at < body.size(); at += 1000)
        body[at] = char('a' + at / 1000 % 26);
    OneReplyServer server("HTTP/1.1 200 OK\r\nContent-Length: 5000000\r\n\r\n" + body);
    EXPECT_TRUE(exchange({"GET", server.url(), {}, {}}).body == body);
    OneReplyServer endless("HTTP/1.1 200 OK\r\nX-Token: next\r\n\r\n" + QByteArray(HttpExchange::largestBody + 1, 'x'));
    const HttpAnswer answer = exchange({"GET", endless.url(), {}, {}});
    ASSERT_TRUE(answer.failure);
    EXPECT_EQ(answer.failure->description, "The reply of 127.0.0.1 is longer than 50 MB.");
    EXPECT_TRUE(answer.body.isEmpty());
}

TEST_F(HttpExchangeTest, CutBodyIsAFailureThatKeepsTheHeaders)
{
    OneReplyServer server("HTTP/1.1 200 OK\r\nX-Token: next\r\nContent-Length: 100\r\n\r\nhalf");
    const HttpAnswer answer = exchange({"GET", server.url(), {}, {}});
    ASSERT_TRUE(answer.failure);
    EXPECT_EQ(answer.failure->code, RecordErrorCode::networkFailure);
    EXPECT_EQ(answer.header("X-Token"), "next");
    EXPECT_TRUE(answer.body.isEmpty());
}

TEST_F(HttpExchangeTest, RequestThatWentOutMoreThanOnceIsToldAsSuch)
{
    OneReplyServer server("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    EXPECT_EQ(exchange({"POST", server.url(), {}, "sent"}).timesSent, 1);
    // Whether it goes out again when its connection ends is up to Qt, which now and then gives up at once.
    int sentAgain = 0;
    for (int tries = 0; tries < 100 && sentAgain == 0; ++tries) {
        HttpExchange fresh(dispatch);
        server.asked.clear();
        server.endWithoutReply = 1;
        const HttpAnswer answer = exchange(fresh, {"POST", server.url(), {}, "sent"});
        EXPECT_EQ(answer.timesSent, server.asked.count("POST / "));
        EXPECT_EQ(answer.status, answer.timesSent > 1 ? 200 : 0);
        sentAgain += answer.timesSent > 1 ? 1 : 0;
    }
    EXPECT_EQ(sentAgain, 1);
}

TEST_F(HttpExchangeTest, SilenceEndsAfterTheIdleTime)
{
    OneReplyServer server{QByteArray()};
    const HttpAnswer answer = exchange({"GET", server.url(), {}, {}});
    ASSERT_TRUE(answer.failure);
    EXPECT_EQ(answer.failure->code, RecordErrorCode::networkFailure);
    EXPECT_EQ(answer.failure->description, "127.0.0.1 took too long.");
}

TEST_F(HttpExchangeTest, RefusedConnectionIsNoWayToTheServer)
{
    QUrl closed;
    {
        closed = OneReplyServer("x").url("/path?ckWebAuthToken=" SECRET_MARK);
    }
    const HttpAnswer answer = exchange({"GET", closed, {}, {}});
    ASSERT_TRUE(answer.failure);
    EXPECT_EQ(answer.failure->code, RecordErrorCode::networkUnavailable);
    EXPECT_EQ(answer.failure->description, "127.0.0.1 refused the connection.");
}

TEST_F(HttpExchangeTest, CertificateThatNobodyKnowsIsRefusedInWordsBeforeAnythingIsSaid)
{
    SecureServer server;
    const HttpAnswer answer = secureExchange({"PUT", server.url(), {{"Authorization", "Basic " SECRET_MARK}}, SECRET_MARK});
    ASSERT_TRUE(answer.failure);
    EXPECT_EQ(answer.failure->code, RecordErrorCode::networkFailure);
    EXPECT_TRUE(answer.failure->description.startsWith("The certificate of 127.0.0.1 is not trusted: ")) << answer.failure->description.toStdString();
    EXPECT_EQ(server.handshakes, 1);
    EXPECT_EQ(server.asked, "");
}

TEST_F(HttpExchangeTest, ServerThatSpeaksNoTlsIsNoSecureConnection)
{
    OneReplyServer server("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n\r\n\r\n");
    QUrl url = server.url();
    url.setScheme("https");
    const HttpAnswer answer = secureExchange({"GET", url, {{"Authorization", "Basic " SECRET_MARK}}, {}});
    ASSERT_TRUE(answer.failure);
    EXPECT_FALSE(answer.failure->description.contains("certificate")) << answer.failure->description.toStdString();
    EXPECT_FALSE(holdsSecret(QString::fromLatin1(server.asked)));
}

TEST_F(HttpExchangeTest, ProxyOfTheSystemIsAskedForATunnelAndThisMachineIsReachedWithout)
{
    OneReplyServer proxy("HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n");
    OneReplyServer here("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    for (const char *variable : {"http_proxy", "https_proxy"})
        qputenv(variable, proxy.url({}).toEncoded());
    const HttpAnswer answer = exchange({"GET", QUrl("https://cloud.example/dav"), {{"Authorization", "Basic " SECRET_MARK}}, {}});
    const HttpAnswer direct = exchange({"GET", here.url(), {}, {}});
    for (const char *variable : {"http_proxy", "https_proxy"})
        qunsetenv(variable);
    EXPECT_TRUE(proxy.asked.startsWith("CONNECT cloud.example:443 ")) << proxy.asked.toStdString();
    EXPECT_FALSE(holdsSecret(QString::fromLatin1(proxy.asked)));
    ASSERT_TRUE(answer.failure);
    EXPECT_EQ(answer.failure->code, RecordErrorCode::networkUnavailable);
    EXPECT_EQ(answer.failure->description.toStdString(), "There is no way to cloud.example.");
    EXPECT_EQ(direct.status, 200);
    EXPECT_EQ(proxy.asked.count("GET "), 0);
}

TEST_F(HttpExchangeTest, NothingGoesToAnAddressThatIsNotSecure)
{
    const HttpAnswer answer = exchange({"GET", QUrl("http://192.0.2.1/path?token=" SECRET_MARK), {}, {}});
    ASSERT_TRUE(answer.failure);
    EXPECT_EQ(answer.failure->code, RecordErrorCode::invalidArguments);
    EXPECT_FALSE(holdsSecret(answer.failure->description));
}

TEST_F(HttpExchangeTest, DroppedExchangeNeverAnswers)
{
    OneReplyServer server("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    bool answered = false;
    {
        HttpExchange dropped(dispatch);
        dropped.send({"GET", server.url(), {}, {}}, [&](const HttpAnswer &) { answered = true; });
        dropped.send({"GET", QUrl("http://192.0.2.1/"), {}, {}}, [&](const HttpAnswer &) { answered = true; });
    }
    (void)exchange({"GET", server.url(), {}, {}});
    EXPECT_FALSE(answered);
}

TEST_F(HttpExchangeTest, LongBodyIsWholeAndOneThatIsTooLongIsAFailure)
{
    QByteArray body(20'000'000, 'x');
    body.replace(10'000'000, 3, "abc");
    OneReplyServer longOne("HTTP/1.1 200 OK\r\nContent-Length: 20000000\r\n\r\n" + body);
    EXPECT_TRUE(exchange({"GET", longOne.url(), {}, {}}).body == body);
    OneReplyServer withoutLength("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + body);
    EXPECT_TRUE(exchange({"GET", withoutLength.url(), {}, {}}).body == body);
    OneReplyServer tooLong("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + QByteArray(HttpExchange::largestBody + 1, 'x'));
    const HttpAnswer answer = exchange({"GET", tooLong.url(), {}, {}});
    ASSERT_TRUE(answer.failure);
    EXPECT_EQ(answer.failure->description, "The reply of 127.0.0.1 is longer than 50 MB.");
}
