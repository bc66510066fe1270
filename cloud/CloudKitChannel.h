#pragma once

#include "cloud/CloudKitReply.h"
#include "cloud/CloudKitRequests.h"
#include "cloud/CloudKitSession.h"
#include "cloud/HttpExchange.h"

#include <QHash>
#include <QUrl>

namespace lanterna
{

/// How long the server does not want to be asked, in a form that survives a restart of the program.
struct CloudKitThrottle {
    QDateTime since; ///< by the wall clock, UTC
    double seconds = 0; ///< from then on

    bool operator==(const CloudKitThrottle &) const = default;
};

/// One request to the server.
struct CloudKitCall {
    QByteArray method = "POST";
    QString operation; ///< "records/lookup"
    QByteArray body;
    CloudKitReplyKind kind = CloudKitReplyKind::records;
    bool needsSession = true; ///< without one it is answered at once; otherwise it goes out all the same
    bool isSecond = false; ///< was refused with another token already
};

/// Speaks with the server for a database: adds the tokens, keeps the one that comes back before it hands on the reply, and asks nothing while the
/// server does not want it.
///
/// Main thread only; the caller makes one request after another. Each completion is called once, not inside the call; none once this is dropped.
class CloudKitChannel
{
public:
    using Completion = std::function<void(const CloudKitReply &)>;
    using TransferCompletion = std::function<void(const HttpAnswer &)>;

    CloudKitChannel(Dispatch &dispatch, CloudKitConfiguration configuration, CloudKitSession session, std::chrono::milliseconds idleTimeOut);

    void call(const CloudKitCall &call, Completion completion);
    /// An exchange with the place where assets lie: without any token. An address that `assetURL` does not allow is a `networkFailure`.
    void transfer(HttpRequest request, const QString &url, TransferCompletion completion);

    /// Runs `work`, which deals with `size` bytes, off the main thread if they are many, and then hands on its result.
    template <typename Result> void compute(qint64 size, std::function<Result()> work, std::function<void(const Result &)> then)
    {
        if (size <= fewBytes) {
            then(work());
            return;
        }
        // Moved on, so that what `then` holds is let go on the main thread.
        m_queue->async([work = std::move(work), then = std::move(then), alive = std::weak_ptr(m_alive), &dispatch = m_dispatch]() mutable {
            dispatch.mainAsync([result = work(), then = std::move(then), alive = std::move(alive)] {
                if (!alive.expired())
                    then(result);
            });
        });
    }

    /// Which text and asset fields a version of a record has, as far as it was seen; nothing when it was not.
    [[nodiscard]] std::optional<QStringList> fieldsOf(const QString &recordName, const QString &changeTag) const;
    void rememberFields(const Record &record, const QStringList &fields);

    /// The error that every request gets now; none when requests may go out.
    [[nodiscard]] std::optional<RecordError> throttled() const;
    [[nodiscard]] std::optional<CloudKitThrottle> throttle() const;
    void resumeThrottle(const CloudKitThrottle &throttle);

    [[nodiscard]] QUrl signInURL() const { return m_signInURL; }

private:
    /// Taking apart this much JSON takes less than a millisecond.
    static constexpr qint64 fewBytes = 16 * 1024;

    struct SeenFields {
        QString changeTag;
        QStringList names;
    };

    void send(const CloudKitCall &call, const QString &token, const Completion &completion);
    void sendWithNewerToken(const CloudKitCall &call, const QString &refused, const CloudKitReply &reply, const Completion &completion);
    void read(const CloudKitCall &call, const QString &token, const HttpAnswer &answer, const Completion &completion);
    void take(const CloudKitReply &reply, bool hadSession);
    void takeFailure(const CloudKitFailure &failure);
    void throttleFor(const RecordError &error);
    void later(Task task);

    Dispatch &m_dispatch;
    CloudKitConfiguration m_configuration;
    CloudKitTokens m_tokens;
    HttpExchange m_http;
    std::shared_ptr<SerialQueue> m_queue;
    QUrl m_signInURL;
    QHash<QString, SeenFields> m_seen;
    std::optional<std::chrono::nanoseconds> m_throttledUntil; // on the steady clock
    CloudKitThrottle m_throttle;
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

} // namespace lanterna
