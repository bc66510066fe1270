#include "cloud/HttpExchange.h"

#include <QNetworkAccessManager>
#include <QNetworkCookie>
#include <QNetworkCookieJar>
#include <QNetworkProxyFactory>
#include <QNetworkReply>
#include <QSslSocket>

#include <algorithm>
#include <utility>

namespace lanterna
{

namespace
{

constexpr std::chrono::minutes wholeTimeOut{10};
constexpr std::chrono::seconds proxyTimeOut{10};
constexpr qint64 largestPiece = 1000 * 1000; // copied in less than a millisecond

/// Those of the request that goes out next: Qt asks while it is made.
class NextProxies : public QNetworkProxyFactory
{
public:
    explicit NextProxies(QList<QNetworkProxy> proxies) : m_proxies(std::move(proxies)) { }
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery &) override { return m_proxies; }

private:
    QList<QNetworkProxy> m_proxies;
};

/// Keeps no cookie.
class NoCookies : public QNetworkCookieJar
{
public:
    [[nodiscard]] QList<QNetworkCookie> cookiesForUrl(const QUrl &) const override { return {}; }
    bool setCookiesFromUrl(const QList<QNetworkCookie> &, const QUrl &) override { return false; }
};

RecordError failure(RecordErrorCode code, const QString &words)
{
    return {code, words, std::nullopt};
}

/// What kept an exchange from being whole; none when there is a reply, whatever its status.
std::optional<RecordError> failureOf(const QNetworkReply &reply, const QString &host)
{
    const bool hasStatus = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid();
    switch (reply.error()) {
    case QNetworkReply::NoError:
        return hasStatus ? std::nullopt : std::optional(failure(RecordErrorCode::networkFailure, host + QStringLiteral(" does not speak HTTP.")));
    case QNetworkReply::ConnectionRefusedError:
        return failure(RecordErrorCode::networkUnavailable, QStringLiteral("%1 refused the connection.").arg(host));
    case QNetworkReply::HostNotFoundError:
        return failure(RecordErrorCode::networkUnavailable, QStringLiteral("No host is known as %1.").arg(host));
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::TemporaryNetworkFailureError:
        return failure(RecordErrorCode::networkUnavailable, QStringLiteral("There is no way to %1.").arg(host));
    case QNetworkReply::ProxyConnectionRefusedError:
    case QNetworkReply::ProxyConnectionClosedError:
    case QNetworkReply::ProxyNotFoundError:
    case QNetworkReply::ProxyTimeoutError:
    case QNetworkReply::ProxyAuthenticationRequiredError:
        return failure(RecordErrorCode::networkUnavailable, QStringLiteral("The proxy on the way to %1 does not let through.").arg(host));
    case QNetworkReply::SslHandshakeFailedError:
        return failure(RecordErrorCode::networkFailure, QStringLiteral("No secure connection to %1 could be made.").arg(host));
    case QNetworkReply::OperationCanceledError:
    case QNetworkReply::TimeoutError:
        return failure(RecordErrorCode::networkFailure, QStringLiteral("%1 took too long.").arg(host));
    default:
        break;
    }
    // A status of 400 and above is an error to Qt although the reply is whole.
    const auto error = reply.error();
    const bool aboutStatus = (error >= QNetworkReply::ContentAccessDenied && error <= QNetworkReply::UnknownContentError)
        || error == QNetworkReply::ProtocolInvalidOperationError // 400 and 418
        || error >= QNetworkReply::InternalServerError;
    if (hasStatus && aboutStatus)
        return std::nullopt;
    if (!hasStatus && error == QNetworkReply::UnknownNetworkError) // no route, or a reset before anything was said
        return failure(RecordErrorCode::networkUnavailable, QStringLiteral("There is no way to %1.").arg(host));
    return failure(RecordErrorCode::networkFailure, QStringLiteral("The connection to %1 broke off.").arg(host));
}

/// One exchange; lives as long as its reply object, whose child it is.
class Exchange : public QObject
{
public:
    Exchange(Dispatch &dispatch, QNetworkReply *reply, HttpExchange::Completion completion)
        : QObject(reply), m_dispatch(dispatch), m_reply(reply), m_host(reply->url().host()), m_completion(std::move(completion)),
          m_deadline(dispatch.performAfter(wholeTimeOut, [this] { m_reply->abort(); }))
    {
        reply->setReadBufferSize(1024 * 1024);
        connect(reply, &QNetworkReply::metaDataChanged, this, [this] { reserveBody(); });
        connect(reply, &QNetworkReply::readyRead, this, [this] { readBody(); });
        connect(reply, &QNetworkReply::sslErrors, this, [this](const QList<QSslError> &errors) {
            if (!errors.isEmpty())
                m_certificate = errors.first().errorString();
        });
        connect(reply, &QNetworkReply::requestSent, this, [this] { ++m_timesSent; });
        connect(reply, &QNetworkReply::finished, this, [this] { finish(); });
    }

private:
    /// Makes room at once: moving what has come to a larger place would hold the main thread for tens of milliseconds.
    void reserveBody()
    {
        const qint64 length = m_reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
        if (length > m_body.capacity() && length <= HttpExchange::largestBody)
            m_body.reserve(length);
    }

    /// Takes what has come, a piece at a time: Qt hands over tens of megabytes at once if the main thread was busy for a moment.
    void readBody()
    {
        if (m_tooLong || !m_reply->isOpen()) // not after a time-out
            return;
        const qsizetype before = m_body.size();
        m_body.resize(before + qsizetype(std::min(m_reply->bytesAvailable(), largestPiece)));
        const qint64 count = m_reply->read(m_body.data() + before, m_body.size() - before);
        m_body.resize(before + qsizetype(std::max<qint64>(count, 0)));
        m_tooLong = m_body.size() > HttpExchange::largestBody;
        if (m_isFinished && !hasMore())
            end();
        else if (m_tooLong)
            m_reply->abort(); // which finishes
        else if (hasMore())
            m_next = m_dispatch.performAfter(std::chrono::milliseconds(1), [this] { readBody(); });
    }

