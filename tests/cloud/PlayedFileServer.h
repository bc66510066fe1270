#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QTcpServer>
#include <QUrl>

#include <functional>
#include <optional>

class QTcpSocket;

namespace lanterna
{

/// A small WebDAV server on loopback, in the thread of the test: one folder, "/records/", whose files are in memory. It works as the standard says
/// until it is told to misbehave.
class PlayedFileServer
{
public:
    struct Request {
        QByteArray method;
        QByteArray path;
        QMap<QByteArray, QByteArray> headers; ///< names in lower case
        QByteArray body;
    };
    struct File {
        QByteArray bytes;
        int version = 0;
        QByteArray lock; ///< token, empty without one
    };
    enum class Tags { strong, weak, weakAndAlwaysTheSame, strongAndAlwaysTheSame, none };
    enum class Locks { none, good, ignored, shared };

    PlayedFileServer();

    [[nodiscard]] QUrl url(const QString &path = QStringLiteral("/records")) const;
    /// What was asked, in order, such as "PUT /records/a.record".
    [[nodiscard]] QList<QByteArray> asked() const;
    [[nodiscard]] static QByteArray reply(const QByteArray &status, const QByteArray &headers = {}, const QByteArray &body = {});

    // What it is like.
    Tags tags = Tags::strong;
    Locks locks = Locks::none;
    bool honoursIfMatch = true;
    bool honoursIfNoneMatch = true;
    bool hasFolder = true;
    bool hasFolderAbove = true;
    /// Asked first: the whole answer to a request, or none for the usual one; empty bytes end the connection without an answer. May do the usual thing
    /// by calling `answer` itself.
    std::function<std::optional<QByteArray>(const Request &)> instead;

    QByteArray answer(const Request &request);

    QMap<QByteArray, File> files; ///< by path
    QList<Request> requests;

private:
    void readFrom(QTcpSocket *socket);
    [[nodiscard]] QByteArray tagOf(const File &file) const;
    [[nodiscard]] QByteArray tagHeader(const QByteArray &path) const;
    [[nodiscard]] bool isRefused(const Request &request) const;
    [[nodiscard]] bool isLockedOut(const Request &request) const;
    QByteArray put(const Request &request);
    QByteArray lock(const Request &request);
    QByteArray unlock(const Request &request);
    QByteArray list(const Request &request) const;

    QTcpServer m_server;
    int m_versions = 0;
};

} // namespace lanterna
