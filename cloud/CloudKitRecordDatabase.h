#pragma once

#include "cloud/CloudKitChannel.h"

#include <deque>

namespace lanterna
{

/// The private database of an iCloud container, over CloudKit's web services: the same records as on the person's other devices.
///
/// Texts and assets are kept in fields of those types; fields of other types stay as they are in the container. Calls are carried out one after
/// another, one request at a time, since each reply brings the session token for the next request. Nothing goes out while the configuration has a
/// problem (12), nobody is signed in (9), or the server asked for a pause (7, with the seconds that are left).
///
/// A save whose reply is lost, or that is refused after it had to be sent again, is looked at once more: when the container holds what was to be
/// saved, it succeeded. Anything else is answered as it is; nothing is tried again.
class CloudKitRecordDatabase : public RecordDatabase
{
public:
    using UserCompletion = std::function<void(const RecordResult<QString> &)>;

    /// What the session stands on, and the dispatch, have to outlive it.
    CloudKitRecordDatabase(Dispatch &dispatch, CloudKitConfiguration configuration, CloudKitSession session,
        std::chrono::milliseconds idleTimeOut = std::chrono::seconds(60));
    ~CloudKitRecordDatabase() override;
    CloudKitRecordDatabase(const CloudKitRecordDatabase &) = delete;
    CloudKitRecordDatabase &operator=(const CloudKitRecordDatabase &) = delete;

    void fetchRecord(const QString &recordName, RecordCompletion completion) override;
    void saveRecord(const Record &record, RecordCompletion completion) override;
    void queryRecords(const QString &recordType, QueryCompletion completion) override;

    /// The account's own name in the container: an opaque text, always the same for one person. Goes out without a session, too; `notAuthenticated`
    /// is then the answer, and `signInURL` is where to sign in.
    void currentUser(UserCompletion completion);
    /// Where the person can sign in, from the last reply that asked for it: Apple's own host, by https. Empty when none did, or a later one succeeded.
    [[nodiscard]] QUrl signInURL() const { return m_channel.signInURL(); }

    /// The pause that the server asked for; none when there is none, or when it is over. Whoever keeps it and gives it to the next database makes it
    /// survive the end of the program.
    [[nodiscard]] std::optional<CloudKitThrottle> throttle() const { return m_channel.throttle(); }
    void resumeThrottle(const CloudKitThrottle &throttle) { m_channel.resumeThrottle(throttle); }

private:
    template <typename Value>
    using Operation = std::function<void(CloudKitChannel &channel, std::function<void(const RecordResult<Value> &)> completion)>;

    template <typename Value> void add(Operation<Value> operation, std::function<void(const RecordResult<Value> &)> completion);
    void schedule();
    void startNext();

    Dispatch &m_dispatch;
    CloudKitChannel m_channel;
    std::deque<Task> m_waiting;
    bool m_running = false; // one of them was started and did not answer yet
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

} // namespace lanterna
