#pragma once

#include "platform/Dispatch.h"
#include "platform/linux/AvahiBackEnd.h"
#include "platform/linux/AvahiLoop.h"
#include "platform/linux/AvahiNames.h"
#include "platform/linux/MdnsStack.h"

#include <atomic>
#include <map>
#include <unordered_map>

namespace lanterna
{

/// Avahi as an mDNS stack: the daemon where one runs, else the embedded stack, never both. What is open when the daemon ends goes on over the embedded
/// stack.
///
/// Main thread only; the work is done on the thread of an `AvahiLoop`, which begins with the first pass and then waits for the next ones. Destroying
/// the stack waits for it, which takes long only while the daemon hangs. The dispatch must outlive the stack.
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
    void end(quint64 id) override;
    void rest() override;

private:
    using Flag = std::shared_ptr<std::atomic<bool>>;
    struct SearchTerms {
        QString type;
        QString domain;
    };

    /// False, and the loop is not there, when the system had no thread left.
    bool startLoop();
    /// Runs a task on the loop's thread, unless `id` is ended before its turn comes.
    void postUnlessEnded(quint64 id, Task task);
    void tellListener(std::function<void(MdnsListener &)> event);
    AvahiBackEnd::Events events();

    // On the loop's thread.
    void chooseBackEnd();
    void replaceLostBackEnd();
    void reopen();
    void searchEnded(quint64 id);
    void resolved(quint64 id, const std::optional<ResolvedService> &where);

    Dispatch &m_dispatch;
    std::weak_ptr<MdnsListener> m_listener;
    std::unordered_map<quint64, Flag> m_ended; // of each search and resolution that was not ended yet
    std::unique_ptr<AvahiLoop> m_loop;
    std::unique_ptr<AvahiBackEnd> m_backEnd; // belongs to the loop's thread
    bool m_withDaemon = false; // so do these
    std::map<quint64, SearchTerms> m_searches; // open ones; none without a back end
    std::map<quint64, ServiceInstance> m_resolutions;
    ToldServices m_told;
};

} // namespace lanterna
