#pragma once

#include "cloud/WebDAVConnection.h"

namespace lanterna
{

/// A short exclusive lock on one file (RFC 4918, 6). Main thread only; the owner keeps it until `release` has answered.
///
/// A lock that somebody else holds is waited for, since those of other Lanternas last for a few requests: `patience` altogether. A lock whose holder
/// disappears ends by itself after the time that it was taken for, a minute and more for large files.
class WebDAVLock
{
public:
    /// Each save holds its lock for three or four requests; a handful of machines that save at once get their turns within this.
    static constexpr std::chrono::milliseconds patience{6000};

    WebDAVLock(WebDAVConnection &connection, QString resourceName, qsizetype sizeToWrite)
        : m_connection(connection), m_resourceName(std::move(resourceName)), m_sizeToWrite(sizeToWrite)
    {
    }

    /// The answer to LOCK; it is the last one when somebody else held the lock before. A success without a usable token is turned into a failure.
    void take(HttpExchange::Completion completion);
    /// Asks once, without patience.
    void tryToTake(HttpExchange::Completion completion);
    /// Gives the lock back if it is held. What comes of that changes nothing for the caller: the lock would end by itself.
    void release(Task completion);

    [[nodiscard]] bool isHeld() const { return !m_token.isEmpty(); }
    /// The header that says to the server that one holds the lock (RFC 4918, 10.4).
    [[nodiscard]] QPair<QByteArray, QByteArray> proof() const { return {"If", "(<" + m_token + ">)"}; }
    /// Whether there was no such file: the server may have made an empty one.
    [[nodiscard]] bool madeTheFile() const { return m_madeTheFile; }

private:
    WebDAVConnection &m_connection;
    QString m_resourceName;
    qsizetype m_sizeToWrite;
    QByteArray m_token;
    bool m_madeTheFile = false;
    std::chrono::milliseconds m_waited{0};
    std::chrono::milliseconds m_pause{20};
};

} // namespace lanterna
