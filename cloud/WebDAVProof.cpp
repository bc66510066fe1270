#include "cloud/WebDAVProof.h"

#include "cloud/WebDAVAnswers.h"

#include <QUuid>

#include <utility>

namespace lanterna
{

namespace
{

// Of one size: a tag made of size and second would be the same for both.
const QByteArray firstContent("Lanterna tries whether two machines can write here (1).\n");
const QByteArray secondContent("Lanterna tries whether two machines can write here (2).\n");

constexpr int preconditionFailed = 412;
constexpr int multistatus = 207;
// Servers that tell the time in seconds give strong tags to files that are older than one or two.
constexpr int mostWaits = 4;
constexpr std::chrono::milliseconds oneWait{700};

const QByteArray listBody(
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<D:propfind xmlns:D=\"DAV:\"><D:prop><D:resourcetype/></D:prop></D:propfind>\n");

bool isSuccess(const HttpAnswer &answer)
{
    return answer.status >= 200 && answer.status < 300;
}

/// Whether an answer says nothing about the server's rules, only that one does not get to them.
bool isHindrance(RecordErrorCode code, int status)
{
    switch (code) {
    case RecordErrorCode::networkUnavailable:
    case RecordErrorCode::networkFailure:
    case RecordErrorCode::requestRateLimited:
    case RecordErrorCode::notAuthenticated:
    case RecordErrorCode::quotaExceeded:
    case RecordErrorCode::internalError:
        return true;
    case RecordErrorCode::serviceUnavailable:
        return status != 423;
    case RecordErrorCode::permissionFailure:
    case RecordErrorCode::unknownItem:
    case RecordErrorCode::invalidArguments:
    case RecordErrorCode::serverRecordChanged:
    case RecordErrorCode::serverRejectedRequest:
    case RecordErrorCode::batchRequestFailed:
    case RecordErrorCode::zoneNotFound:
    case RecordErrorCode::referenceViolation:
        return status == 0 || (status >= 300 && status < 400);
    }
    return false;
}

} // namespace

WebDAVProof::WebDAVProof(WebDAVConnection &connection)
    : m_connection(connection), m_name(QStringLiteral("lanterna-%1.proof").arg(QUuid::createUuid().toString(QUuid::Id128))),
      m_lock(connection, m_name, 0), m_second(connection, m_name, 0)
{
}

void WebDAVProof::start(Completion completion)
{
    m_completion = std::move(completion);
    list();
}

/// Sends a request about the file; an answer that is none ends the proof.
void WebDAVProof::ask(const QByteArray &method, const Headers &headers, const QByteArray &body, HttpExchange::Completion then)
{
    m_connection.send(method, m_name, headers, body, [this, then = std::move(then)](const HttpAnswer &answer) {
        const auto error = m_connection.errorOf(answer);
        if (error && isHindrance(error->code, answer.status))
            end(*error);
        else
            then(answer);
    });
}

void WebDAVProof::askFolder(const QByteArray &method, const Headers &headers, const QByteArray &body, HttpExchange::Completion then)
{
    m_connection.send(method, {}, headers, body, [this, then = std::move(then)](const HttpAnswer &answer) {
        const auto error = m_connection.errorOf(answer);
        if (error && (isHindrance(error->code, answer.status) || error->code == RecordErrorCode::permissionFailure))
            end(*error);
        else
            then(answer);
    });
}

void WebDAVProof::list()
{
    askFolder("PROPFIND", {{"Depth", "0"}, {"Content-Type", "application/xml; charset=\"utf-8\""}}, listBody, [this](const HttpAnswer &answer) {
        const bool isMissing = answer.status == 404 || answer.status == 409;
        if (isMissing && !std::exchange(m_triedFolder, true)) {
            m_connection.makeFolder([this](const std::optional<RecordError> &error) {
                if (error)
                    end(*error);
                else
                    list();
            });
        } else if (answer.status != multistatus || !parseMultistatus(answer.body)) {
            refuse(QStringLiteral("This address on %1 is no WebDAV folder."));
        } else {
            askWhatIsOffered();
        }
    });
}

/// Only of a folder that is there: lighttpd 1.4.69 never ends its answer about one that is not.
void WebDAVProof::askWhatIsOffered()
{
    askFolder("OPTIONS", {}, {}, [this](const HttpAnswer &answer) {
        m_offersLocks = isSuccess(answer) && offersLocks(answer);
        create();
    });
}

void WebDAVProof::create()
{
    m_wrote = true;
    ask("PUT", {{"If-None-Match", "*"}}, firstContent, [this](const HttpAnswer &answer) {
        if (const auto error = m_connection.errorOf(answer))
            end(*error);
        else
            createAgain();
    });
}

void WebDAVProof::createAgain()
{
    ask("PUT", {{"If-None-Match", "*"}}, secondContent, [this](const HttpAnswer &answer) {
        if (answer.status == preconditionFailed)
            look();
        else if (isSuccess(answer))
            refuse(QStringLiteral("%1 does not honour If-None-Match: it lets one machine overwrite what another has created."));
        else
            end(*m_connection.errorOf(answer));
    });
}

void WebDAVProof::look()
{
    ask("GET", {}, {}, [this](const HttpAnswer &answer) {
        m_tag = entityTag(answer);
        if (answer.status == 200 && answer.body == firstContent)
            replaceUnderAWrongTag();
        else
            refuse(QStringLiteral("%1 does not give back what was stored on it."));
    });
}

void WebDAVProof::replaceUnderAWrongTag()
{
    ask("PUT", {{"If-Match", "\"lanterna-never-was\""}}, secondContent, [this](const HttpAnswer &answer) {
        if (isSuccess(answer))
            refuse(QStringLiteral("%1 does not honour If-Match: it lets one machine overwrite what another has changed."));
        else if (answer.status != preconditionFailed)
            end(*m_connection.errorOf(answer));
        else if (isStrongTag(m_tag))
            replaceUnderTheTag([this] { tryLocks(); });
        else
            tryLocks();
    });
}

void WebDAVProof::replaceUnderTheTag(Task then)
{
    ask("PUT", {{"If-Match", m_tag}}, secondContent, [this, then = std::move(then)](const HttpAnswer &answer) {
        if (isSuccess(answer))
            replaceUnderTheOldTag(then);
        else
            then(); // no use of its tags then
    });
}

void WebDAVProof::replaceUnderTheOldTag(const Task &then)
{
    ask("PUT", {{"If-Match", m_tag}}, firstContent, [this, then](const HttpAnswer &answer) {
        m_traits.firmTags = answer.status == preconditionFailed;
        then();
    });
}

void WebDAVProof::tryLocks()
{
    if (!m_offersLocks) {
        waitForAStrongTag();
        return;
    }
    m_lock.tryToTake([this](const HttpAnswer &answer) {
        if (answer.failure && answer.status == 0)
            end(*answer.failure);
        else if (m_lock.isHeld())
            tryToPassTheLock();
        else
            endLocks(false);
    });
}

void WebDAVProof::tryToPassTheLock()
{
    ask("PUT", {}, firstContent, [this](const HttpAnswer &answer) {
        if (isSuccess(answer))
            endLocks(false);
        else
            tryToShareTheLock();
    });
}

void WebDAVProof::tryToShareTheLock()
{
    m_second.tryToTake([this](const HttpAnswer &) {
        if (m_second.isHeld())
            endLocks(false);
        else
            writeUnderTheLock();
    });
}

void WebDAVProof::writeUnderTheLock()
{
    ask("PUT", {m_lock.proof()}, secondContent, [this](const HttpAnswer &answer) { endLocks(isSuccess(answer)); });
}

void WebDAVProof::endLocks(bool areGood)
{
    m_second.release([this, areGood] {
        m_lock.release([this, areGood] {
            m_traits.locks = areGood;
            waitForAStrongTag();
        });
    });
}

/// Where nothing else helps: a tag that is weak for a fresh file may become strong.
void WebDAVProof::waitForAStrongTag()
{
    const bool isUseful = !m_traits.locks && !m_traits.firmTags && !m_tag.isEmpty() && !isStrongTag(m_tag);
    if (!isUseful || m_waits++ >= mostWaits) {
        judge();
        return;
    }
    m_connection.later(oneWait, [this] {
        ask("GET", {}, {}, [this](const HttpAnswer &answer) {
            m_tag = entityTag(answer);
            if (isStrongTag(m_tag))
                replaceUnderTheTag([this] { judge(); });
            else
                waitForAStrongTag();
        });
    });
}

void WebDAVProof::judge()
{
    if (m_traits.locks || m_traits.firmTags)
        end(m_traits);
    else if (m_offersLocks)
        refuse(QStringLiteral("%1 does not keep to the locks that it offers, and its tags do not tell versions apart."));
    else
        refuse(QStringLiteral("%1 has no tags that tell versions apart, and offers no locks: two machines could overwrite each other."));
}

void WebDAVProof::refuse(const QString &words)
{
    end(m_connection.error(RecordErrorCode::serverRejectedRequest, words));
}

void WebDAVProof::end(const Result &result)
{
    m_second.release([this, result] {
        m_lock.release([this, result] {
            if (!m_wrote) {
                m_completion(result);
                return;
            }
            m_connection.send("DELETE", m_name, {}, {}, [this, result](const HttpAnswer &) { m_completion(result); });
        });
    });
}

} // namespace lanterna
