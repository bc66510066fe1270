#include "cloud/WebDAVLock.h"

#include "cloud/WebDAVAnswers.h"

#include <utility>

namespace lanterna
{

namespace
{

constexpr int created = 201;
constexpr int lockedByOthers = 423;
constexpr std::chrono::milliseconds longestPause{320};

const QByteArray lockBody("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                          "<D:lockinfo xmlns:D=\"DAV:\"><D:lockscope><D:exclusive/></D:lockscope><D:locktype><D:write/></D:locktype>"
                          "<D:owner>Lanterna</D:owner></D:lockinfo>\n");

/// Long enough to send the file at 100 kB/s, and short enough that a machine that was switched off does not keep the others waiting for long.
QByteArray lockTime(qsizetype sizeToWrite)
{
    return "Second-" + QByteArray::number(60 + sizeToWrite / 100000);
}

} // namespace

void WebDAVLock::take(HttpExchange::Completion completion)
{
    tryToTake([this, completion = std::move(completion)](const HttpAnswer &answer) {
        if (answer.failure || answer.status != lockedByOthers || m_waited >= patience) {
            completion(answer);
            return;
        }
        m_waited += m_pause;
        m_connection.later(m_pause, [this, completion] { take(completion); });
        m_pause = std::min(2 * m_pause, longestPause);
    });
}

void WebDAVLock::tryToTake(HttpExchange::Completion completion)
{
    m_connection.send("LOCK", m_resourceName,
        {{"Depth", "0"}, {"Timeout", lockTime(m_sizeToWrite)}, {"Content-Type", "application/xml; charset=\"utf-8\""}}, lockBody,
        [this, completion = std::move(completion)](HttpAnswer answer) {
            if (m_connection.errorOf(answer)) {
                completion(answer);
                return;
            }
            m_token = lockToken(answer);
            m_madeTheFile = answer.status == created;
            if (m_token.isEmpty())
                answer.failure = m_connection.error(RecordErrorCode::serverRejectedRequest, QStringLiteral("%1 grants a lock without a token."));
            completion(answer);
        });
}

void WebDAVLock::release(Task completion)
{
    if (!isHeld()) {
        completion();
        return;
    }
    m_connection.send("UNLOCK", m_resourceName, {{"Lock-Token", "<" + std::exchange(m_token, {}) + ">"}}, {},
        [completion = std::move(completion)](const HttpAnswer &) { completion(); });
}

} // namespace lanterna
