#pragma once

#include "platform/Dispatch.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class QNetworkAccessManager;

namespace lanterna
{

/// What a download gave. An HTTP status is no error; only what kept the body from arriving is.
struct HttpReply {
    std::optional<QString> error; ///< why nothing usable arrived
    QByteArray body; ///< as far as it was read
};

/// Downloads small texts over http and https.
///
/// Main thread only. Each download ends exactly once, never inside the call: after 30 s without a byte, after 60 s altogether, at 1 MiB of body
/// (which counts as done), or when the server says so. Redirects are followed to http and https only, never from https to http, ten at most.
/// Downloads that run when this is dropped never answer.
class HttpFetch
{
public:
    using Completion = std::function<void(const HttpReply &)>;

    /// Tests shorten the time without a byte.
    explicit HttpFetch(Dispatch &dispatch, std::chrono::milliseconds idleTimeOut = std::chrono::seconds(30));
    ~HttpFetch();

    void get(const QString &url, Completion completion);

private:
    Dispatch &m_dispatch;
    std::chrono::milliseconds m_idleTimeOut;
    std::unique_ptr<QNetworkAccessManager> m_network; // made at the first download: a third of a megabyte that the start does not need
};

} // namespace lanterna
