#include "cloud/CloudKitChannel.h"

#include "cloud/CloudKitErrors.h"

#include <algorithm>
#include <utility>

namespace lanterna
{

namespace
{

CloudKitReply failed(const RecordError &error)
{
    CloudKitReply reply;
    reply.failure = CloudKitFailure{error, {}};
    return reply;
}

std::chrono::nanoseconds nanoseconds(double seconds)
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(seconds));
}

/// The next session token that a reply brings; null when it brings none. It is there also when the body did not come whole.
QByteArray nextToken(const HttpAnswer &answer)
{
    for (const char *name : {"X-Apple-CloudKit-Web-Auth-Token", "X-Apple-CloudKit-Session"}) {
        const QByteArray token = answer.header(name);
        if (isSessionToken(token))
            return token;
    }
    return {};
}

} // namespace

CloudKitChannel::CloudKitChannel(
    Dispatch &dispatch, CloudKitConfiguration configuration, CloudKitSession session, std::chrono::milliseconds idleTimeOut)
    : m_dispatch(dispatch), m_configuration(std::move(configuration)), m_tokens(std::move(session)), m_http(dispatch, idleTimeOut),
      m_queue(dispatch.makeSerialQueue())
{
}

void CloudKitChannel::later(Task task)
{
    m_dispatch.mainAsync([task = std::move(task), alive = std::weak_ptr(m_alive)] {
        if (!alive.expired())
            task();
    });
}

void CloudKitChannel::call(const CloudKitCall &call, Completion completion)
{
    auto hindrance = problemOf(m_configuration);
    if (!hindrance)
        hindrance = throttled();
    if (hindrance) {
        later([completion = std::move(completion), reply = failed(*hindrance)] { completion(reply); });
        return;
    }
    m_tokens.current([this, call, completion = std::move(completion)](const SecretResult &token) {
        if (!token.error.isEmpty())
            completion(
                failed({RecordErrorCode::internalError, QStringLiteral("The iCloud session cannot be read or kept: %1").arg(token.error), {}}));
        else if (token.secret.isEmpty() && call.needsSession)
            completion(failed({RecordErrorCode::notAuthenticated, QStringLiteral("Not signed in to iCloud."), {}}));
        else
            send(call, token.secret, completion);
    });
}

void CloudKitChannel::send(const CloudKitCall &call, const QString &token, const Completion &completion)
{
    HttpRequest request{call.method, cloudKitURL(m_configuration, call.operation, token), {}, call.body};
    if (call.method == "POST")
        request.headers = {{"Content-Type", "application/json"}};
    m_http.send(request, [this, call, token, completion](const HttpAnswer &answer) {
        const QByteArray next = nextToken(answer);
        if (token.isEmpty() || next.isEmpty())
            read(call, token, answer, completion);
        else
            m_tokens.adopt(token, QString::fromLatin1(next), [this, call, token, answer, completion] { read(call, token, answer, completion); });
    });
}

void CloudKitChannel::read(const CloudKitCall &call, const QString &token, const HttpAnswer &answer, const Completion &completion)
{
    const QStringList secrets{m_configuration.apiToken, token, QString::fromLatin1(nextToken(answer))};
    compute<CloudKitReply>(
        answer.body.size(), [kind = call.kind, answer, secrets] { return parseCloudKitReply(kind, answer, secrets); },
        [this, call, token, isLast = nextToken(answer).isEmpty(), completion](const CloudKitReply &reply) {
            take(reply, !token.isEmpty());
            const bool isRefused = reply.failure && reply.failure->error.code == RecordErrorCode::notAuthenticated && reply.timesSent == 1;
            if (isRefused && isLast && !token.isEmpty() && !call.isSecond)
                sendWithNewerToken(call, token, reply, completion);
            else
                completion(reply);
        });
}

