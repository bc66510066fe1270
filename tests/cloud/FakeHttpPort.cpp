#include "tests/cloud/FakeHttpPort.h"

#include <QTcpSocket>
#include <QTimer>

namespace lanterna
{

namespace
{

QByteArray valueOf(const QList<QPair<QByteArray, QByteArray>> &headers, const QByteArray &name)
{
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

} // namespace

QByteArray FakeHttpRequest::header(const QByteArray &name) const
{
    return valueOf(headers, name);
}

FakeHttpPort::FakeHttpPort(Handler handler) : m_handler(std::move(handler))
{
    m_server.listen(QHostAddress::LocalHost);
    QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            QObject::connect(socket, &QTcpSocket::readyRead, &m_server, [this, socket] { read(socket); });
            QObject::connect(socket, &QTcpSocket::disconnected, &m_server, [this, socket] {
                m_received.remove(socket);
                socket->deleteLater();
            });
        }
    });
}

QByteArray FakeHttpPort::url() const
{
    return "http://127.0.0.1:" + QByteArray::number(m_server.serverPort());
}

void FakeHttpPort::read(QTcpSocket *socket)
{
    m_received[socket] += socket->readAll();
    while (takeRequest(socket)) { }
}

/// True when a whole request was there.
bool FakeHttpPort::takeRequest(QTcpSocket *socket)
{
    QByteArray &received = m_received[socket];
    const qsizetype headEnd = received.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return false;
    QList<QByteArray> lines = received.left(headEnd).replace("\r\n", "\n").split('\n');
    const QList<QByteArray> first = lines.takeFirst().split(' ');
    FakeHttpRequest request;
    request.method = first.value(0);
    request.target = first.value(1);
    for (const QByteArray &line : lines) {
        const qsizetype colon = line.indexOf(':');
        request.headers.append({line.left(colon), line.mid(colon + 1).trimmed()});
    }
    const qsizetype length = valueOf(request.headers, "Content-Length").toLongLong();
    if (received.size() < headEnd + 4 + length)
        return false;
    request.body = received.mid(headEnd + 4, length);
    received.remove(0, headEnd + 4 + length);
    answer(socket, m_handler(request));
    return m_received.contains(socket);
}

void FakeHttpPort::answer(QTcpSocket *socket, const FakeHttpReply &reply)
{
    if (reply.delivery == FakeHttpReply::Delivery::silence)
        return;
    ++m_inFlight;
    // Never at once: a second request that comes too early is then seen as such.
    QTimer::singleShot(std::max(reply.delay, std::chrono::milliseconds(1)), &m_server, [this, reply, socket] {
        --m_inFlight;
        if (m_received.contains(socket))
            write(socket, reply);
    });
}

void FakeHttpPort::write(QTcpSocket *socket, const FakeHttpReply &reply)
{
    if (reply.delivery == FakeHttpReply::Delivery::none) {
        socket->abort();
        return;
    }
    QByteArray head = "HTTP/1.1 " + QByteArray::number(reply.status) + " Whatever\r\nContent-Length: " + QByteArray::number(reply.body.size());
    for (const auto &[name, value] : reply.headers)
        head += "\r\n" + name + ": " + value;
    const bool half = reply.delivery == FakeHttpReply::Delivery::half;
    socket->write(head + "\r\n\r\n" + (half ? reply.body.left(reply.body.size() / 2) : reply.body));
    if (half)
        socket->disconnectFromHost();
}

} // namespace lanterna
