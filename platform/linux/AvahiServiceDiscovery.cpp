#include "platform/linux/AvahiServiceDiscovery.h"

#include "platform/linux/AvahiNames.h"
#include "platform/linux/AvahiStack.h"

#include <algorithm>
#include <deque>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace lanterna
{

namespace
{
constexpr int turnsPerQuestion = 2; // a responder answers the same question once a second at most (RFC 6762, section 6)
}

/// What is open, and what waits.
class AvahiServiceDiscovery::Lookups : public MdnsListener, public std::enable_shared_from_this<AvahiServiceDiscovery::Lookups>
{
public:
    Lookups(Dispatch &dispatch, std::unique_ptr<MdnsStack> stack) : m_dispatch(dispatch), m_stack(std::move(stack)) { }

    void start() { m_stack->setListener(weak_from_this()); }
    std::shared_ptr<void> search(const QString &ofType, const QString &inDomain, DidFindService found, DidNotSearch didNotSearch);
    std::shared_ptr<void> resolve(const ServiceInstance &service, std::chrono::milliseconds withTimeout, DidResolve resolved);
    std::shared_ptr<void> watch(const QString &ofType, const QString &inDomain, DidFindService found);
    std::unique_ptr<PublishedService> publish(const ServiceRegistration &service);
    void setText(quint64 publication, const ServiceText &text);
    void drop(quint64 id);
    void leave(std::chrono::milliseconds patience) { m_stack->leave(patience); }

    void found(quint64 search, const ServiceInstance &service) override;
    void searchEnded(quint64 search) override;
    void resolved(quint64 run, const std::optional<ResolvedService> &where) override;

private:
    struct Search {
        std::shared_ptr<DidFindService> found; // shared: it may drop its own handle while it runs
        DidNotSearch didNotSearch;
    };
    struct Resolution {
        ServiceInstance service;
        std::chrono::milliseconds timeLeft{};
        DidResolve resolved;
        quint64 run = 0; // what the stack knows it by while it is under way
        int turns = 0; // how many it has had
        TimerHandle timer;
    };
    using Resolutions = std::unordered_map<quint64, Resolution>;
    class Publication;

    std::shared_ptr<void> handle(quint64 id);
    void answer(quint64 id, const std::optional<ResolvedService> &where);
    Resolutions::node_type takeResolution(quint64 id);
    void startWaiting();
    void startWaitingSoon();
    void timeTurn(quint64 id, Resolution &resolution);
    void turnEnded(quint64 id, std::chrono::milliseconds turn);
    void pause(Resolution &resolution);
    [[nodiscard]] bool isIdle() const;
    void restWhenIdle();

    Dispatch &m_dispatch;
    std::unique_ptr<MdnsStack> m_stack;
    quint64 m_lastId = 0;
    std::unordered_map<quint64, Search> m_searches; // neither dropped nor ended
    std::unordered_map<quint64, std::shared_ptr<DidFindService>> m_watches; // not dropped
    std::unordered_set<quint64> m_publications; // neither dropped nor impossible
    Resolutions m_resolutions; // neither dropped nor answered
    std::deque<quint64> m_waiting; // resolutions in order; some may have been dropped
    std::unordered_map<quint64, quint64> m_runs; // of those under way: their ids by the stack's
    bool m_willStartWaiting = false; // a turn of the main thread is ordered
};

std::shared_ptr<void> AvahiServiceDiscovery::Lookups::search(
    const QString &ofType, const QString &inDomain, DidFindService found, DidNotSearch didNotSearch)
{
    if (m_searches.empty())
        m_stack->beginPass();
    const quint64 id = ++m_lastId;
    m_searches.try_emplace(id, Search{std::make_shared<DidFindService>(std::move(found)), std::move(didNotSearch)});
    m_stack->search(id, ofType, inDomain);
    return handle(id);
}

std::shared_ptr<void> AvahiServiceDiscovery::Lookups::resolve(
    const ServiceInstance &service, std::chrono::milliseconds withTimeout, DidResolve resolved)
{
    const quint64 id = ++m_lastId;
    m_resolutions.try_emplace(id, Resolution{service, withTimeout, std::move(resolved), 0, 0, {}});
    m_waiting.push_back(id);
    startWaiting();
    return handle(id);
}

std::shared_ptr<void> AvahiServiceDiscovery::Lookups::watch(const QString &ofType, const QString &inDomain, DidFindService found)
{
    const quint64 id = ++m_lastId;
    m_watches.try_emplace(id, std::make_shared<DidFindService>(std::move(found)));
    m_stack->watch(id, ofType, inDomain.isEmpty() ? QStringLiteral("local.") : inDomain);
    return handle(id);
}

class AvahiServiceDiscovery::Lookups::Publication : public PublishedService
{
public:
    Publication(std::weak_ptr<Lookups> lookups, quint64 id) : m_owner(std::move(lookups)), m_id(id) { }
    Publication(const Publication &) = delete;
    Publication &operator=(const Publication &) = delete;
    ~Publication() override
    {
        if (const auto alive = m_owner.lock())
            alive->drop(m_id);
    }
    void setText(const ServiceText &text) override
    {
        if (const auto alive = m_owner.lock())
            alive->setText(m_id, text);
    }

private:
    std::weak_ptr<Lookups> m_owner;
    quint64 m_id;
};

std::unique_ptr<PublishedService> AvahiServiceDiscovery::Lookups::publish(const ServiceRegistration &service)
{
    const quint64 id = ++m_lastId;
    if (isAnnounceable(service)) {
        m_publications.insert(id);
        m_stack->publish(id, service);
    }
    return std::make_unique<Publication>(weak_from_this(), id);
}

void AvahiServiceDiscovery::Lookups::setText(quint64 publication, const ServiceText &text)
{
    if (m_publications.contains(publication))
        m_stack->setText(publication, text);
}

std::shared_ptr<void> AvahiServiceDiscovery::Lookups::handle(quint64 id)
{
    struct Handle {
        Handle(std::weak_ptr<Lookups> lookups, quint64 ofId) : owner(std::move(lookups)), id(ofId) { }
        Handle(const Handle &) = delete;
        Handle &operator=(const Handle &) = delete;
        ~Handle()
        {
            if (const auto alive = owner.lock())
                alive->drop(id);
        }
        std::weak_ptr<Lookups> owner;
        quint64 id;
    };
    return std::make_shared<Handle>(weak_from_this(), id);
}

void AvahiServiceDiscovery::Lookups::drop(quint64 id)
{
    // What the callbacks hold goes last: it may be another handle.
    const auto search = m_searches.extract(id);
    const auto watch = m_watches.extract(id);
    const bool published = m_publications.erase(id) != 0;
    if (search || watch || published)
        m_stack->end(id);
    const auto resolution = takeResolution(id);
    if (search || watch || published || resolution)
        restWhenIdle();
}

void AvahiServiceDiscovery::Lookups::found(quint64 search, const ServiceInstance &service)
{
    std::shared_ptr<DidFindService> callback;
    if (const auto place = m_searches.find(search); place != m_searches.end())
        callback = place->second.found;
    if (const auto place = m_watches.find(search); place != m_watches.end())
        callback = place->second;
    if (callback && *callback)
        (*callback)(service);
}

void AvahiServiceDiscovery::Lookups::searchEnded(quint64 search)
{
    const auto ended = m_searches.extract(search);
    if (!ended)
        return;
    m_stack->end(search);
    restWhenIdle();
    if (ended.mapped().didNotSearch)
        ended.mapped().didNotSearch();
}

void AvahiServiceDiscovery::Lookups::resolved(quint64 run, const std::optional<ResolvedService> &where)
{
    const auto place = m_runs.find(run);
    if (place != m_runs.end())
        answer(place->second, where);
}

void AvahiServiceDiscovery::Lookups::answer(quint64 id, const std::optional<ResolvedService> &where)
{
    const auto answered = takeResolution(id);
    if (!answered)
        return;
    restWhenIdle();
    if (answered.mapped().resolved)
        answered.mapped().resolved(where);
}

AvahiServiceDiscovery::Lookups::Resolutions::node_type AvahiServiceDiscovery::Lookups::takeResolution(quint64 id)
{
    auto taken = m_resolutions.extract(id);
    if (taken && taken.mapped().run != 0) {
        pause(taken.mapped());
        startWaitingSoon();
    }
    return taken;
}

void AvahiServiceDiscovery::Lookups::pause(Resolution &resolution)
{
    resolution.timer.cancel();
    m_stack->end(resolution.run);
    m_runs.erase(std::exchange(resolution.run, 0));
}

void AvahiServiceDiscovery::Lookups::startWaitingSoon()
{
    // Not at once: who drops thousands of handles, one after another, shall not start each before its own is dropped.
    if (m_waiting.empty() || std::exchange(m_willStartWaiting, true))
        return;
    m_dispatch.mainAsync([lookups = weak_from_this()] {
        if (const auto alive = lookups.lock()) {
            alive->m_willStartWaiting = false;
            alive->startWaiting();
        }
    });
}

void AvahiServiceDiscovery::Lookups::startWaiting()
{
    while (m_runs.size() < mostResolutionsAtOnce && !m_waiting.empty()) {
        const quint64 id = m_waiting.front();
        m_waiting.pop_front();
        const auto place = m_resolutions.find(id);
        if (place == m_resolutions.end())
            continue;
        place->second.run = ++m_lastId; // anew for each turn: what an earlier one still has to say is not heard
        m_runs.emplace(place->second.run, id);
        timeTurn(id, place->second);
        m_stack->resolve(place->second.run, place->second.service);
    }
}

void AvahiServiceDiscovery::Lookups::timeTurn(quint64 id, Resolution &resolution)
{
    const auto turn = std::min(resolution.timeLeft, resolutionTurn);
    resolution.timer = m_dispatch.performAfter(turn, [lookups = weak_from_this(), id, turn] {
        if (const auto alive = lookups.lock())
            alive->turnEnded(id, turn);
    });
}

void AvahiServiceDiscovery::Lookups::turnEnded(quint64 id, std::chrono::milliseconds turn)
{
    const auto place = m_resolutions.find(id);
    if (place == m_resolutions.end())
        return;
    place->second.timeLeft -= turn;
    if (place->second.timeLeft <= std::chrono::milliseconds::zero()) {
        answer(id, std::nullopt);
    } else if (++place->second.turns % turnsPerQuestion != 0 && m_waiting.empty()) {
        timeTurn(id, place->second);
    } else {
        pause(place->second);
        m_waiting.push_back(id);
        startWaiting();
    }
}

bool AvahiServiceDiscovery::Lookups::isIdle() const
{
    return m_searches.empty() && m_resolutions.empty() && m_watches.empty() && m_publications.empty();
}

void AvahiServiceDiscovery::Lookups::restWhenIdle()
{
    if (!isIdle())
        return;
    // A little later: who has just heard of the end of one lookup often begins the next.
    m_dispatch.mainAsync([lookups = weak_from_this()] {
        const auto alive = lookups.lock();
        if (alive && alive->isIdle())
            alive->m_stack->rest();
    });
}

AvahiServiceDiscovery::AvahiServiceDiscovery(Dispatch &dispatch) : AvahiServiceDiscovery(dispatch, std::make_unique<AvahiStack>(dispatch)) { }

AvahiServiceDiscovery::AvahiServiceDiscovery(Dispatch &dispatch, std::unique_ptr<MdnsStack> stack)
    : m_lookups(std::make_shared<Lookups>(dispatch, std::move(stack)))
{
    m_lookups->start();
}

AvahiServiceDiscovery::~AvahiServiceDiscovery() = default;

std::shared_ptr<void> AvahiServiceDiscovery::searchForServices(
    const QString &ofType, const QString &inDomain, DidFindService found, DidNotSearch didNotSearch)
{
    return m_lookups->search(ofType, inDomain, std::move(found), std::move(didNotSearch));
}

std::shared_ptr<void> AvahiServiceDiscovery::watchForServices(const QString &ofType, const QString &inDomain, DidFindService found)
{
    return m_lookups->watch(ofType, inDomain, std::move(found));
}

std::unique_ptr<PublishedService> AvahiServiceDiscovery::publish(const ServiceRegistration &service)
{
    return m_lookups->publish(service);
}

void AvahiServiceDiscovery::leave(std::chrono::milliseconds patience)
{
    m_lookups->leave(patience);
}

std::shared_ptr<void> AvahiServiceDiscovery::resolve(const ServiceInstance &service, std::chrono::milliseconds withTimeout, DidResolve resolved)
{
    return m_lookups->resolve(service, withTimeout, std::move(resolved));
}

} // namespace lanterna
