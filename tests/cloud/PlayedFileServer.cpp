#include "tests/cloud/PlayedFileServer.h"

#include <QTcpSocket>

#include <memory>

namespace lanterna
{

namespace
{

/// Takes one whole request off the front of what has arrived.
std::optional<PlayedFileServer::Request> takeRequest(QByteArray &arrived)
{
    const qsizetype end = arrived.indexOf("\r\n\r\n");
    if (end < 0)
        return std::nullopt;
    const QList<QByteArray> lines = arrived.left(end).split('\n');
    const QList<QByteArray> words = lines.first().split(' ');
    PlayedFileServer::Request request{words.value(0), words.value(1), {}, {}};
    for (const QByteArray &line : lines.mid(1))
        request.headers.insert(line.left(line.indexOf(':')).toLower(), line.mid(line.indexOf(':') + 1).trimmed());
    const qsizetype length = request.headers.value("content-length").toLongLong();
    if (arrived.size() < end + 4 + length)
        return std::nullopt;
    request.body = arrived.mid(end + 4, length);
    arrived.remove(0, end + 4 + length);
    return request;
}

} // namespace

PlayedFileServer::PlayedFileServer()
{
    m_server.listen(QHostAddress::LocalHost);
    QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] { readFrom(m_server.nextPendingConnection()); });
}

void PlayedFileServer::readFrom(QTcpSocket *socket)
{
    const auto arrived = std::make_shared<QByteArray>();
    QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket, arrived] {
        *arrived += socket->readAll();
        while (const auto request = takeRequest(*arrived)) {
            requests.append(*request);
            const auto other = instead ? instead(*request) : std::nullopt;
            const QByteArray answered = other ? *other : answer(*request);
            socket->write(answered);
            if (answered.isEmpty() || answered.contains("Connection: close\r\n")) {
                socket->disconnectFromHost();
                return;
            }
        }
    });
}

QUrl PlayedFileServer::url(const QString &path) const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(m_server.serverPort()).arg(path));
}

QList<QByteArray> PlayedFileServer::asked() const
{
    QList<QByteArray> result;
    for (const Request &request : requests)
        result.append(request.method + ' ' + request.path);
    return result;
}

QByteArray PlayedFileServer::reply(const QByteArray &status, const QByteArray &headers, const QByteArray &body)
{
    return "HTTP/1.1 " + status + "\r\n" + headers + "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}

QByteArray PlayedFileServer::answer(const Request &request)
{
    const bool isFolder = request.path.endsWith('/');
    if (request.method == "MKCOL") {
        if (hasFolder)
            return reply("405 Method Not Allowed");
        hasFolder = hasFolderAbove;
        return reply(hasFolderAbove ? "201 Created" : "409 Conflict");
    }
    if (!hasFolder)
        return reply(request.method == "PUT" || request.method == "LOCK" ? "409 Conflict" : "404 Not Found");
    if (request.method == "OPTIONS")
        return reply("200 OK", locks == Locks::none ? "DAV: 1, 3\r\n" : "DAV: 1, 2\r\nDAV: <http://server.example/props>\r\n");
    if (request.method == "PROPFIND")
        return list(request);
    if (request.method == "PUT" && !isFolder)
        return put(request);
    if (request.method == "LOCK" && locks != Locks::none)
        return lock(request);
    if (request.method == "UNLOCK" && locks != Locks::none)
        return unlock(request);
    if (request.method == "GET" && files.contains(request.path))
        return reply("200 OK", tagHeader(request.path), files[request.path].bytes);
    if (request.method == "DELETE" && isLockedOut(request))
        return reply("423 Locked");
    if (request.method == "DELETE" && files.remove(request.path) > 0)
        return reply("204 No Content");
    return reply(request.method == "GET" || request.method == "DELETE" ? "404 Not Found" : "405 Method Not Allowed");
}

QByteArray PlayedFileServer::tagOf(const File &file) const
{
    switch (tags) {
    case Tags::strong:
        return "\"v" + QByteArray::number(file.version) + '"';
    case Tags::weak:
        return "W/\"v" + QByteArray::number(file.version) + '"';
    case Tags::weakAndAlwaysTheSame:
        return "W/\"same\"";
    case Tags::strongAndAlwaysTheSame:
        return "\"same\"";
    case Tags::none:
        break;
    }
    return {};
}

QByteArray PlayedFileServer::tagHeader(const QByteArray &path) const
{
    return tags == Tags::none ? QByteArray() : "ETag: " + tagOf(files[path]) + "\r\n";
}

bool PlayedFileServer::isRefused(const Request &request) const
{
    const bool exists = files.contains(request.path);
    if (honoursIfNoneMatch && exists && request.headers.value("if-none-match") == "*")
        return true;
    const QByteArray wanted = request.headers.value("if-match");
    const QByteArray tag = tagOf(files.value(request.path));
    return honoursIfMatch && !wanted.isNull() && (!exists || wanted != tag || !tag.startsWith('"')); // a weak tag never matches
}

bool PlayedFileServer::isLockedOut(const Request &request) const
{
    const QByteArray token = files.value(request.path).lock;
    return locks != Locks::ignored && !token.isEmpty() && !request.headers.value("if").contains("<" + token + ">");
}

QByteArray PlayedFileServer::put(const Request &request)
{
    if (isLockedOut(request))
        return reply("423 Locked");
    if (isRefused(request))
        return reply("412 Precondition Failed");
    const bool exists = files.contains(request.path);
    File &file = files[request.path];
    file.bytes = request.body;
    file.version = ++m_versions;
    return reply(exists ? "204 No Content" : "201 Created");
}

QByteArray PlayedFileServer::lock(const Request &request)
{
    if (locks == Locks::good && !files.value(request.path).lock.isEmpty())
        return reply("423 Locked");
    const bool exists = files.contains(request.path); // else there is an empty one now: RFC 4918, 7.3
    files[request.path].lock = "urn:lock:" + QByteArray::number(++m_versions);
    return reply(exists ? "200 OK" : "201 Created", "Lock-Token: <" + files[request.path].lock + ">\r\n");
}

QByteArray PlayedFileServer::unlock(const Request &request)
{
    const QByteArray token = files.value(request.path).lock;
    if (token.isEmpty() || request.headers.value("lock-token") != "<" + token + ">")
        return reply("409 Conflict");
    files[request.path].lock.clear();
    return reply("204 No Content");
}

QByteArray PlayedFileServer::list(const Request &request) const
{
    QByteArray xml =
        "<?xml version=\"1.0\"?>\n<multistatus xmlns=\"DAV:\"><response><href>/records/</href><propstat><prop><resourcetype><collection/>"
        "</resourcetype></prop><status>HTTP/1.1 200 OK</status></propstat></response>";
    for (auto file = files.cbegin(); file != files.cend() && request.headers.value("depth") == "1"; ++file)
        xml +=
            "<response><href>" + file.key() + "</href><propstat><prop><resourcetype/></prop><status>HTTP/1.1 200 OK</status></propstat></response>";
    return reply("207 Multi-Status", "Content-Type: application/xml\r\n", xml + "</multistatus>");
}

} // namespace lanterna
