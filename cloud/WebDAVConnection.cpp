#include "cloud/WebDAVConnection.h"

#include "cloud/WebDAVAnswers.h"

#include <utility>

namespace lanterna
{

WebDAVConnection::WebDAVConnection(Dispatch &dispatch, WebDAVAccount account)
    : m_dispatch(dispatch), m_account(std::move(account)), m_queue(dispatch.makeSerialQueue()), m_http(dispatch)
{
    const bool isFolder = isRecordServerURL(m_account.folder) && !m_account.folder.hasQuery() && !m_account.folder.hasFragment();
    if (isFolder)
        m_folder = m_account.folder.toEncoded();
    if (isFolder && !m_folder.endsWith('/'))
        m_folder += '/';
}

void WebDAVConnection::send(const QByteArray &method, const QString &resourceName, QList<QPair<QByteArray, QByteArray>> headers,
    const QByteArray &body, HttpExchange::Completion completion)
{
    HttpAnswer refused;
    if (m_folder.isEmpty() || m_account.user.contains(u':'))
        refused.failure = error(RecordErrorCode::invalidArguments, QStringLiteral("This is no https address of a folder with a user beside it: %1"));
    const QString password = m_account.password ? m_account.password() : QString();
    if (!m_account.user.isEmpty() && password.isNull() && !refused.failure)
        refused.failure = error(RecordErrorCode::notAuthenticated, QStringLiteral("The password for %1 is not known."));
    if (refused.failure) {
        soon([refused, completion = std::move(completion)] { completion(refused); });
        return;
    }
    if (!m_account.user.isEmpty())
        headers.emplace_back("Authorization", "Basic " + (m_account.user + u':' + password).toUtf8().toBase64());
    // Bytes and tags of the file itself, not of a compressed stand-in.
    headers.emplace_back("Accept-Encoding", "identity");
    m_http.send({method, QUrl::fromEncoded(m_folder + resourceName.toLatin1()), headers, body}, std::move(completion));
}

void WebDAVConnection::read(const QString &resourceName, std::function<void(const WebDAVResourceResult &)> completion)
{
    send("GET", resourceName, {}, {}, [this, resourceName, completion = std::move(completion)](const HttpAnswer &answer) {
        std::optional<RecordError> problem = errorOf(answer);
        if (!problem && answer.status != 200)
            problem = error(RecordErrorCode::networkFailure, QStringLiteral("%1 does not answer with the file."));
        if (problem) {
            completion(*problem);
            return;
        }
        compute<WebDAVResource>(
            [answer] {
                return WebDAVResource{answer.body.isEmpty(), entityTag(answer), readWebDAVRecordFile(answer.body)};
            },
            [this, resourceName, completion](const WebDAVResource &resource) {
                noteTag(resourceName, resource.file.record.changeTag, resource.entityTag);
                completion(resource);
            });
    });
}

QByteArray WebDAVConnection::strongTagOf(const QString &resourceName, const QString &changeTag) const
{
    const auto seen = m_tags.value(resourceName);
    return seen.first == changeTag ? seen.second : QByteArray();
}

void WebDAVConnection::noteTag(const QString &resourceName, const QString &changeTag, const QByteArray &entityTag)
{
    constexpr qsizetype most = 1000; // a tag that is forgotten costs one request
    if (m_tags.size() >= most)
        m_tags.clear();
    if (isStrongTag(entityTag) && !changeTag.isEmpty())
        m_tags.insert(resourceName, {changeTag, entityTag});
    else
        m_tags.remove(resourceName);
}

void WebDAVConnection::makeFolder(std::function<void(const std::optional<RecordError> &)> completion)
{
    send("MKCOL", {}, {}, {}, [this, completion = std::move(completion)](const HttpAnswer &answer) {
        constexpr int isThere = 405; // RFC 4918, 9.3.1
        constexpr int isForbidden = 403;
        const bool cannot = answer.status == 404 || answer.status == 409;
        if (cannot && !answer.failure)
            completion(error(RecordErrorCode::unknownItem, QStringLiteral("On %1 the folder above the one for the records does not exist.")));
        else if (answer.status == isForbidden && !answer.failure)
            lookForFolder(errorOf(answer), completion);
        else
            completion(answer.status == isThere && !answer.failure ? std::nullopt : errorOf(answer));
    });
}

/// Apache forbids what another client has done in the same moment.
void WebDAVConnection::lookForFolder(
    const std::optional<RecordError> &otherwise, const std::function<void(const std::optional<RecordError> &)> &completion)
{
    send("PROPFIND", {}, {{"Depth", "0"}, {"Content-Type", "application/xml"}}, {}, [otherwise, completion](const HttpAnswer &answer) {
        constexpr int multistatus = 207;
        completion(answer.status == multistatus && !answer.failure ? std::nullopt : otherwise);
    });
}

std::optional<RecordError> WebDAVConnection::errorOf(const HttpAnswer &answer) const
{
    return webDAVError(answer, m_account.folder.host(), m_dispatch.now());
}

RecordError WebDAVConnection::error(RecordErrorCode code, const QString &words) const
{
    return {code, words.arg(m_account.folder.host()), std::nullopt};
}

void WebDAVConnection::soon(Task task)
{
    m_dispatch.mainAsync([task = std::move(task), alive = std::weak_ptr(m_alive)] {
        if (!alive.expired())
            task();
    });
}

void WebDAVConnection::later(std::chrono::milliseconds delay, Task task)
{
    m_dispatch.mainAfter(delay, [task = std::move(task), alive = std::weak_ptr(m_alive)] {
        if (!alive.expired())
            task();
    });
}

} // namespace lanterna