    [[nodiscard]] bool hasMore() const { return !m_tooLong && m_reply->isOpen() && m_reply->bytesAvailable() > 0; }

    void finish()
    {
        m_isFinished = true;
        if (hasMore())
            readBody();
        else
            end();
    }

    void end()
    {
        m_next.cancel();
        HttpAnswer answer;
        answer.failure = m_tooLong ? failure(RecordErrorCode::networkFailure, QStringLiteral("The reply of %1 is longer than 50 MB.").arg(m_host))
                                   : failureOf(*m_reply, m_host);
        if (answer.failure && !m_certificate.isEmpty())
            answer.failure->description = QStringLiteral("The certificate of %1 is not trusted: %2").arg(m_host, m_certificate);
        answer.status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        answer.timesSent = m_timesSent;
        answer.headers = m_reply->rawHeaderPairs();
        if (!answer.failure)
            answer.body = m_body;
        m_deadline.cancel();
        m_reply->deleteLater();
        if (const auto completion = std::exchange(m_completion, nullptr))
            completion(answer);
    }

    Dispatch &m_dispatch;
    QNetworkReply *m_reply;
    QString m_host;
    HttpExchange::Completion m_completion;
    TimerHandle m_deadline;
    QByteArray m_body;
    QString m_certificate; // what is wrong with it
    TimerHandle m_next; // of the pieces
    bool m_tooLong = false;
    int m_timesSent = 0;
    bool m_isFinished = false;
};

QNetworkRequest networkRequest(const HttpRequest &request, std::chrono::milliseconds idleTimeOut)
{
    QNetworkRequest result(request.url);
    result.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    result.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    result.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    result.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    result.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    result.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    result.setTransferTimeout(int(idleTimeOut.count()));
    result.setRawHeader("User-Agent", "Lanterna/" LANTERNA_VERSION);
    for (const auto &[name, value] : request.headers)
        result.setRawHeader(name, value);
    return result;
}

} // namespace

QByteArray HttpAnswer::header(const QByteArray &name) const
{
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

HttpExchange::HttpExchange(Dispatch &dispatch, std::chrono::milliseconds idleTimeOut) : m_dispatch(dispatch), m_idleTimeOut(idleTimeOut) { }

HttpExchange::~HttpExchange() = default;

void HttpExchange::send(const HttpRequest &request, Completion completion)
{
    if (!isRecordServerURL(request.url)) {
        HttpAnswer answer;
        answer.failure = failure(RecordErrorCode::invalidArguments, QStringLiteral("Not an https address: %1").arg(request.url.host()));
        m_dispatch.mainAsync([answer, completion = std::move(completion), alive = std::weak_ptr(m_alive)] {
            if (!alive.expired())
                completion(answer);
        });
        return;
    }
    if (isThisMachine(request.url.host()))
        transmit(request, {QNetworkProxy(QNetworkProxy::NoProxy)}, std::move(completion));
    else
        askForProxy(request, std::move(completion));
}

void HttpExchange::askForProxy(const HttpRequest &request, Completion completion)
{
    const quint64 number = ++m_lastNumber;
    m_waiting.try_emplace(
        number, Waiting{request, std::move(completion), m_dispatch.performAfter(proxyTimeOut, [this, number] { proxyNotFound(number); })});
    // What the completion holds stays on this thread.
    m_dispatch.globalAsync([this, number, url = request.url, dispatch = &m_dispatch, alive = std::weak_ptr(m_alive)] {
        [[maybe_unused]] const bool loaded = QSslSocket::supportsSsl(); // which takes tens of milliseconds the first time
        const QList<QNetworkProxy> proxies = QNetworkProxyFactory::systemProxyForQuery(QNetworkProxyQuery(url));
        dispatch->mainAsync([this, number, proxies, alive] {
            if (!alive.expired())
                proxyFound(number, proxies);
        });
    });
}

void HttpExchange::proxyFound(quint64 number, const QList<QNetworkProxy> &proxies)
{
    auto waiting = m_waiting.extract(number);
    if (waiting)
        transmit(waiting.mapped().request, proxies, std::move(waiting.mapped().completion));
}

void HttpExchange::proxyNotFound(quint64 number)
{
    const auto waiting = m_waiting.extract(number);
    if (!waiting)
        return;
    HttpAnswer answer;
    answer.failure = failure(RecordErrorCode::networkUnavailable,
        QStringLiteral("The system does not tell which proxy leads to %1.").arg(waiting.mapped().request.url.host()));
    waiting.mapped().completion(answer);
}

void HttpExchange::transmit(const HttpRequest &request, const QList<QNetworkProxy> &proxies, Completion completion)
{
    if (!m_network) {
        m_network = std::make_unique<QNetworkAccessManager>();
        m_network->setCookieJar(new NoCookies); // NOLINT(cppcoreguidelines-owning-memory): the manager owns it
    }
    m_network->setProxyFactory(new NextProxies(proxies)); // NOLINT(cppcoreguidelines-owning-memory): the manager owns it
    QNetworkReply *reply = m_network->sendCustomRequest(networkRequest(request, m_idleTimeOut), request.method, request.body);
    new Exchange(m_dispatch, reply, std::move(completion)); // NOLINT(cppcoreguidelines-owning-memory): the reply owns it
}

} // namespace lanterna
