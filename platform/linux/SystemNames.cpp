#include "platform/linux/SystemNames.h"

#include <QtEndian>

#include <array>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <system_error>
#include <thread>

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace lanterna
{

namespace
{
// A whole network is asked for in one moment. Where the resolver answers as fast as that, threads that ended at once would be made anew for each name.
constexpr std::chrono::milliseconds idleLife{100};
} // namespace

QList<SystemInquiry::Answer> SystemInquiry::take()
{
    m_bell.quieten(); // first: an answer that comes in between rings again
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_answers, {});
}

void SystemInquiry::withdraw(quint32 address)
{
    const std::lock_guard lock(m_mutex);
    m_withdrawn.insert(address);
}

void SystemInquiry::close()
{
    const std::lock_guard lock(m_mutex);
    m_closed = true;
}

bool SystemInquiry::wants(quint32 address) const
{
    const std::lock_guard lock(m_mutex);
    return !m_closed && !m_withdrawn.contains(address);
}

void SystemInquiry::put(quint32 address, const QByteArray &name)
{
    {
        const std::lock_guard lock(m_mutex);
        m_answers.append({address, name});
    }
    m_bell.ring();
}

namespace
{

bool isWanted(const std::weak_ptr<SystemInquiry> &asker, quint32 address)
{
    const std::shared_ptr<SystemInquiry> inquiry = asker.lock();
    return inquiry && inquiry->wants(address);
}

} // namespace

struct SystemNames::State {
    Resolver resolver;
    std::mutex mutex;
    std::condition_variable work;
    std::deque<std::pair<std::weak_ptr<SystemInquiry>, quint32>> queue; // a stuck resolver must not hold descriptors of look-ups that are over
    int threads = 0;
    std::size_t idle = 0; // threads that wait for work
};

SystemNames::SystemNames(Resolver resolver) : m_state(std::make_shared<State>())
{
    m_state->resolver = std::move(resolver);
}

void SystemNames::ask(const std::shared_ptr<SystemInquiry> &inquiry, quint32 address)
{
    const std::lock_guard lock(m_state->mutex);
    m_state->queue.emplace_back(inquiry, address);
    if (m_state->queue.size() <= m_state->idle) {
        m_state->work.notify_one();
        return;
    }
    if (m_state->threads == maximumThreads)
        return;
    try {
        std::thread(serve, m_state).detach();
        ++m_state->threads;
    } catch (const std::system_error &) {
        // No thread to be had. Those that run do the work; if there are none, the look-up ends without this answer when its time is over.
    }
}

void SystemNames::drop(const std::shared_ptr<SystemInquiry> &inquiry)
{
    inquiry->close();
    const std::lock_guard lock(m_state->mutex);
    std::erase_if(m_state->queue, [&](const auto &waiting) { return !waiting.first.owner_before(inquiry) && !inquiry.owner_before(waiting.first); });
}

qsizetype SystemNames::waiting() const
{
    const std::lock_guard lock(m_state->mutex);
    return qsizetype(m_state->queue.size());
}

void SystemNames::serve(const std::shared_ptr<State> &state)
{
    std::unique_lock lock(state->mutex);
    while (true) {
        ++state->idle;
        const bool more = state->work.wait_for(lock, idleLife, [&] { return !state->queue.empty(); });
        --state->idle;
        if (!more)
            break;
        const auto [asker, address] = std::move(state->queue.front());
        state->queue.pop_front();
        lock.unlock();
        if (isWanted(asker, address)) {
            const QByteArray name = state->resolver(address);
            if (const std::shared_ptr<SystemInquiry> inquiry = asker.lock())
                inquiry->put(address, name);
        }
        lock.lock();
    }
    --state->threads;
}

QByteArray SystemNames::systemName(quint32 address)
{
    sockaddr_in name = {};
    name.sin_family = AF_INET;
    name.sin_addr.s_addr = qToBigEndian(address);
    std::array<char, NI_MAXHOST> text = {};
    const int problem =
        getnameinfo(reinterpret_cast<const sockaddr *>(&name), sizeof name, text.data(), socklen_t(text.size()), nullptr, 0, NI_NAMEREQD);
    return problem == 0 ? QByteArray(text.data()) : QByteArray();
}

} // namespace lanterna
