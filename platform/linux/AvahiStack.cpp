#include "platform/linux/AvahiStack.h"

#include <future>
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
    m_loop->post([this] { closeEverything(); });
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
        if (chooseBackEnd())
            return;
        for (const quint64 id : std::exchange(m_notOpened, {}))
            openStanding(id); // a refusal may have been for a moment only
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

void AvahiStack::watch(quint64 id, const QString &ofType, const QString &inDomain)
{
    startLoop();
    postUnlessEnded(id, [this, id, ofType, inDomain] {
        m_watches.insert_or_assign(id, SearchTerms{ofType, inDomain});
        if (hasRightBackEnd() || !chooseBackEnd()) {
            lookOutForDaemon();
            openStanding(id);
        }
    });
}

void AvahiStack::publish(quint64 id, const ServiceRegistration &service)
{
    startLoop();
    postUnlessEnded(id, [this, id, service] {
        m_publications.insert_or_assign(id, service);
        if (hasRightBackEnd() || !chooseBackEnd()) {
            lookOutForDaemon();
            openStanding(id);
        }
    });
}

void AvahiStack::setText(quint64 id, const ServiceText &text)
{
    const auto ended = m_ended.find(id);
    if (ended == m_ended.end())
        return;
    postUnless(ended->second, [this, id, text] {
        const auto place = m_publications.find(id);
        if (place == m_publications.end())
            return;
        place->second.text = text;
        if (m_backEnd)
            m_backEnd->setText(id, text);
    });
}

void AvahiStack::end(quint64 id)
{
    const auto ended = m_ended.extract(id);
    if (!ended)
        return;
    ended.mapped()->store(true);
    if (!m_loop)
        return;
    m_loop->post([this, id] {
        m_searches.erase(id);
        m_resolutions.erase(id);
        m_watches.erase(id);
        m_publications.erase(id);
        m_notOpened.erase(id);
        lookOutForDaemon();
        m_told.endSearch(id);
        m_toldByWatches.endSearch(id);
        if (m_backEnd)
            m_backEnd->end(id);
    });
}

void AvahiStack::rest()
{
    if (m_loop)
        m_loop->post([this] { m_backEnd.reset(); });
}

void AvahiStack::leave(std::chrono::milliseconds patience)
{
    for (const auto &[id, ended] : m_ended)
        ended->store(true);
    if (!m_loop)
        return;
    const auto left = std::make_shared<std::promise<void>>();
    m_loop->post([this, left] {
        closeEverything();
        left->set_value();
    });
    left->get_future().wait_for(patience);
}

bool AvahiStack::startLoop()
{
    if (m_loop)
        return true;
    m_loop = AvahiLoop::start();
    for (Task &task : std::exchange(m_waitingForLoop, {})) {
        if (m_loop)
            m_loop->post(std::move(task));
        else
            m_waitingForLoop.push_back(std::move(task));
    }
    return m_loop != nullptr;
}

void AvahiStack::postUnlessEnded(quint64 id, Task task)
{
    const auto ended = std::make_shared<std::atomic<bool>>(false);
    m_ended.insert_or_assign(id, ended);
    postUnless(ended, std::move(task));
}

void AvahiStack::postUnless(const Flag &ended, Task task)
{
    Task checked = [ended, task = std::move(task)] {
        if (!ended->load())
            task();
    };
    if (m_loop)
        m_loop->post(std::move(checked));
    else
        m_waitingForLoop.push_back(std::move(checked));
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
    events.found = [this](quint64 search, const ServiceInstance &service) { found(search, service); };
    events.searchEnded = [this](quint64 search) { searchEnded(search); };
    events.resolved = [this](quint64 resolution, const std::optional<ResolvedService> &where) { resolved(resolution, where); };
    events.renamed = [this](quint64 publication, const QString &name) {
        if (const auto place = m_publications.find(publication); place != m_publications.end())
            place->second.name = name;
    };
    events.publishingFailed = [this](quint64 publication) { m_notOpened.insert(publication); };
    events.hostNamed = [this](const QByteArray &name) { m_hostName = name; };
    // Later: a back end cannot be destroyed from inside its own callback.
    events.lost = [this] { m_loop->post([this] { replaceLostBackEnd(); }); };
    return events;
}

bool AvahiStack::hasRightBackEnd() const
{
    return m_backEnd && m_backEnd->works() && (m_withDaemon || m_role == wantedRole());
}

