#pragma once

#include "platform/Dispatch.h"
#include "platform/RecordDatabase.h"
#include "platform/RecordServerURL.h"

#include <QByteArray>
#include <QList>
#include <QNetworkProxy>
#include <QPair>
#include <QUrl>

#include <functional>
#include <map>
#include <memory>
#include <optional>

class QNetworkAccessManager;

namespace lanterna
{

/// One request to a record server.
struct HttpRequest {
    QByteArray method; ///< "GET", "PUT", "PROPFIND"
    QUrl url; ///< with its query encoded already; sent as it stands
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;
};

/// What came back.
struct HttpAnswer {
    /// Why there is no whole answer: `networkUnavailable` when the request cannot have arrived, `networkFailure` when it may have. Its words name the
    /// host at most, never a path or a query.
    std::optional<RecordError> failure;
    int status = 0; ///< 0 when no head arrived; there may be a status beside a failure
    int timesSent = 0; ///< more than 1 when connections ended before a reply: the server may have got the request so many times
    QList<QPair<QByteArray, QByteArray>> headers; ///< those that arrived, also beside a failure
    QByteArray body; ///< empty beside a failure

    /// The value of a header whatever the case of its name; null without one.
    [[nodiscard]] QByteArray header(const QByteArray &name) const;
};

/// HTTP for record servers: nothing but what the caller says is sent (no cookies, no remembered passwords), no redirect is followed, and every reply
/// is read whole, 50 MB and a little at most.
///
/// Main thread only. Each exchange ends exactly once, never inside the call: with the reply, after the idle time without a byte, or after ten minutes
/// altogether. Those that run when this is dropped never answer. Requests to addresses that are none of `isRecordServerURL` are not sent. The system's
/// proxy settings are honoured, but not for this machine itself; they may have to be fetched from somewhere, so they are asked for off the main thread,
/// and a request whose proxy is not known after ten seconds is not sent.
class HttpExchange
{
public:
    using Completion = std::function<void(const HttpAnswer &)>;
    /// The largest asset with what may stand around it, in bytes.
    static constexpr qint64 largestBody = 51 * 1000 * 1000;

    explicit HttpExchange(Dispatch &dispatch, std::chrono::milliseconds idleTimeOut = std::chrono::seconds(60));
    ~HttpExchange();
    HttpExchange(const HttpExchange &) = delete;
    HttpExchange &operator=(const HttpExchange &) = delete;

    void send(const HttpRequest &request, Completion completion);

private:
    /// A request whose proxy is being asked for.
    struct Waiting {
        HttpRequest request;
        Completion completion;
        TimerHandle patience;
    };

    void askForProxy(const HttpRequest &request, Completion completion);
    void proxyFound(quint64 number, const QList<QNetworkProxy> &proxies);
    void proxyNotFound(quint64 number);
    void transmit(const HttpRequest &request, const QList<QNetworkProxy> &proxies, Completion completion);

    Dispatch &m_dispatch;
    std::chrono::milliseconds m_idleTimeOut;
    std::unique_ptr<QNetworkAccessManager> m_network; // made at the first exchange
    std::map<quint64, Waiting> m_waiting;
    quint64 m_lastNumber = 0;
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

} // namespace lanterna
