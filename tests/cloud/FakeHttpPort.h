#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QPair>
#include <QTcpServer>

#include <chrono>
#include <functional>

class QTcpSocket;

namespace lanterna
{

struct FakeHttpRequest {
    QByteArray method;
    QByteArray target; ///< byte for byte, as it stood in the first line
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;

    /// The value of a header whatever the case of its name; null without one.
    [[nodiscard]] QByteArray header(const QByteArray &name) const;
};

struct FakeHttpReply {
    enum class Delivery {
        whole,
        none, ///< the connection ends without a byte
        half, ///< it ends within the body
        silence, ///< it stays, and nothing comes
    };

    int status = 200;
    QByteArray body;
    QList<QPair<QByteArray, QByteArray>> headers;
    Delivery delivery = Delivery::whole;
    std::chrono::milliseconds delay{0};
};

/// A web server on a port of the loopback, within the test's own event loop: HTTP/1.1 with lengths and kept connections, and every way to break off.
class FakeHttpPort
{
public:
    using Handler = std::function<FakeHttpReply(const FakeHttpRequest &)>;

    /// The handler is asked for each whole request.
    explicit FakeHttpPort(Handler handler);
    [[nodiscard]] QByteArray url() const; ///< "http://127.0.0.1:8080", without a slash
    /// Requests that were read and not answered yet, but for those that get silence.
    [[nodiscard]] int inFlight() const { return m_inFlight; }

private:
    void read(QTcpSocket *socket);
    bool takeRequest(QTcpSocket *socket);
    void answer(QTcpSocket *socket, const FakeHttpReply &reply);
    static void write(QTcpSocket *socket, const FakeHttpReply &reply);

    Handler m_handler;
    QTcpServer m_server;
    QHash<QTcpSocket *, QByteArray> m_received;
    int m_inFlight = 0;
};

} // namespace lanterna