bool AvahiStack::chooseBackEnd()
{
    const bool works = hasRightBackEnd();
    if (works && m_withDaemon)
        return false;
    // The embedded stack can still be there while the daemon is being looked for: it speaks for the same host.
    auto daemon = connectToAvahiDaemon(m_loop->api(), events());
    if (works && !daemon)
        return false;
    m_backEnd.reset();
    m_withDaemon = daemon != nullptr;
    m_backEnd = daemon ? std::move(daemon) : startEmbedded();
    reopen();
    return true;
}

std::unique_ptr<AvahiBackEnd> AvahiStack::startEmbedded()
{
    m_role = wantedRole();
    m_loop->setRole(m_role);
    return startEmbeddedAvahi(m_loop->api(), m_role, m_hostName, events());
}

void AvahiStack::replaceLostBackEnd()
{
    if (!m_backEnd || m_backEnd->works())
        return;
    m_backEnd.reset();
    // The daemon is not looked for again: what has ended it may well end it once more. An embedded stack that is lost has no network.
    m_lostDaemon = std::exchange(m_withDaemon, false);
    if (m_lostDaemon && isAnythingOpen())
        m_backEnd = startEmbedded();
    reopen();
}

/// Begins or ends looking out for the daemon, whichever is right now.
void AvahiStack::lookOutForDaemon()
{
    const bool stands = !m_watches.empty() || !m_publications.empty();
    if (!stands || (m_backEnd && m_withDaemon))
        m_daemonWatch.reset();
    else if (!m_daemonWatch)
        m_daemonWatch =
            std::make_unique<AvahiDaemonWatch>(m_loop->api(), m_lostDaemon ? AvahiDaemonWatch::pauseBehindEnd : std::chrono::milliseconds::zero(),
                [this](bool justNow) { m_loop->post([this, justNow] { daemonCame(justNow); }); });
    if (!stands || m_backEnd) {
        m_retry.reset();
        return;
    }
    if (m_retry)
        return;
    m_retry = std::make_unique<AvahiTimer>(m_loop->api(), [this] { m_loop->post([this] { lookAgain(); }); });
    m_retry->start(AvahiDaemonWatch::busRetry);
}

void AvahiStack::daemonCame(bool justNow)
{
    if (!m_daemonWatch)
        return;
    // It is about to look whether its names are taken. Whatever the embedded stack calls this host, both speak of the same addresses.
    if (justNow)
        m_backEnd.reset();
    chooseBackEnd();
}

void AvahiStack::lookAgain()
{
    m_retry.reset();
    if (m_daemonWatch)
        chooseBackEnd();
}

/// What is open goes on over the back end that is there now, or ends without one.
void AvahiStack::reopen()
{
    m_notOpened.clear();
    for (const auto &[id, terms] : m_watches)
        openStanding(id);
    for (const auto &[id, service] : m_publications)
        openStanding(id);
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
    lookOutForDaemon();
}

/// Hands a watch or publication to the back end, where there is one.
void AvahiStack::openStanding(quint64 id)
{
    m_notOpened.erase(id);
    if (!m_backEnd)
        return;
    if (const auto watch = m_watches.find(id); watch != m_watches.end())
        m_backEnd->search(id, watch->second.type, watch->second.domain);
    if (const auto publication = m_publications.find(id); publication != m_publications.end())
        m_backEnd->publish(id, ServiceRegistration(publication->second)); // a copy: it may be renamed meanwhile
}

void AvahiStack::closeEverything()
{
    m_searches.clear();
    m_resolutions.clear();
    m_watches.clear();
    m_publications.clear();
    m_notOpened.clear();
    m_daemonWatch.reset();
    m_retry.reset();
    m_backEnd.reset();
}

bool AvahiStack::isAnythingOpen() const
{
    return !m_searches.empty() || !m_resolutions.empty() || !m_watches.empty() || !m_publications.empty();
}

void AvahiStack::found(quint64 search, const ServiceInstance &service)
{
    ToldServices &told = m_watches.contains(search) ? m_toldByWatches : m_told;
    if (told.add(search, service.name, service.interfaceIndex))
        tellListener([search, service](MdnsListener &listener) { listener.found(search, service); });
}

void AvahiStack::searchEnded(quint64 id)
{
    if (m_watches.contains(id)) {
        m_notOpened.insert(id);
        return;
    }
    m_searches.erase(id);
    tellListener([id](MdnsListener &listener) { listener.searchEnded(id); });
}

void AvahiStack::resolved(quint64 id, const std::optional<ResolvedService> &where)
{
    m_resolutions.erase(id);
    tellListener([id, where](MdnsListener &listener) { listener.resolved(id, where); });
}

} // namespace lanterna
