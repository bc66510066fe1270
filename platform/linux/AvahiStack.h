#pragma once

#include "platform/Dispatch.h"
#include "platform/linux/AvahiBackEnd.h"
#include "platform/linux/AvahiDaemonWatch.h"
#include "platform/linux/AvahiLoop.h"
#include "platform/linux/AvahiNames.h"
#include "platform/linux/MdnsStack.h"

#include <atomic>
#include <map>
#include <set>
#include <unordered_map>

namespace lanterna
{

/// Avahi as an mDNS stack: the daemon where one runs, else the embedded stack, never both. What is open when the daemon ends goes on over the embedded
/// stack. What stands (watches and publications) waits where there is neither, and goes back to the daemon soon after that has come.
///
/// Main thread only; the work is done on the thread of an `AvahiLoop`, which begins with the first thing that is opened and then waits for the next
/// ones. Destroying the stack waits for it, which takes long only while the daemon hangs: `leave` first where that matters. The dispatch must outlive
/// the stack.
class AvahiStack : public MdnsStack
{
public:
    explicit AvahiStack(Dispatch &dispatch);
    ~AvahiStack() override;
    AvahiStack(const AvahiStack &) = delete;
    AvahiStack &operator=(const AvahiStack &) = delete;

    void setListener(std::weak_ptr<MdnsListener> listener) override;
    void beginPass() override;
    void search(quint64 id, const QString &ofType, const QString &inDomain) override;
    void resolve(quint64 id, const ServiceInstance &service) override;
    void watch(quint64 id, const QString &ofType, const QString &inDomain) override;
    void publish(quint64 id, const ServiceRegistration &service) override;
    void setText(quint64 id, const ServiceText &text) override;
    void end(quint64 id) override;
    void rest() override;
    void leave(std::chrono::milliseconds patience) override;

private:
    using Flag = std::shared_ptr<std::atomic<bool>>;
    struct SearchTerms {
        QString type;
        QString domain;
    };

    /// False, and the loop is not there, when the system had no thread left.
    bool startLoop();
    /// Runs a task on the loop's thread, unless `id` is ended before its turn comes. Without a thread it waits for one.
    void postUnlessEnded(quint64 id, Task task);
    void postUnless(const Flag &ended, Task task);
    void tellListener(std::function<void(MdnsListener &)> event);
    AvahiBackEnd::Events events();

    // On the loop's thread.
    [[nodiscard]] bool hasRightBackEnd() const;
    [[nodiscard]] MdnsRole wantedRole() const { return m_publications.empty() ? MdnsRole::asker : MdnsRole::responder; }
    [[nodiscard]] std::unique_ptr<AvahiBackEnd> startEmbedded();
    /// True when what is open was opened anew, over another back end.
    bool chooseBackEnd();
    void replaceLostBackEnd();
    void reopen();
    void openStanding(quint64 id);
    void closeEverything();
    void lookOutForDaemon();
    void daemonCame(bool justNow);
    void lookAgain();
    [[nodiscard]] bool isAnythingOpen() const;
    void found(quint64 search, const ServiceInstance &service);
    void searchEnded(quint64 id);
    void resolved(quint64 id, const std::optional<ResolvedService> &where);

    Dispatch &m_dispatch;
    std::weak_ptr<MdnsListener> m_listener;
    std::unordered_map<quint64, Flag> m_ended; // of each search and resolution that was not ended yet
    std::vector<Task> m_waitingForLoop;
    std::unique_ptr<AvahiLoop> m_loop;
    std::unique_ptr<AvahiBackEnd> m_backEnd; // belongs to the loop's thread
    bool m_withDaemon = false; // so do these
    bool m_lostDaemon = false; // the last time that a back end was lost
    MdnsRole m_role = MdnsRole::asker; // of the embedded stack
    QByteArray m_hostName; // under which the daemon knew this host; two names for its addresses would be a conflict
    std::map<quint64, SearchTerms> m_searches; // open ones; none without a back end
    std::map<quint64, ServiceInstance> m_resolutions;
    std::map<quint64, SearchTerms> m_watches; // open ones, also without a back end
    std::map<quint64, ServiceRegistration> m_publications; // with the names under which they are announced
    std::set<quint64> m_notOpened; // of these two: what the back end has refused or ended
    std::unique_ptr<AvahiDaemonWatch> m_daemonWatch; // while something stands and is not with the daemon
    std::unique_ptr<AvahiTimer> m_retry; // while something stands and there is no back end at all
    ToldServices m_told;
    ToldServices m_toldByWatches; // apart: they outlast the passes
};

} // namespace lanterna
