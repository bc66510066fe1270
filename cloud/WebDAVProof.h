#pragma once

#include "cloud/WebDAVLock.h"

#include <variant>

namespace lanterna
{

/// What a server was found to be good for. One that keeps two machines from overwriting each other has at least one of these.
struct WebDAVTraits {
    bool firmTags = false; ///< its tags are strong, change with each change, and a write under an older one is refused
    bool locks = false; ///< its locks keep others out

    bool operator==(const WebDAVTraits &) const = default;
};

/// Proves on a file of its own, which it removes again, that a server lets nobody overwrite what somebody else wrote meanwhile: some two dozen small
/// requests. Makes the folder where it is missing.
///
/// Main thread only. The owner keeps it until it has answered.
class WebDAVProof
{
public:
    /// The traits, or why the server is refused or could not be asked.
    using Result = std::variant<WebDAVTraits, RecordError>;
    using Completion = std::function<void(const Result &)>;

    explicit WebDAVProof(WebDAVConnection &connection);
    void start(Completion completion);

private:
    using Headers = QList<QPair<QByteArray, QByteArray>>;

    void ask(const QByteArray &method, const Headers &headers, const QByteArray &body, HttpExchange::Completion then);
    void askFolder(const QByteArray &method, const Headers &headers, const QByteArray &body, HttpExchange::Completion then);
    void list();
    void askWhatIsOffered();
    void create();
    void createAgain();
    void look();
    void replaceUnderAWrongTag();
    void replaceUnderTheTag(Task then);
    void replaceUnderTheOldTag(const Task &then);
    void tryLocks();
    void tryToPassTheLock();
    void tryToShareTheLock();
    void writeUnderTheLock();
    void endLocks(bool areGood);
    void waitForAStrongTag();
    void judge();
    void refuse(const QString &words);
    void end(const Result &result);

    WebDAVConnection &m_connection;
    QString m_name; // of the file to try on
    WebDAVLock m_lock;
    WebDAVLock m_second;
    Completion m_completion;
    WebDAVTraits m_traits;
    bool m_offersLocks = false;
    bool m_triedFolder = false;
    bool m_wrote = false; // there may be a file to remove
    QByteArray m_tag;
    int m_waits = 0;
};

} // namespace lanterna