/// Another program of the person's may have used the session at the same time; the token that was sent is then worth nothing any more, and the one
/// that is kept by now is.
void CloudKitChannel::sendWithNewerToken(const CloudKitCall &call, const QString &refused, const CloudKitReply &reply, const Completion &completion)
{
    m_tokens.current([this, call, refused, reply, completion](const SecretResult &token) {
        CloudKitCall second = call;
        second.isSecond = true;
        if (token.error.isEmpty() && !token.secret.isEmpty() && token.secret != refused)
            send(second, token.secret, completion);
        else
            completion(reply);
    });
}

void CloudKitChannel::take(const CloudKitReply &reply, bool hadSession)
{
    if (reply.failure)
        takeFailure(*reply.failure);
    else if (hadSession)
        m_signInURL.clear();
    for (const CloudKitEntry &entry : reply.records) {
        if (entry.failure)
            takeFailure(*entry.failure);
        else
            rememberFields(entry.record, entry.record.texts.keys() + entry.assets.keys());
    }
}

void CloudKitChannel::takeFailure(const CloudKitFailure &failure)
{
    throttleFor(failure.error);
    if (failure.error.code != RecordErrorCode::notAuthenticated)
        return;
    const QUrl url = checkedSignInURL(m_configuration, failure.redirectURL);
    if (!url.isEmpty())
        m_signInURL = url;
}

void CloudKitChannel::transfer(HttpRequest request, const QString &url, TransferCompletion completion)
{
    HttpAnswer none;
    none.failure = throttled();
    const auto checked = assetURL(m_configuration, url);
    if (!none.failure && !checked)
        none.failure = notUnderstood(QStringLiteral("no address of a file"));
    if (none.failure) {
        later([completion = std::move(completion), none] { completion(none); });
        return;
    }
    request.url = *checked;
    m_http.send(request, [this, completion = std::move(completion)](const HttpAnswer &answer) {
        if (!answer.failure && (answer.status == 429 || answer.status == 503)) {
            if (const auto seconds = retrySeconds(answer.header("Retry-After")))
                throttleFor(rateLimited(seconds));
        }
        completion(answer);
    });
}

std::optional<QStringList> CloudKitChannel::fieldsOf(const QString &recordName, const QString &changeTag) const
{
    const auto seen = m_seen.constFind(recordName);
    return seen != m_seen.constEnd() && seen->changeTag == changeTag ? std::optional(seen->names) : std::nullopt;
}

void CloudKitChannel::rememberFields(const Record &record, const QStringList &fields)
{
    constexpr qsizetype many = 1000; // nobody has that many; one that is forgotten costs a request more
    if (m_seen.size() >= many)
        m_seen.clear();
    m_seen.insert(record.recordName, {record.changeTag, fields});
}

void CloudKitChannel::throttleFor(const RecordError &error)
{
    if (error.code == RecordErrorCode::requestRateLimited && error.retryAfter)
        resumeThrottle({m_dispatch.now(), *error.retryAfter});
}

void CloudKitChannel::resumeThrottle(const CloudKitThrottle &throttle)
{
    // A clock that was set back since then does not make it longer.
    const double passed = std::max(0.0, double(throttle.since.msecsTo(m_dispatch.now())) / 1000.0);
    const double left = retrySeconds(QVariant(throttle.seconds)).value_or(0) - passed;
    const auto until = m_dispatch.steadyNow() + nanoseconds(left);
    if (left <= 0 || (throttled() && *m_throttledUntil >= until))
        return;
    m_throttle = throttle;
    m_throttledUntil = until;
}

std::optional<RecordError> CloudKitChannel::throttled() const
{
    const auto now = m_dispatch.steadyNow();
    if (!m_throttledUntil || *m_throttledUntil <= now)
        return std::nullopt;
    return rateLimited(std::chrono::duration<double>(*m_throttledUntil - now).count());
}

std::optional<CloudKitThrottle> CloudKitChannel::throttle() const
{
    return throttled() ? std::optional(m_throttle) : std::nullopt;
}

} // namespace lanterna
