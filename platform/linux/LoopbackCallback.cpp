#include "platform/linux/LoopbackCallback.h"

#include "platform/CallbackAwaiter.h"
#include "platform/RecordServerURL.h"

#include <QHostAddress>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

#include <optional>

namespace lanterna
{

namespace
{

constexpr int mostClients = 16;
constexpr qsizetype longestHead = CallbackAwaiter::longestAddress;

/// A header's value, or its values with commas between them; none when it is not there.
std::optional<QByteArray> header(const QByteArrayList &lines, const QByteArray &name)
{
    std::optional<QByteArray> value;
    for (const QByteArray &line : lines.mid(1)) {
        const qsizetype colon = line.indexOf(':');
        if (colon < 0 || line.first(colon).compare(name, Qt::CaseInsensitive) != 0)
            continue;
        value = (value ? *value + ", " : QByteArray()) + line.sliced(colon + 1).trimmed();
    }
    return value;
}

QByteArray page(int status)
{
    switch (status) {
    case 200:
        return "Lanterna has got the answer. You can close this window.";
    case 404:
        return "There is nothing here.";
    case 405:
        return "This is for a browser that comes back from a sign-in.";
    default:
        return "This is not what Lanterna waits for.";
    }
}

QByteArray reply(int status)
{
    const QByteArray body = "<!DOCTYPE html><html lang=\"en\"><meta charset=\"utf-8\"><title>Lanterna</title><p>" + page(status) + "</p></html>\n";
    // The page's own address holds a token: it goes neither to a cache nor, as where one came from, to another site.
    return "HTTP/1.1 " + QByteArray::number(status)
        + " Answer\r\nContent-Type: text/html; charset=utf-8\r\nContent-Length: " + QByteArray::number(body.size())
        + "\r\nConnection: close\r\nCache-Control: no-store\r\nReferrer-Policy: no-referrer\r\nContent-Security-Policy: default-src 'none'\r\n"
          "X-Content-Type-Options: nosniff\r\n\r\n"
        + body;
}

/// Answers once the head is whole, or too long.
void readFrom(QTcpSocket &client, const QString &address, const std::weak_ptr<LoopbackCallback::Received> &whoever)
{
    const QByteArray said = client.peek(longestHead + 1);
    const qsizetype end = said.indexOf("\r\n\r\n");
    if (end < 0 && said.size() <= longestHead)
        return;
    QObject::disconnect(&client, &QTcpSocket::readyRead, nullptr, nullptr);
    const auto received = whoever.lock(); // held, since it may end the listening
    LoopbackRequest request = end < 0 ? LoopbackRequest() : readLoopbackRequest(said.first(end + 4), address);
    if (request.status == 200 && !(received && (*received)(request.callback)))
        request.status = 400;
    client.readAll(); // unread bytes would make the end of the connection a reset, and cost the answer
    client.write(reply(request.status));
    client.flush();
    client.disconnectFromHost();
}

} // namespace

LoopbackRequest readLoopbackRequest(const QByteArray &head, const QString &address)
{
    const QUrl url(address);
    const QByteArrayList lines = head.first(std::max<qsizetype>(head.size() - 4, 0)).replace("\r\n", "\n").split('\n');
    const QByteArrayList words = lines.first().split(' ');
    const QByteArray host = QByteArray("127.0.0.1:") + QByteArray::number(url.port());
    if (words.size() != 3 || !words[2].startsWith("HTTP/1.") || header(lines, "Host") != host)
        return {}; // another host: a name that somebody has pointed at this machine
    if (words[0] != "GET")
        return {405, {}};
    const qsizetype mark = words[1].indexOf('?');
    if ((mark < 0 ? words[1] : words[1].first(mark)) != url.path().toLatin1())
        return {404, {}};
    // What another page fetches or embeds is no browser that comes back.
    for (const auto &[name, expected] : {std::pair("Sec-Fetch-Mode", "navigate"), {"Sec-Fetch-Dest", "document"}}) {
        if (const auto value = header(lines, name); value && value != expected)
            return {};
    }
    return {200, address.toLatin1() + (mark < 0 ? QByteArray() : words[1].sliced(mark))};
}

LoopbackCallback::LoopbackCallback(Dispatch &dispatch) : m_dispatch(dispatch) { }

LoopbackCallback::~LoopbackCallback()
{
    close();
}

QString LoopbackCallback::listen(const QString &address, Received received)
{
    close();
    if (!isCallbackAddress(address))
        return QStringLiteral("the setting cloudKitCallback holds no such address");
    m_address = address;
    m_server = std::make_unique<QTcpServer>();
    m_received = std::make_shared<Received>(std::move(received));
    QObject::connect(m_server.get(), &QTcpServer::newConnection, m_server.get(), [this] { accept(); });
    if (m_server->listen(QHostAddress(QHostAddress::LocalHost), quint16(QUrl(address).port())))
        return {};
    const QString problem = QStringLiteral("port %1: %2").arg(QUrl(address).port()).arg(m_server->errorString());
    close();
    return problem;
}

void LoopbackCallback::close()
{
    m_received.reset();
    if (!m_server)
        return;
    m_server->disconnect();
    m_server->close();
    m_server.release()->deleteLater();
}

void LoopbackCallback::accept()
{
    while (QTcpSocket *client = m_server->nextPendingConnection()) {
        if (m_server->findChildren<QTcpSocket *>().size() > mostClients) {
            client->abort();
            client->deleteLater();
            continue;
        }
        client->setReadBufferSize(longestHead + 1);
        QObject::connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
        QObject::connect(client, &QTcpSocket::readyRead, client,
            [client, address = m_address, received = std::weak_ptr(m_received)] { readFrom(*client, address, received); });
        m_dispatch.mainAfter(patience, [client = QPointer(client)] {
            if (client)
                client->abort();
        });
    }
}

} // namespace lanterna
