#pragma once

#include "platform/linux/Readiness.h"

#include <QByteArray>
#include <QList>
#include <QSet>

#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace lanterna
{

/// What one look-up wants of the system's resolver, and the answers. Any thread.
class SystemInquiry
{
public:
    /// Address in host order and name as the resolver gave it, empty for none.
    using Answer = std::pair<quint32, QByteArray>;

    /// Rings when answers have come.
    [[nodiscard]] const WakeBell &bell() const { return m_bell; }
    /// The answers since the last call.
    [[nodiscard]] QList<Answer> take();
    /// The name is known from elsewhere; if its turn has not come yet, the resolver is not troubled.
    void withdraw(quint32 address);
    /// Nothing is wanted any more.
    void close();

    [[nodiscard]] bool wants(quint32 address) const;
    void put(quint32 address, const QByteArray &name);

private:
    WakeBell m_bell;
    mutable std::mutex m_mutex;
    QList<Answer> m_answers;
    QSet<quint32> m_withdrawn;
    bool m_closed = false;
};

/// Asks the system's resolver, which blocks for as long as its modules like: some seconds for each name that nobody knows are common. Any thread.
///
/// At most 16 threads do it, however many look-ups there are, since each may hold sockets and megabytes of somebody else's modules. They are nobody's:
/// they share only a state that lives as long as they do, nobody waits for them, and they end soon after there is nothing left to ask.
class SystemNames
{
public:
    /// The name of an address (host order), empty for none. Blocks; called on several threads at a time.
    using Resolver = std::function<QByteArray(quint32 address)>;

    static constexpr int maximumThreads = 16;

    explicit SystemNames(Resolver resolver);

    /// Puts the address at the end of the queue. The inquiry gets one answer, unless it withdraws or is closed. It is not kept alive for that.
    void ask(const std::shared_ptr<SystemInquiry> &inquiry, quint32 address);
    /// Closes the inquiry and takes its questions out of the queue, whose threads may be stuck for ever.
    void drop(const std::shared_ptr<SystemInquiry> &inquiry);
    /// How many questions wait for a thread.
    [[nodiscard]] qsizetype waiting() const;

    /// What the system itself says (getnameinfo); never a number.
    static QByteArray systemName(quint32 address);

private:
    struct State;
    static void serve(const std::shared_ptr<State> &state);

    std::shared_ptr<State> m_state;
};

} // namespace lanterna
