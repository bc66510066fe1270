#include "platform/linux/LoopbackCallback.h"

#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/NeverLogged.h"
#include "tests/support/RunUntil.h"

#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

const QString address = QStringLiteral("http://127.0.0.1:8123/signed-in");

std::string read(const QByteArray &head)
{
    const LoopbackRequest request = readLoopbackRequest(head + "\r\n\r\n", address);
    EXPECT_EQ(request.status == 200, !request.callback.isEmpty());
    return (QByteArray::number(request.status) + ' ' + request.callback).trimmed().toStdString();
}

/// A server on a free port.
class LoopbackCallbackTest : public testing::Test
{
protected:
    void SetUp() override
    {
        QTcpServer probe;
        ASSERT_TRUE(probe.listen(QHostAddress::LocalHost));
        port = probe.serverPort();
        probe.close();
        own = QString("http://127.0.0.1:%1/signed-in").arg(port);
        ASSERT_EQ(listen(), "");
    }
    QString listen()
    {
        return server.listen(own, [this](const QByteArray &callback) {
            came.append(callback);
            if (endsWithTheFirst)
                server.close();
            return callback.contains("ckSession=");
        });
    }
    QByteArray ask(const QByteArray &request)
    {
        QTcpSocket client;
        client.connectToHost(QHostAddress::LocalHost, port);
        client.write(request);
        EXPECT_TRUE(runUntil([&] { return client.state() == QAbstractSocket::UnconnectedState; }));
        return client.readAll();
    }
    [[nodiscard]] QByteArray get(const QByteArray &target)
    {
        return ask("GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1:" + QByteArray::number(port) + "\r\n\r\n");
    }

    VirtualDispatch dispatch;
    LoopbackCallback server{dispatch};
    quint16 port = 0;
    QString own;
    QByteArrayList came;
    bool endsWithTheFirst = false;
};

} // namespace

TEST(LoopbackRequest, ExactAddressIsACallback)
{
    EXPECT_EQ(read("GET /signed-in?ckSession=a%2Bb HTTP/1.1\r\nHost: 127.0.0.1:8123"), "200 http://127.0.0.1:8123/signed-in?ckSession=a%2Bb");
    EXPECT_EQ(read("GET /signed-in HTTP/1.0\r\nhost:127.0.0.1:8123\r\nSec-Fetch-Mode: navigate"), "200 http://127.0.0.1:8123/signed-in");
}

TEST(LoopbackRequest, AnythingElseIsNone)
{
    const QByteArray host = "\r\nHost: 127.0.0.1:8123";
    EXPECT_EQ(read("POST /signed-in?ckSession=a HTTP/1.1" + host), "405");
    EXPECT_EQ(read("HEAD /signed-in?ckSession=a HTTP/1.1" + host), "405");
    for (const char *target : {"/", "/signed-in/", "/Signed-in", "//signed-in", "/x?/signed-in", "http://127.0.0.1:8123/signed-in", "/favicon.ico"})
        EXPECT_EQ(read("GET " + QByteArray(target) + " HTTP/1.1" + host), "404") << target;
    for (const char *bad : {"", "GET", "GET /signed-in", "GET /signed-in HTTP/2", "GET  /signed-in HTTP/1.1"})
        EXPECT_EQ(read(bad + host), "400") << bad;
}

TEST(LoopbackRequest, OtherSitesCannotSpeakForTheBrowser)
{
    const QByteArray request = "GET /signed-in?ckSession=a HTTP/1.1";
    EXPECT_EQ(read(request), "400") << "no host";
    EXPECT_EQ(read(request + "\r\nHost: attacker.example:8123"), "400") << "a name that points here";
    EXPECT_EQ(read(request + "\r\nHost: 127.0.0.1:8123\r\nHost: 127.0.0.1:8123"), "400");
    EXPECT_EQ(read(request + "\r\nHost: 127.0.0.1:8123\r\nSec-Fetch-Mode: no-cors"), "400") << "a picture in another page";
    const QByteArray navigation = request + "\r\nHost: 127.0.0.1:8123\r\nSec-Fetch-Mode: navigate";
    EXPECT_EQ(read(navigation + "\r\nSec-Fetch-Dest: iframe"), "400") << "a frame in another page";
    EXPECT_EQ(read(navigation + "\r\nSec-Fetch-Mode: navigate"), "400");
    EXPECT_EQ(read(navigation + "\r\nSec-Fetch-Dest: document").substr(0, 3), "200");
}

TEST_F(LoopbackCallbackTest, BrowserGetsAPlainPageAndNothingOfItsOwn)
{
    const QByteArray page = get("/signed-in?ckSession=106__" SECRET_MARK "&<script>");
    EXPECT_TRUE(page.startsWith("HTTP/1.1 200 ")) << page.toStdString();
    EXPECT_TRUE(page.contains("You can close this window."));
    EXPECT_FALSE(page.contains("secret") || page.contains("<script>"));
    EXPECT_TRUE(page.contains("Cache-Control: no-store\r\n") && page.contains("Referrer-Policy: no-referrer\r\n"));
    EXPECT_EQ(came, QByteArrayList{own.toLatin1() + "?ckSession=106__" SECRET_MARK "&<script>"});
}

TEST_F(LoopbackCallbackTest, WhatIsOfNoUseIsSaidSo)
{
    EXPECT_TRUE(get("/signed-in?error=1").startsWith("HTTP/1.1 400 "));
    EXPECT_TRUE(get("/other").startsWith("HTTP/1.1 404 "));
    EXPECT_EQ(came.size(), 1);
    EXPECT_TRUE(ask("GET /" + QByteArray(40'000, 'a')).startsWith("HTTP/1.1 400 ")) << "longer than a callback can be";
}

TEST_F(LoopbackCallbackTest, AnswerGoesOutAlsoWhenTheListeningEndsWithIt)
{
    endsWithTheFirst = true;
    EXPECT_TRUE(get("/signed-in?ckSession=a").startsWith("HTTP/1.1 200 "));
    EXPECT_TRUE(get("/signed-in?ckSession=a").isEmpty()) << "nobody listens any more";
    EXPECT_EQ(listen(), "") << "and the port is free";
}

TEST_F(LoopbackCallbackTest, WhoSaysNothingIsLetGo)
{
    QTcpSocket silent;
    silent.connectToHost(QHostAddress::LocalHost, port);
    EXPECT_TRUE(runUntil([&] { return silent.state() == QAbstractSocket::ConnectedState; }));
    EXPECT_TRUE(get("/other").startsWith("HTTP/1.1 404 ")) << "meanwhile others are heard";
    dispatch.advance(LoopbackCallback::patience);
    EXPECT_TRUE(runUntil([&] { return silent.state() == QAbstractSocket::UnconnectedState; }));
}

TEST_F(LoopbackCallbackTest, PortThatIsTakenAndAddressThatIsNoneAreSaid)
{
    LoopbackCallback other(dispatch);
    EXPECT_TRUE(other.listen(own, {}).startsWith(QString("port %1: ").arg(port)));
    EXPECT_EQ(other.listen("http://0.0.0.0:8123/", {}), "the setting cloudKitCallback holds no such address");
}
