#include "platform/linux/AvahiStack.h"

#include <utility>

namespace lanterna
{

AvahiStack::AvahiStack(Dispatch &dispatch) : m_dispatch(dispatch) { }

AvahiStack::~AvahiStack()
{
    for (const auto &[id, ended] : m_ended)
        ended->store(true);
    if (!m_loop)
        return;
    m_loop->post([this] { m_backEnd.reset(); });
    m_loop->end(); // its tasks use all that is here, the pointer to the loop included
}

void AvahiStack::setListener(std::weak_ptr<MdnsListener> listener)
{
    m_listener = std::move(listener);
}

void AvahiStack::beginPass()
{
    if (!startLoop())
        return;
    m_loop->post([this] {
        m_told.beginPass();
        chooseBackEnd();
    });
}

void AvahiStack::search(quint64 id, const QString &ofType, const QString &inDomain)
{
    if (!startLoop()) {
        tellListener([id](MdnsListener &listener) { listener.searchEnded(id); });
        return;
    }
    postUnlessEnded(id, [this, id, ofType, inDomain] {
        m_searches.insert_or_assign(id, SearchTerms{ofType, inDomain});
        if (m_backEnd)
            m_backEnd->search(id, ofType, inDomain);
        else
            searchEnded(id);
    });
}

void AvahiStack::resolve(quint64 id, const ServiceInstance &service)
{
    if (!startLoop()) {
        tellListener([id](MdnsListener &listener) { listener.resolved(id, std::nullopt); });
        return;
    }
    postUnlessEnded(id, [this, id, service] {
        if (!m_backEnd)
            chooseBackEnd();
        m_resolutions.insert_or_assign(id, service);
        if (m_backEnd)
            m_backEnd->resolve(id, service);
        else
            resolved(id, std::nullopt);
    });
}

void AvahiStack::end(quint64 id)
{
    const auto ended = m_ended.extract(id);
    if (!ended)
        return;
    ended.mapped()->store(true);
    m_loop->post([this, id] {
        m_searches.erase(id);
        m_resolutions.erase(id);
        m_told.endSearch(id);
        if (m_backEnd)
            m_backEnd->end(id);
    });
}

void AvahiStack::rest()
{
    if (m_loop)
        m_loop->post([this] { m_backEnd.reset(); });
}

bool AvahiStack::startLoop()
{
    if (!m_loop)
        m_loop = AvahiLoop::start();
    return m_loop != nullptr;
}

void AvahiStack::postUnlessEnded(quint64 id, Task task)
{
    const auto ended = std::make_shared<std::atomic<bool>>(false);
    m_ended.insert_or_assign(id, ended);
    m_loop->post([ended, task = std::move(task)] {
        if (!ended->load())
            task();
    });
}

void AvahiStack::tellListener(std::function<void(MdnsListener &)> event)
{
    m_dispatch.mainAsync([listener = m_listener, event = std::move(event)] {
        if (const auto alive = listener.lock())
            event(*alive);
    });
}

AvahiBackEnd::Events AvahiStack::events()
{
    AvahiBackEnd::Events events;
    events.found = [this](quint64 search, const ServiceInstance &service) {
        if (m_told.add(search, service.name, service.interfaceIndex))
            tellListener([search, service](MdnsListener &listener) { listener.found(search, service); });
    };
    events.searchEnded = [this](quint64 search) { searchEnded(search); };
    events.resolved = [this](quint64 resolution, const std::optional<ResolvedService> &where) { resolved(resolution, where); };
    // Later: a back end cannot be destroyed from inside its own callback.
    events.lost = [this] { m_loop->post([this] { replaceLostBackEnd(); }); };
    return events;
}

void AvahiStack::chooseBackEnd()
{
    const bool works = m_backEnd && m_backEnd->works();
    if (works && m_withDaemon)
        return;
    // The embedded stack keeps quiet, so it can still be there while the daemon is being looked for.
    auto daemon = connectToAvahiDaemon(m_loop->api(), events());
    if (works && !daemon)
        return;
    m_backEnd.reset();
    m_withDaemon = daemon != nullptr;
    m_backEnd = daemon ? std::move(daemon) : startEmbeddedAvahi(m_loop->api(), events());
    reopen();
}

void AvahiStack::replaceLostBackEnd()
{
    if (!m_backEnd || m_backEnd->works())
        return;
    m_backEnd.reset();
    // The daemon is not looked for again: what has ended it may well end it once more. An embedded stack that is lost has no network.
    if (std::exchange(m_withDaemon, false) && (!m_searches.empty() || !m_resolutions.empty()))
        m_backEnd = startEmbeddedAvahi(m_loop->api(), events());
    reopen();
}

/// What is open goes on over the back end that is there now, or ends without one.
void AvahiStack::reopen()
{
    // Copies: what cannot be opened leaves the originals.
    for (const auto &[id, terms] : std::map(m_searches)) {
        if (m_backEnd)
            m_backEnd->search(id, terms.type, terms.domain);
        else
            searchEnded(id);
    }
    for (const auto &[id, service] : std::map(m_resolutions)) {
        if (m_backEnd)
            m_backEnd->resolve(id, service);
        else
            resolved(id, std::nullopt);
    }
}

void AvahiStack::searchEnded(quint64 id)
{
    m_searches.erase(id);
    tellListener([id](MdnsListener &listener) { listener.searchEnded(id); });
}

void AvahiStack::resolved(quint64 id, const std::optional<ResolvedService> &where)
{
    m_resolutions.erase(id);
    tellListener([id, where](MdnsListener &listener) { listener.resolved(id, where); });
}

} // namespace lanterna
