#include "app/HttpFetch.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>

namespace lanterna
{

namespace
{

constexpr qint64 largestBody = 1024 * 1024;
constexpr int largestRedirectCount = 10;
constexpr std::chrono::seconds wholeTimeOut{60};

bool isWebURL(const QUrl &url)
{
    return url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
}

/// One download; lives as long as its reply object, whose child it is.
class Download : public QObject
{
public:
    Download(Dispatch &dispatch, QNetworkReply *reply, HttpFetch::Completion completion)
        : QObject(reply), m_reply(reply), m_completion(std::move(completion)), m_deadline(dispatch.performAfter(wholeTimeOut, [this] {
              m_failure = QStringLiteral("The request timed out.");
              m_reply->abort();
          }))
    {
        reply->setReadBufferSize(largestBody + 1);
        connect(reply, &QNetworkReply::readyRead, this, [this] { readBody(); });
        connect(reply, &QNetworkReply::finished, this, [this] { finish(); });
        connect(reply, &QNetworkReply::redirected, this, [this](const QUrl &url) {
            if (isWebURL(url))
                return;
            m_failure = QStringLiteral("unsupported URL");
            m_reply->abort();
        });
    }

private:
    void readBody()
    {
        if (m_complete)
            return;
        m_body += m_reply->read(largestBody - m_body.size());
        if (m_body.size() >= largestBody) {
            m_complete = true;
            m_reply->abort();
        }
    }

    /// An HTTP status of 400 and above is an error to Qt although the body is there.
    [[nodiscard]] bool answered() const
    {
        const auto error = m_reply->error();
        const bool aboutStatus =
            (error > QNetworkReply::UnknownProxyError && error <= QNetworkReply::UnknownContentError) || error > QNetworkReply::ProtocolFailure;
        return m_complete || error == QNetworkReply::NoError || aboutStatus;
    }

    void finish()
    {
        if (m_reply->isOpen()) // not after a time-out
            readBody();
        HttpReply result{std::nullopt, m_body};
        if (!m_failure.isEmpty())
            result.error = m_failure;
        else if (!answered())
            result.error =
                m_reply->error() == QNetworkReply::OperationCanceledError ? QStringLiteral("The request timed out.") : m_reply->errorString();
        m_deadline.cancel();
        m_reply->deleteLater();
        if (const auto completion = std::exchange(m_completion, nullptr))
            completion(result);
    }

    QNetworkReply *m_reply;
    HttpFetch::Completion m_completion;
    TimerHandle m_deadline;
    QByteArray m_body;
    QString m_failure;
    bool m_complete = false;
};

} // namespace

HttpFetch::HttpFetch(Dispatch &dispatch, std::chrono::milliseconds idleTimeOut) : m_dispatch(dispatch), m_idleTimeOut(idleTimeOut) { }

HttpFetch::~HttpFetch() = default;

void HttpFetch::get(const QString &url, Completion completion)
{
    if (!m_network)
        m_network = std::make_unique<QNetworkAccessManager>();
    QNetworkRequest request{QUrl(url)};
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setMaximumRedirectsAllowed(largestRedirectCount);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setTransferTimeout(static_cast<int>(m_idleTimeOut.count()));
    request.setRawHeader("User-Agent", "Lanterna/" LANTERNA_VERSION);
    new Download(m_dispatch, m_network->get(request), std::move(completion)); // NOLINT(cppcoreguidelines-owning-memory): the reply owns it
}

} // namespace lanterna
