#pragma once

#include "cloud/HttpExchange.h"
#include "cloud/WebDAVRecordFile.h"

#include <QHash>

namespace lanterna
{

/// Where the records lie and who asks for them.
struct WebDAVAccount {
    QUrl folder; ///< of the records: https, or http on this machine; the slash at its end may be missing
    QString user; ///< empty for a server that asks for nobody; without ":"
    std::function<QString()> password; ///< asked for at each request; null as long as it is not known
};

/// A file of the folder as it is on the server.
struct WebDAVResource {
    bool isEmpty = false; ///< a file of no bytes, which a lock may have made; it stands for no record
    QByteArray entityTag; ///< as the server gave it
    ReadRecordFile file;
};
using WebDAVResourceResult = std::variant<WebDAVResource, RecordError>;

/// Requests to one folder of a WebDAV server, and what its answers say.
///
/// Main thread only. Each completion is called exactly once, never inside the call, and not any more once this is dropped. Password and user go only
/// to the folder's own host, with requests that this makes.
class WebDAVConnection
{
public:
    WebDAVConnection(Dispatch &dispatch, WebDAVAccount account);

    /// Asks something about a file of the folder, or about the folder itself when there is no name.
    void send(const QByteArray &method, const QString &resourceName, QList<QPair<QByteArray, QByteArray>> headers, const QByteArray &body,
        HttpExchange::Completion completion);
    /// Reads a file; it is taken apart off the main thread. Whatever the file holds, it is no error.
    void read(const QString &resourceName, std::function<void(const WebDAVResourceResult &)> completion);
    /// The server's strong tag for a version of a record that was read or written here; empty when it is not known.
    [[nodiscard]] QByteArray strongTagOf(const QString &resourceName, const QString &changeTag) const;
    /// Remembers the tag under which a version was given or taken.
    void noteTag(const QString &resourceName, const QString &changeTag, const QByteArray &entityTag);
    /// Makes the folder itself, not those above it; one that is there already is no error.
    void makeFolder(std::function<void(const std::optional<RecordError> &)> completion);
    [[nodiscard]] std::optional<RecordError> errorOf(const HttpAnswer &answer) const;
    /// An error in words of this class's own; "%1" in them is the host.
    [[nodiscard]] RecordError error(RecordErrorCode code, const QString &words) const;

    /// Calls the task from the main queue, at once or later.
    void soon(Task task);
    void later(std::chrono::milliseconds delay, Task task);
    /// Computes something off the main thread and hands it over on it.
    template <typename Value> void compute(std::function<Value()> work, std::function<void(const Value &)> completion)
    {
        m_queue->async([&dispatch = m_dispatch, work = std::move(work), completion = std::move(completion), alive = std::weak_ptr(m_alive)] {
            dispatch.mainAsync([value = work(), completion, alive] {
                if (!alive.expired())
                    completion(value);
            });
        });
    }
    [[nodiscard]] QDateTime now() const { return m_dispatch.now(); }

private:
    void lookForFolder(const std::optional<RecordError> &otherwise, const std::function<void(const std::optional<RecordError> &)> &completion);
    Dispatch &m_dispatch;
    WebDAVAccount m_account;
    QByteArray m_folder; // encoded, with its slash
    std::shared_ptr<SerialQueue> m_queue;
    HttpExchange m_http;
    QHash<QString, std::pair<QString, QByteArray>> m_tags; // by file: the last version that was seen, and its strong tag
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

} // namespace lanterna
